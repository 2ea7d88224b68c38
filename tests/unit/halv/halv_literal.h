// Slow, literal readings of the tattoo toolkit's rules, written independently
// of the library: plain per-pixel loops in the stated precision and order, a
// full page of float errors for the diffusion, and the unbounded loops of
// sqrt and ln (they count their steps, and report an endless loop instead of
// running it).
#pragma once

#include "halv/HalvImage.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace lit {

inline float abs_(float v) { return 0 > v ? -v : v; }

// Observes a loop's values: true once the loop has provably no end, because
// it came back to a value it had (Brent's detection; the next value depends on
// the current one alone) or ran into `cap`.
struct EndlessWatch {
    float saved;
    long long power = 1, since = 0, steps = 0, cap;
    EndlessWatch(float start, long long cap_) : saved(start), cap(cap_) {}
    bool endless(float v)
    {
        if (++steps >= cap || v == saved) return true;
        if (++since == power) saved = v, power *= 2, since = 0;
        return false;
    }
};

inline float sqrt_(float x, long long* steps = nullptr, long long cap = 1LL << 40)
{
    if (steps) *steps = 0;
    if (0 > x) return -1.0f;
    if (x == 0) return 0.0f;
    float g = x / 2.0f;
    EndlessWatch watch(g, cap);
    for (;;) {
        float n = 0.5f * (g + x / g);
        if (1e-6f > abs_(n - g)) break;
        g = n;
        if (watch.endless(g)) {
            if (steps) *steps = -1;
            return g;
        }
    }
    if (steps) *steps = watch.steps + 1;
    return g;
}

inline float exp_(float x)
{
    if (0 > x) return (float)(1.0 / (double)exp_(-x));
    float sum = 1.0f, term = 1.0f;
    for (int n = 1; n <= 20; ++n) {
        term = (x / (float)n) * term;
        sum = sum + term;
        if ((double)term < 1e-6) break;
    }
    return sum;
}

inline float ln_(float x, long long* steps = nullptr, long long cap = 1LL << 40)
{
    if (steps) *steps = 0;
    if (0 >= x) return -1.0f;
    float y = (x - 1) / (1 + x);
    EndlessWatch watch(y, cap);
    for (;;) {
        float n = y - (exp_(y) - x) / x;
        if (1e-6f > abs_(n - y)) break;
        y = n;
        if (watch.endless(y)) {
            if (steps) *steps = -1;
            return y;
        }
    }
    if (steps) *steps = watch.steps + 1;
    return y;
}

inline float pow_(float x, float y)
{
    if (x == 0) return y == 0 ? 1.0f : (y > 0 ? 0.0f : -1.0f);
    if (0 > x && y - (float)(int)y != 0) return -1.0f;
    return exp_(y * ln_(x));
}

inline int round_(float x) { return (double)x >= 0 ? (int)(x + 0.5f) : (int)(x - 0.5f); }

struct Plane {
    int w = 0, h = 0;
    std::vector<uint8_t> px;
    Plane(int w_, int h_) : w(w_), h(h_), px((size_t)w_ * h_) {}
    uint8_t& at(int x, int y) { return px[(size_t)y * w + x]; }
    uint8_t at(int x, int y) const { return px[(size_t)y * w + x]; }
};

inline Plane gray(const HalvImage& s)
{
    Plane o(s.width, s.height);
    for (int i = 0; i < s.width * s.height; ++i) {
        const uint8_t* p = s.data + i * s.channels;
        float c0 = p[0], c1 = 0, c2 = 0;
        if (s.color != HALV_IMG_GRAY) c1 = p[1], c2 = p[2];
        if (s.color == HALV_IMG_GRAY) o.px[i] = p[0];
        else if (s.color == HALV_IMG_BGR || s.color == HALV_IMG_BGRA)
            o.px[i] = (uint8_t)round_((0.114f * c0 + 0.587f * c1) + 0.299f * c2);
        else o.px[i] = (uint8_t)round_((0.299f * c0 + 0.587f * c1) + 0.114f * c2);
    }
    return o;
}

// Tsai's moment threshold; a NaN discriminant (one gray level) gives 128.
inline int thresh(const Plane& g)
{
    int hist[256] = {};
    for (uint8_t v : g.px) ++hist[v];
    int N = g.w * g.h;
    float p[256];
    for (int k = 0; k < 256; ++k) p[k] = (float)hist[k] / (float)N;
    float m0 = 1.0f, m1 = 0, m2 = 0, m3 = 0;
    for (int k = 0; k < 256; ++k) {
        m1 += (float)k * p[k];
        m2 += (float)(k * k) * p[k];
        m3 += (float)(k * k * k) * p[k];
    }
    float cd = m0 * m2 - m1 * m1;
    float c0 = (-m2 * m2 + m1 * m3) / cd;
    float c1 = (-m0 * m3 + m2 * m1) / cd;
    float disc = (float)((double)(c1 * c1) + (double)c0 * -4.0);
    if (0 > disc || disc != disc) return 128;
    float r = sqrt_(disc);
    float z0 = 0.5f * (-c1 - r), z1 = 0.5f * (-c1 + r);
    float p0 = (z1 - m1) / (z1 - z0);
    float cum = 0;
    for (int k = 0; k < 256; ++k) {
        cum += p[k];
        if (cum > p0) return k;
    }
    return -1;
}

