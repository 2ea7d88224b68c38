// SPDX-License-Identifier: Apache-2.0
#include "JobSettings.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "Media.h"
#include "VendorOptions.h"
#include "common/KorvoString.h"

namespace {

constexpr int kMiddleDensity = 8;
constexpr int kDensitySpan = 7;  // Middle to Light or to Dark
constexpr int kGapsHeight = 3;   // the PPD's default gap, logged only

template <size_t N>
void setText(char (&field)[N], const char* value)
{
    korvoStrCpy(field, value, N);
}

const char* vendorValue(const pappl_pr_options_t& options, const char* name)
{
    return cupsGetOption(name, options.num_vendor, options.vendor);
}

int vendorInteger(const pappl_pr_options_t& options, const char* name, int low, int high, int fallback)
{
    const char* value = vendorValue(options, name);
    return value != nullptr ? std::clamp(atoi(value), low, high) : fallback;
}

bool vendorFlag(const pappl_pr_options_t& options, const char* name)
{
    const char* value = vendorValue(options, name);
    return value != nullptr && strcmp(value, "true") == 0;
}

const char* paperType(pappl_media_tracking_t tracking)
{
    if (tracking == PAPPL_MEDIA_TRACKING_GAP) {
        return "LabelGap";
    }
    return tracking == PAPPL_MEDIA_TRACKING_MARK ? "LabelMark" : "Continuous";
}

// A name that is none of the types gives the model's default, as an unknown
// PPD choice does in the filter: PAPPL takes any keyword as a default.
DitherType halftoneType(const KorvoDriver& driver, const pappl_pr_options_t& options)
{
    return korvoHalftoneTypeFromStr(vendorValue(options, kHalftoneType), driver.model->defaultHalftone);
}

void applyMedia(const pappl_pr_options_t& options, Settings& settings)
{
    const char* ppdName = ppdSizeName(options.media.size_name);
    setText(settings.PageSize, ppdName != nullptr ? ppdName : "Custom");
    settings.pageWidth = static_cast<float>(options.media.size_width) / 100.0f;
    settings.pageHeight = static_cast<float>(options.media.size_length) / 100.0f;
    setText(settings.MediaMethod, "Direct");
    setText(settings.PaperType, paperType(options.media.tracking));
    settings.GapsHeight = kGapsHeight;
}

void applyImageOptions(const KorvoDriver& driver, const pappl_pr_options_t& options, Settings& settings)
{
    settings.halftoneType = halftoneType(driver, options);
    settings.Brightness = vendorInteger(options, kBrightness, -kAdjustmentLimit, kAdjustmentLimit, 0);
    settings.Contrast = vendorInteger(options, kContrast, -kAdjustmentLimit, kAdjustmentLimit, 0);
    settings.Rotate180 = vendorFlag(options, kRotate180) ? 1 : 0;
    setText(settings.Origin, settings.Rotate180 != 0 ? "Rotation180" : "Normal");
    settings.MirrorImage = vendorFlag(options, kMirror) ? 1 : 0;
    settings.NegativeImage = vendorFlag(options, kNegative) ? 1 : 0;
    settings.AntiWrinkle = driver.model->stencil ? vendorInteger(options, kAntiWrinkle, 0, kAntiWrinkleLimit, 0) : -1;
    settings.IsTattooPrinter = driver.model->stencil ? 1 : 0;
}

}  // namespace

int printDensity(int darknessConfigured, int printDarkness)
{
    const int darkness = std::clamp(2 * darknessConfigured - 100 + printDarkness, -100, 100);
    return kMiddleDensity + static_cast<int>(std::lround(kDensitySpan * darkness / 100.0));
}

void applyLabelMode(pappl_label_mode_t mode, Settings& settings)
{
    const bool delayed = mode == PAPPL_LABEL_MODE_CUTTER_DELAYED;
    const bool cut = delayed || mode == PAPPL_LABEL_MODE_CUTTER;
    setText(settings.PostAction, cut ? "Cut" : "TearOff");
    setText(settings.Occurrence, delayed ? "AfterJob" : "EveryPage");
}

Settings jobSettings(const KorvoDriver& driver, const pappl_pr_options_t& options, pappl_label_mode_t labelMode)
{
    Settings settings;
    memset(&settings, 0, sizeof(settings));
    setText(settings.ModelName, driver.model->name);
    setText(settings.Resolution, driver.dpi == 203 ? "203dpi" : "300dpi");
    applyMedia(options, settings);
    applyLabelMode(labelMode, settings);
    applyImageOptions(driver, options, settings);
    settings.Darkness = printDensity(options.darkness_configured, options.print_darkness);
    return settings;
}
