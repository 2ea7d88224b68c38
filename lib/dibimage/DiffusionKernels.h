// SPDX-License-Identifier: Apache-2.0
// Error-diffusion kernels used by DibImage::Dither (internal header).
//
// Each kernel lists its taps (column offset, row offset, weight) and the
// divisor; a tap receives (error * weight) / divisor. Every kernel has at
// most 3 columns of reach on either side and reaches at most 3 rows down.
#pragma once

namespace dibimage_detail {

struct DiffusionTap {
    int dx;
    int dy;
    int weight;
};

struct FloydSteinbergKernel {
    static constexpr int kDivisor = 16;
    static constexpr DiffusionTap kTaps[] = {
        {+1, 0, 7},
        {-1, 1, 3},
        {0, 1, 5},
        {+1, 1, 1},
    };
};

struct BurkesKernel {
    static constexpr int kDivisor = 32;
    static constexpr DiffusionTap kTaps[] = {
        {+1, 0, 8}, {+2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8}, {+1, 1, 4}, {+2, 1, 2},
    };
};

struct StuckiKernel {
    static constexpr int kDivisor = 42;
    static constexpr DiffusionTap kTaps[] = {
        {+1, 0, 8}, {+2, 0, 4}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 8},  {+1, 1, 4},
        {+2, 1, 2}, {-2, 2, 1}, {-1, 2, 2}, {0, 2, 4},  {+1, 2, 2}, {+2, 2, 1},
    };
};

struct JarvisJudiceNinkeKernel {
    static constexpr int kDivisor = 48;
    static constexpr DiffusionTap kTaps[] = {
        {+1, 0, 7}, {+2, 0, 5}, {-2, 1, 3}, {-1, 1, 5}, {0, 1, 7},  {+1, 1, 5},
        {+2, 1, 3}, {-2, 2, 1}, {-1, 2, 3}, {0, 2, 5},  {+1, 2, 3}, {+2, 2, 1},
    };
};

struct SierraKernel {
    static constexpr int kDivisor = 32;
    static constexpr DiffusionTap kTaps[] = {
        {+1, 0, 5}, {+2, 0, 3}, {-2, 1, 2}, {-1, 1, 4}, {0, 1, 5},
        {+1, 1, 4}, {+2, 1, 2}, {-1, 2, 2}, {0, 2, 3},  {+1, 2, 2},
    };
};

struct StevensonArceKernel {
    static constexpr int kDivisor = 200;
    static constexpr DiffusionTap kTaps[] = {
        {+2, 0, 32}, {-3, 1, 12}, {-1, 1, 26}, {+1, 1, 30}, {+3, 1, 16}, {-2, 2, 12},
        {0, 2, 26},  {+2, 2, 12}, {-3, 3, 5},  {-1, 3, 12}, {+1, 3, 12}, {+3, 3, 5},
    };
};

}  // namespace dibimage_detail
