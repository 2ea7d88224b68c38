# SPDX-License-Identifier: Apache-2.0
# The Debian package printer-driver-korvo, built from the build directory with
#   cpack -G DEB
# It holds everything cmake --install puts in place, under the same paths.

# Deletes the filter's page captures a day after they were written.
install(FILES ${CMAKE_CURRENT_LIST_DIR}/printer-driver-korvo.conf DESTINATION ${KORVO_TMPFILES_DIR})

# The printer application's service, where packages put systemd units.
set(KORVO_SYSTEMD_UNIT_DIR /usr/lib/systemd/system CACHE PATH "Where the systemd unit is installed")
if(TARGET korvo-printer-app)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/korvo-printer-app.service.in korvo-printer-app.service @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/korvo-printer-app.service DESTINATION ${KORVO_SYSTEMD_UNIT_DIR})
endif()

# The licence, where Debian keeps it for every package, and README (the
# service unit names it as its documentation).
install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright ${PROJECT_SOURCE_DIR}/README.md
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/printer-driver-korvo)

# The architecture of the machine the programs are built for: a cross
# toolchain names it (KORVO_DEB_ARCHITECTURE), else dpkg tells this one's.
if(KORVO_DEB_ARCHITECTURE)
  set(korvo_deb_arch ${KORVO_DEB_ARCHITECTURE})
else()
  find_program(DPKG_EXECUTABLE dpkg REQUIRED)
  execute_process(COMMAND ${DPKG_EXECUTABLE} --print-architecture OUTPUT_VARIABLE korvo_deb_arch
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME printer-driver-korvo)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Korvo printer driver maintainers")
set(KORVO_DEB_MAINTAINER "Korvo printer driver maintainers <korvo-driver@localhost>"
    CACHE STRING "Maintainer field of the Debian package")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${KORVO_DEB_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "CUPS driver and printer application for the Korvo thermal printers")
set(CPACK_PACKAGE_DESCRIPTION "The CUPS raster filter rastertokorvoppli and PPD files for the Korvo
desktop thermal printers: R27 and V315 for labels and receipts, K5 and Q6 for
tattoo stencils. The PPDs show their options in English, German, French,
Spanish, Japanese and Simplified Chinese; the driver source for ppdc is in
${KORVO_DRV_INSTALL_DIR}.
The filter keeps pictures of the pages it prints in the spooler's temporary
directory; a systemd-tmpfiles rule deletes them after a day.
korvo-printer-app makes the printers IPP Everywhere printers without a PPD;
its systemd service korvo-printer-app.service serves them on localhost.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})

set(CPACK_DEBIAN_PACKAGE_NAME ${CPACK_PACKAGE_NAME})
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${korvo_deb_arch})
set(CPACK_DEBIAN_FILE_NAME ${CPACK_PACKAGE_NAME}_${PROJECT_VERSION}_${korvo_deb_arch}.deb)
set(CPACK_DEBIAN_PACKAGE_SECTION text)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# dpkg-shlibdeps adds the libraries the programs link with (libcups2,
# libcupsimage2, libpappl1, libpng16-16, libc6, libstdc++6, libgcc-s1) with
# the versions they need;
# the filter chain in front of the filter needs gstoraster and Ghostscript.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "cups-filters, ghostscript")
set(CPACK_DEBIAN_PACKAGE_ENHANCES "cups")

include(CPack)
