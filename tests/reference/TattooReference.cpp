// SPDX-License-Identifier: Apache-2.0
#include "TattooReference.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace pageref::tattoo {

static float myAbs(float v)
{
    return 0 > v ? -v : v;
}

float myExp(float x)
{
    if (0 > x) {
        return float(1.0 / double(myExp(-x)));
    }
    float sum = 1.0f;
    float term = 1.0f;
    for (int n = 1; n <= 20; ++n) {
        term = (x / float(n)) * term;
        sum = sum + term;
        if (double(term) < 1e-6) {
            break;
        }
    }
    return sum;
}

float mySqrt(float x)
{
    if (0 > x) {
        return -1.0f;
    }
    if (x == 0) {
        return 0.0f;
    }
    float g = x / 2.0f;
    if (!std::isfinite(x)) {
        return g;  // guarded: would never settle
    }
    for (;;) {  // ends for every finite x but the smallest denormal
        const float n = 0.5f * (g + x / g);
        if (1e-6f > myAbs(n - g)) {
            return g;  // the estimate before the last step
        }
        g = n;
    }
}

float myLn(float x)
{
    if (0 >= x) {
        return -1.0f;
    }
    float y = (x - 1) / (1 + x);
    if (!std::isfinite(x)) {
        return y;  // guarded: would never settle
    }
    for (;;) {  // ends for every base the gamma curve can give
        const float n = y - (myExp(y) - x) / x;
        if (1e-6f > myAbs(n - y)) {
            return y;  // the value before the last step
        }
        y = n;
    }
}

static float myPow(float x, float y)
{
    if (x == 0) {
        return y == 0 ? 1.0f : (y > 0 ? 0.0f : -1.0f);
    }
    if (0 > x && !(y - float(int(y)) == 0)) {
        return -1.0f;
    }
    return myExp(y * myLn(x));
}

static int myRound(float x)
{
    return double(x) >= 0 ? int(x + 0.5f) : int(x - 0.5f);
}

int momentThreshold(const Plane& gray)
{
    int32_t h[256] = {};
    const int n = gray.width * gray.height;
    for (int i = 0; i < n; ++i) {
        ++h[gray.px.at(i)];
    }
    float p[256];
    const float m0 = 1.0f;
    float m1 = 0;
    float m2 = 0;
    float m3 = 0;
    for (int k = 0; k < 256; ++k) {
        p[k] = float(h[k]) / float(n);
        m1 += float(k) * p[k];
        m2 += float(k * k) * p[k];
        m3 += float(k * k * k) * p[k];
    }
    const float cd = m0 * m2 - m1 * m1;
    const float c0 = (-m2 * m2 + m1 * m3) / cd;
    const float c1 = (-m0 * m3 + m2 * m1) / cd;
    const float disc = float(double(c1 * c1) + double(c0) * -4.0);
    if (0 > disc || disc != disc) {
        return 128;  // NaN guarded: one gray level gives 0/0 moments
    }
    const float r = mySqrt(disc);
    const float z0 = 0.5f * (-c1 - r);
    const float z1 = 0.5f * (-c1 + r);
    const float p0 = (z1 - m1) / (z1 - z0);
    float cum = 0;
    for (int k = 0; k < 256; ++k) {
        cum += p[k];
        if (cum > p0) {
            return k;
        }
    }
    return -1;
}

void piecewiseGamma(Plane& gray, int split, float gammaLow, float gammaHigh)
{
    uint8_t lut[256] = {};
    const int range = 255 - split;
    for (int i = 0; i < 256; ++i) {
        if (i < split) {
            lut[i] = uint8_t(int(myPow(float(i) / float(split), gammaLow) * float(split)));
        } else if (range == 0) {
            lut[i] = uint8_t(split);  // guarded: 0/0 at split 255
        } else {
            const float base = (float(i) - float(split)) / float(range);
            lut[i] = uint8_t(int(myPow(base, gammaHigh) * float(range) + float(split)));
        }
    }
    for (uint8_t& v : gray.px) {
        v = lut[v];
    }
}

