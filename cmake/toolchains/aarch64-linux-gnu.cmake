# SPDX-License-Identifier: Apache-2.0
# Cross-building for 64-bit ARM (arm64) with Debian's cross compiler and the
# arm64 development packages installed through multiarch; programs built
# for arm64 run under qemu-user (scripts/cross-test.sh sets it all up).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
# Multiarch: libraries in /usr/lib/aarch64-linux-gnu, headers shared.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
set(KORVO_DEB_ARCHITECTURE arm64)
