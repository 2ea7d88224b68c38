// SPDX-License-Identifier: Apache-2.0
#include "ImageSeeds.h"

#include <cstring>

#include "ImageProgram.h"

namespace {

// One operation: its byte and its parameters, padded to kImageOpBytes.
class Op {
public:
    explicit Op(ImageOp op) { bytes_.push_back(static_cast<uint8_t>(op)); }

    template <typename T>
    Op& with(T value)
    {
        uint8_t raw[sizeof(T)];
        memcpy(raw, &value, sizeof(T));
        bytes_.insert(bytes_.end(), raw, raw + sizeof(T));
        return *this;
    }

    std::vector<uint8_t> bytes() const
    {
        std::vector<uint8_t> padded = bytes_;
        padded.resize(1 + kImageOpBytes);
        return padded;
    }

private:
    std::vector<uint8_t> bytes_;
};

struct Shape {
    uint8_t width;
    uint8_t height;
    uint8_t depth;  // index of 1, 4, 8, 24, 32 bits; 5 for Create with rawBits
    uint8_t rawBits;
    int8_t colour;  // HALV_IMG_COLOR
};

std::vector<uint8_t> program(const Shape& shape, const std::vector<Op>& ops)
{
    std::vector<uint8_t> bytes = {
        static_cast<uint8_t>(shape.width - 1),  static_cast<uint8_t>(shape.height - 1), shape.depth, 1, shape.rawBits,
        static_cast<uint8_t>(shape.colour + 1), static_cast<uint8_t>(ops.size())};
    for (const Op& op : ops) {
        const std::vector<uint8_t> opBytes = op.bytes();
        bytes.insert(bytes.end(), opBytes.begin(), opBytes.end());
    }
    // A diagonal ramp with a bright disc: every level, edges and flat areas.
    const size_t pixels = 4u * shape.width * shape.height;
    for (size_t i = 0; i < pixels; ++i) {
        const size_t x = i % (4u * shape.width) / 4;
        const size_t y = i / (4u * shape.width);
        const size_t dx = x > shape.width / 2 ? x - shape.width / 2 : shape.width / 2 - x;
        const size_t dy = y > shape.height / 2 ? y - shape.height / 2 : shape.height / 2 - y;
        bytes.push_back(dx * dx + dy * dy < 16 ? 240 : static_cast<uint8_t>((x * 13 + y * 7 + i % 4 * 50) % 256));
    }
    return bytes;
}

std::vector<Op> transforms()
{
    return {
        Op(ImageOp::Light).with<int32_t>(40).with<int32_t>(-30),
        Op(ImageOp::Lut).with<uint8_t>(3).with<uint8_t>(7),
        Op(ImageOp::Rotate180).with<uint8_t>(0),
        Op(ImageOp::Mirror),
        Op(ImageOp::Expand).with<int8_t>(3).with<int8_t>(2).with<int8_t>(5).with<int8_t>(1).with<uint32_t>(0xFFFFFF),
        Op(ImageOp::MakeCenter).with<int16_t>(70),
        Op(ImageOp::DrawLine).with<int16_t>(-5).with<int16_t>(80).with<int16_t>(2).with<int16_t>(30).with<uint8_t>(1),
        Op(ImageOp::Palette).with<uint32_t>(0x808080).with<uint8_t>(1).with<uint32_t>(0x102030).with<uint8_t>(1),
        Op(ImageOp::Pixels).with<int16_t>(3).with<int16_t>(4).with<uint8_t>(9).with<uint32_t>(0x00FF00),
        Op(ImageOp::Negative),
        Op(ImageOp::Rotate180).with<uint8_t>(1),
    };
}

// Each dither method, -1 and 0 to 8, on a copy of the image: b takes a copy,
// a is dithered and takes the copy back.
std::vector<Op> everyDitherMethod()
{
    std::vector<Op> ops;
    for (int64_t method = -1; method <= 8; ++method) {
        ops.push_back(Op(ImageOp::Recreate));
        ops.push_back(Op(ImageOp::Dither).with<int64_t>(method));
        ops.push_back(Op(ImageOp::Transfer).with<uint8_t>(0));
    }
    return ops;
}

}  // namespace

