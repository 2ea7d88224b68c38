// SPDX-License-Identifier: Apache-2.0
// fuzz_image: the image class and the tattoo toolkit on small images (at
// most 64 x 64 pixels, every depth) and arbitrary parameters, an input being
// a program of operations (ImageProgram.h).
#include <algorithm>
#include <vector>

#include "DibImageOps.h"
#include "HalvImageOps.h"

namespace {

const uint32_t kDepths[] = {1, 4, 8, 24, 32};

struct ImageHeader {
    uint32_t width;
    uint32_t height;
    size_t depth;  // index into kDepths, or the raw bit count when past its end
    bool flip;
    uint32_t rawBits;
    HALV_IMG_COLOR colour;
    size_t operations;
};

ImageHeader readHeader(FuzzBytes& bytes)
{
    ImageHeader header;
    header.width = 1 + bytes.byte() % kMaxImageSide;
    header.height = 1 + bytes.byte() % kMaxImageSide;
    header.depth = bytes.choice(std::size(kDepths) + 1);
    header.flip = (bytes.byte() & 1) != 0;
    header.rawBits = bytes.byte();
    header.colour = static_cast<HALV_IMG_COLOR>(static_cast<int32_t>(bytes.choice(7)) - 1);
    header.operations = bytes.choice(kMaxImageOps + 1);
    return header;
}

void createImage(const ImageHeader& header, const std::vector<uint8_t>& pixels, DibImage& image)
{
    if (header.depth < std::size(kDepths)) {
        const uint32_t bits = kDepths[header.depth];
        image.CreateFromArray(pixels.data(), header.width, header.height, bits, (header.width * bits + 7) / 8,
                              header.flip);
        return;
    }
    if (image.Create(header.width, header.height, header.rawBits, header.rawBits) != nullptr) {
        image.SetGrayPalette();
        std::copy_n(pixels.begin(), static_cast<size_t>(image.GetEffWidth()) * image.GetHeight(), image.GetBits(0));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzBytes bytes(data, size);
    const ImageHeader header = readHeader(bytes);
    const uint8_t* program = bytes.rest();
    bytes.skip(header.operations * (1 + kImageOpBytes));

    // Enough pixels for any depth: at most 4 bytes a pixel.
    std::vector<uint8_t> pixels(bytes.rest(), bytes.rest() + bytes.restSize());
    pixels.resize(std::max<size_t>(pixels.size(), 4 * header.width * header.height));

    DibImage a;
    DibImage b;
    createImage(header, pixels, a);
    HalvImage image(static_cast<int>(header.width), static_cast<int>(header.height), header.colour, pixels.data());

    FuzzBytes ops(program, static_cast<size_t>(bytes.rest() - program));
    for (size_t i = 0; i < header.operations; ++i) {
        const auto op = static_cast<ImageOp>(ops.choice(static_cast<size_t>(ImageOp::Count)));
        FuzzBytes params(ops.rest(), std::min(kImageOpBytes, ops.restSize()));
        ops.skip(kImageOpBytes);
        if (!runDibImageOp(op, params, a, b)) {
            runHalvImageOp(op, params, image, a);
        }
    }
    return 0;
}
