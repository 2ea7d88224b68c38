// SPDX-License-Identifier: Apache-2.0
// The Korvo settings that IPP has no standard attribute for. Each is a
// printer default (NAME-default, set in the web interface) and a job
// template attribute (NAME):
//
//   korvo-halftone-type  keyword, the PPD's HalftoneType names
//   korvo-brightness     integer -100..100
//   korvo-contrast       integer -100..100
//   korvo-rotate-180     boolean, the PPD's Origin=Rotation180
//   korvo-mirror         boolean, MirrorImage
//   korvo-negative       boolean, NegativeImage
//   korvo-anti-wrinkle   integer 0..5, AntiWrinkle (K5 and Q6 only)
#pragma once

inline constexpr const char* kHalftoneType = "korvo-halftone-type";
inline constexpr const char* kBrightness = "korvo-brightness";
inline constexpr const char* kContrast = "korvo-contrast";
inline constexpr const char* kRotate180 = "korvo-rotate-180";
inline constexpr const char* kMirror = "korvo-mirror";
inline constexpr const char* kNegative = "korvo-negative";
inline constexpr const char* kAntiWrinkle = "korvo-anti-wrinkle";

inline constexpr int kAdjustmentLimit = 100;  // brightness and contrast: -100..100
inline constexpr int kAntiWrinkleLimit = 5;