// The gamma curve; the 0/0 entry of split 255 is the split itself.
inline uint8_t gammaEntry(int i, int split, float gl, float gh)
{
    if (i < split) return (uint8_t)(int)(pow_((float)i / (float)split, gl) * (float)split);
    int d = 255 - split;
    if (d == 0) return (uint8_t)split;
    return (uint8_t)(int)(pow_(((float)i - (float)split) / (float)d, gh) * (float)d + (float)split);
}

inline void gamma(Plane& g, int split, float gl, float gh)
{
    for (auto& v : g.px) v = gammaEntry(v, split, gl, gh);
}

inline std::vector<double> kernel1D(int size, double sigma)
{
    std::vector<double> k(size);
    int half = size / 2;
    double norm = 1.0 / ((double)sqrt_(6.2831855f) * sigma);
    for (int i = -half; i <= half; ++i)
        k[i + half] = norm * (double)exp_((float)((-0.5 * (double)(i * i)) / (sigma * sigma)));
    double sum = 0;
    for (int i = 0; i < size; ++i) sum += k[i];
    for (int i = 0; i < size; ++i) k[i] /= sum;
    return k;
}

inline Plane conv1D(const Plane& s, const std::vector<double>& k, bool horizontal)
{
    Plane o = s;
    int half = (int)k.size() / 2;
    for (int y = 0; y < s.h; ++y)
        for (int x = 0; x < s.w; ++x) {
            double sum = 0.0;
            for (int j = -half; j <= half; ++j) {
                int xx = horizontal ? std::min(std::max(x + j, 0), s.w - 1) : x;
                int yy = horizontal ? y : std::min(std::max(y + j, 0), s.h - 1);
                sum += (double)s.at(xx, yy) * k[j + half];
            }
            o.at(x, y) = (uint8_t)round_((float)sum);
        }
    return o;
}

inline Plane blur(const Plane& s, int size, double sigma)
{
    std::vector<double> k = kernel1D(size, sigma);
    return conv1D(conv1D(s, k, true), k, false);
}

inline Plane addW(const Plane& a, const Plane& b, float weight)
{
    Plane o = a;
    for (size_t i = 0; i < a.px.size(); ++i) {
        float v = ((float)a.px[i] * (1 + weight) + (float)b.px[i] * (-weight)) + 0.0f;
        int r = round_(v);
        o.px[i] = (uint8_t)(r < 0 ? 0 : (r < 255 ? r : 255));
    }
    return o;
}

inline Plane unsharp(const Plane& s, float amount, int size) { return addW(s, blur(s, size, 3.0), amount / 100); }

inline Plane edf(const Plane& s, int t)
{
    const int W = s.w, H = s.h;
    Plane o(W, H);
    std::vector<float> err((size_t)W * H, 0.0f);  // the whole page of errors
    const int dx[6] = {1, 2, -2, -1, 0, 1}, dy[6] = {0, 0, 1, 1, 1, 1};
    const float wt[6] = {0.505786f, -0.052926f, 0.226194f, 0.128835f, 0.243191f, -0.111078f};
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            int i = y * W + x;
            float v = err[i] + (float)s.px[i], e;
            if (v > (float)t) {
                o.px[i] = 255;
                if (y >= 1 && x >= 1 && y < H - 1 && x < W - 1) {
                    float sum = 0;
                    if (o.px[i - 1] == 0) sum += 0.1427f;
                    if (o.px[i - W] == 0) sum += 0.1427f;
                    e = (1 - sum) * (-255) + v;
                } else e = v - 255;
            } else {
                o.px[i] = 0;
                e = v;
            }
            float prod[6];
            for (int k = 0; k < 6; ++k) prod[k] = e * wt[k];
            for (int k = 0; k < 6; ++k) {
                int tx = x + dx[k], ty = y + dy[k];
                if (tx >= 0 && tx < W && ty >= 0 && ty < H) err[(size_t)ty * W + tx] += prod[k];
            }
        }
    return o;
}

inline Plane tattoo(const HalvImage& src, bool q6)
{
    Plane g = gray(src);
    int t = thresh(g);
    if (q6) gamma(g, t, 0.5f, 1.5f);
    else gamma(g, 64, 0.85f, 0.7f);
    return edf(unsharp(g, 300.0f, 11), t);
}

// A photo-like page: smooth gradients, a disc and a bar with hard edges, and
// noise, all from integer arithmetic.
inline Plane photo(int w, int h, uint32_t seed = 12345)
{
    Plane o(w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            int v = (x * 200) / std::max(w, 1) + (y * 55) / std::max(h, 1);
            int dx = x - w / 3, dy = y - h / 2;
            if (dx * dx + dy * dy < (w * w) / 25) v = 230 - v / 3;
            if (x > (2 * w) / 3 && x < (2 * w) / 3 + w / 10) v = 15;
            seed = seed * 1664525u + 1013904223u;
            v += (int)((seed >> 24) % 41) - 20;
            o.at(x, y) = (uint8_t)std::min(std::max(v, 0), 255);
        }
    return o;
}

inline HalvImage toImage(const Plane& p) { return HalvImage(p.w, p.h, HALV_IMG_GRAY, const_cast<uint8_t*>(p.px.data())); }

inline std::vector<uint8_t> bytes(const HalvImage& img)
{
    return std::vector<uint8_t>(img.data, img.data + (size_t)img.width * img.height);
}

}  // namespace lit
