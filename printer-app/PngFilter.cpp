// SPDX-License-Identifier: Apache-2.0
#include "PngFilter.h"

#include <png.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kDefaultPpi = 72;  // a PNG without a physical size
constexpr double kMetresPerInch = 0.0254;

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};

struct ImageFree {
    void operator()(png_image* image) const { png_image_free(image); }
};

struct OptionsFree {
    void operator()(pappl_pr_options_t* options) const { papplJobDeletePrintOptions(options); }
};

uint32_t bigEndian(const unsigned char* bytes)
{
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}

// The horizontal resolution of the pHYs chunk, read from the chunks before
// the image data; the default when there is none or it has no unit.
int resolutionOf(const char* path)
{
    const std::unique_ptr<FILE, FileCloser> file(fopen(path, "rb"));
    unsigned char chunk[8];
    if (!file || fseek(file.get(), 8, SEEK_SET) != 0) {
        return kDefaultPpi;
    }
    while (fread(chunk, 1, sizeof(chunk), file.get()) == sizeof(chunk)) {
        const uint32_t length = bigEndian(chunk);
        const std::string type(reinterpret_cast<char*>(chunk) + 4, 4);
        unsigned char physical[9];
        if (type == "IDAT" || type == "IEND") {
            break;
        }
        if (type == "pHYs" && length == sizeof(physical) && fread(physical, 1, 9, file.get()) == 9) {
            const long ppi = std::lround(bigEndian(physical) * kMetresPerInch);
            return physical[8] == 1 && ppi > 0 ? static_cast<int>(ppi) : kDefaultPpi;
        }
        if (fseek(file.get(), static_cast<long>(length) + 4, SEEK_CUR) != 0) {
            break;
        }
    }
    return kDefaultPpi;
}

bool fail(pappl_job_t* job, const char* reason)
{
    papplJobSetReasons(job, PAPPL_JREASON_DOCUMENT_FORMAT_ERROR, PAPPL_JREASON_NONE);
    papplJobSetMessage(job, "The PNG document cannot be read: %s.", reason);
    papplLogJob(job, PAPPL_LOGLEVEL_ERROR, "The PNG document cannot be read: %s.", reason);
    return false;
}

bool printPng(pappl_job_t* job, pappl_device_t* device, void*)
{
    const std::unique_ptr<png_image, ImageFree> image(new png_image{});
    image->version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(image.get(), papplJobGetFilename(job))) {
        return fail(job, image->message);
    }
    const bool color = (image->format & PNG_FORMAT_FLAG_COLOR) != 0;
    image->format = color ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY;
    std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(*image));
    if (!png_image_finish_read(image.get(), nullptr, pixels.data(), 0, nullptr)) {
        return fail(job, image->message);
    }
    papplJobSetImpressions(job, 1);
    const std::unique_ptr<pappl_pr_options_t, OptionsFree> options(papplJobCreatePrintOptions(job, 1, color));
    return papplJobFilterImage(job, device, options.get(), pixels.data(), static_cast<int>(image->width),
                               static_cast<int>(image->height), color ? 3 : 1, resolutionOf(papplJobGetFilename(job)),
                               true);
}

}  // namespace

void addPngFilter(pappl_system_t* system)
{
    papplSystemAddMIMEFilter(system, "image/png", kStreamFormat, printPng, nullptr);
}