std::vector<double> gaussianKernel1D(int size, double sigma)
{
    std::vector<double> k(size);
    const int half = size / 2;
    const double norm = 1.0 / (double(mySqrt(6.2831855f)) * sigma);
    for (int i = -half; i <= half; ++i) {
        k.at(i + half) = norm * double(myExp(float((-0.5 * double(i * i)) / (sigma * sigma))));
    }
    const double sum = std::accumulate(k.begin(), k.end(), 0.0);  // in index order
    for (double& v : k) {
        v /= sum;
    }
    return k;
}

Plane convolve1D(const Plane& s, const std::vector<double>& k, bool horizontal)
{
    Plane out = s;
    const int half = int(k.size()) / 2;
    for (int y = 0; y < s.height; ++y) {
        for (int x = 0; x < s.width; ++x) {
            double sum = 0.0;
            for (int j = -half; j <= half; ++j) {
                const int xx = horizontal ? std::min(std::max(x + j, 0), s.width - 1) : x;
                const int yy = horizontal ? y : std::min(std::max(y + j, 0), s.height - 1);
                sum += double(s.px.at(size_t(yy) * s.width + xx)) * k.at(j + half);
            }
            out.px.at(size_t(y) * s.width + x) = uint8_t(myRound(float(sum)));
        }
    }
    return out;
}

Plane gaussianBlur(const Plane& source, int size, double sigma)
{
    const std::vector<double> k = gaussianKernel1D(size, sigma);
    return convolve1D(convolve1D(source, k, true), k, false);
}

Plane addWeighted(const Plane& a, const Plane& b, float weight)
{
    Plane out = a;
    for (size_t i = 0; i < a.px.size(); ++i) {
        const int r = myRound((float(a.px[i]) * (1 + weight) + float(b.px.at(i)) * (-weight)) + 0.0f);
        out.px[i] = uint8_t(r < 0 ? 0 : (r < 255 ? r : 255));
    }
    return out;
}

Plane unsharpMask(const Plane& source, float amountPercent, int size)
{
    return addWeighted(source, gaussianBlur(source, size, 3.0), amountPercent / 100);
}

Plane errorDiffusion(const Plane& s, int threshold)
{
    const int w = s.width;
    const int h = s.height;
    Plane out(w, h);
    std::vector<float> err(size_t(w) * size_t(h), 0.0f);  // a full page of errors
    const int dx[6] = {1, 2, -2, -1, 0, 1};
    const int dy[6] = {0, 0, 1, 1, 1, 1};
    const float weight[6] = {0.505786f, -0.052926f, 0.226194f, 0.128835f, 0.243191f, -0.111078f};
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const size_t i = size_t(y) * w + x;
            const float v = err.at(i) + float(s.px.at(i));
            float e = v;  // a black dot keeps all of v
            if (v > float(threshold)) {
                out.px.at(i) = 255;
                e = v - 255;  // on the border rows and columns
                if (y >= 1 && x >= 1 && y < h - 1 && x < w - 1) {
                    float sum = 0;  // black neighbours to the left and above
                    if (out.px.at(i - 1) == 0) {
                        sum += 0.1427f;
                    }
                    if (out.px.at(i - w) == 0) {
                        sum += 0.1427f;
                    }
                    e = (1 - sum) * (-255) + v;
                }
            }
            float product[6];  // all six first, then the sums
            for (int k = 0; k < 6; ++k) {
                product[k] = e * weight[k];
            }
            for (int k = 0; k < 6; ++k) {
                if (x + dx[k] >= 0 && x + dx[k] < w && y + dy[k] < h) {
                    err.at(i + dy[k] * w + dx[k]) += product[k];
                }
            }
        }
    }
    return out;
}

Plane halftone(const Plane& source, bool q6)
{
    if (source.width * source.height <= 0) {
        return source;
    }
    Plane gray = source;  // the gray conversion of a gray image is a copy
    const int threshold = momentThreshold(gray);
    piecewiseGamma(gray, q6 ? threshold : 64, q6 ? 0.5f : 0.85f, q6 ? 1.5f : 0.7f);
    return errorDiffusion(unsharpMask(gray, 300.0f, 11), threshold);
}

}  // namespace pageref::tattoo