std::map<std::string, std::vector<uint8_t>> imageSeeds()
{
    std::map<std::string, std::vector<uint8_t>> seeds;
    const char* const depthNames[] = {"1bit", "4bit", "8bit", "24bit", "32bit"};
    for (uint8_t depth = 0; depth < 5; ++depth) {
        const Shape shape{20, 12, depth, 0, 0};
        seeds[std::string("dib-transforms-") + depthNames[depth]] = program(shape, transforms());
        seeds[std::string("dib-dither-widen-") + depthNames[depth]] =
            program(shape, {Op(ImageOp::Dither).with<int64_t>(depth), Op(ImageOp::IncreaseBpp).with<uint32_t>(8),
                            Op(ImageOp::Dither).with<int64_t>(depth + 5), Op(ImageOp::IncreaseBpp).with<uint32_t>(4),
                            Op(ImageOp::IncreaseBpp).with<uint32_t>(8), Op(ImageOp::Dither).with<int64_t>(depth + 2),
                            Op(ImageOp::IncreaseBpp).with<uint32_t>(24)});
        seeds[std::string("dib-dither-methods-") + depthNames[depth]] = program(shape, everyDitherMethod());
    }
    seeds["dib-create-raw-bits"] =
        program({9, 5, 5, 2, 0}, {Op(ImageOp::SetPalette).with<uint8_t>(2), Op(ImageOp::Recreate).with<uint8_t>(1),
                                  Op(ImageOp::SetPalette).with<uint8_t>(16), Op(ImageOp::Transfer).with<uint8_t>(2),
                                  Op(ImageOp::Dither).with<int64_t>(5), Op(ImageOp::Destroy), Op(ImageOp::Mirror)});
    seeds["halv-tattoo-gray"] =
        program({24, 16, 2, 0, 0}, {Op(ImageOp::Tattoo).with<uint8_t>(0), Op(ImageOp::TattooQ6).with<uint8_t>(1),
                                    Op(ImageOp::Moments), Op(ImageOp::Diffuse).with<int32_t>(100)});
    seeds["halv-tattoo-bgra"] = program({13, 7, 2, 0, 3}, {Op(ImageOp::TattooQ6).with<uint8_t>(1), Op(ImageOp::CvtGray),
                                                           Op(ImageOp::Tattoo).with<uint8_t>(1)});
    seeds["halv-enhance"] =
        program({16, 16, 2, 0, 0}, {Op(ImageOp::Gamma).with<uint16_t>(512 + 64).with<float>(0.85f).with<float>(0.7f),
                                    Op(ImageOp::UnsharpMask).with<float>(300.0f).with<int8_t>(11),
                                    Op(ImageOp::GaussianFast).with<int8_t>(5).with<float>(1.5f),
                                    Op(ImageOp::Gaussian).with<int8_t>(4).with<float>(1.0f).with<float>(2.0f),
                                    Op(ImageOp::Convolve).with<int8_t>(7).with<float>(2.0f).with<uint8_t>(1),
                                    Op(ImageOp::Convolve).with<int8_t>(6).with<float>(2.0f).with<uint8_t>(0),
                                    Op(ImageOp::Weighted).with<float>(3.0f), Op(ImageOp::Copies).with<uint8_t>(0)});
    seeds["halv-from-dib-rgb"] =
        program({11, 9, 2, 0, 2}, {Op(ImageOp::CvtGray), Op(ImageOp::Expand).with<uint32_t>(0x02020202),
                                   Op(ImageOp::FromDib), Op(ImageOp::TattooQ6).with<uint8_t>(1),
                                   Op(ImageOp::Copies).with<uint8_t>(1), Op(ImageOp::Tattoo).with<uint8_t>(1)});
    return seeds;
}
