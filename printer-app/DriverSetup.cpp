// SPDX-License-Identifier: Apache-2.0
#include "DriverSetup.h"

#include <string>

#include "Media.h"
#include "Models.h"
#include "PngFilter.h"
#include "PrinterCallbacks.h"
#include "RasterJob.h"
#include "VendorOptions.h"

namespace {

constexpr int kDarknessLevels = 16;      // print densities 0..15
constexpr int kDarknessConfigured = 50;  // with print-darkness 0: Middle
constexpr int kPagesPerMinute = 1;

void setCallbacks(pappl_pr_driver_data_t& data)
{
    data.rstartjob_cb = korvoStartJob;
    data.rstartpage_cb = korvoStartPage;
    data.rwriteline_cb = korvoWriteLine;
    data.rendpage_cb = korvoEndPage;
    data.rendjob_cb = korvoEndJob;
    data.status_cb = korvoStatus;
    data.identify_cb = korvoIdentify;
    // The printer's own stream, and the filters that make it: PNG through
    // the application's filter (see PngFilter.h), the rest as raster.
    data.printfile_cb = korvoPrintStream;
    data.format = kStreamFormat;
}

void setMediaList(const KorvoDriver& driver, pappl_pr_driver_data_t& data)
{
    data.num_media = 0;
    for (const KorvoMedia& media : korvoMedia()) {
        if (!media.labelModelsOnly || !driver.model->stencil) {
            data.media[data.num_media++] = media.pwgName;
        }
    }
    data.media[data.num_media++] = kCustomMinimum;
    data.media[data.num_media++] = kCustomMaximum;
}

// A4, the PPDs' default, loaded in the one source.
void setReadyMedia(pappl_pr_driver_data_t& data)
{
    pappl_media_col_t& ready = data.media_ready[0];
    const pwg_media_t* size = pwgMediaForPWG(korvoMedia()[0].pwgName);
    papplCopyString(ready.size_name, size->pwg, sizeof(ready.size_name));
    ready.size_width = size->width;
    ready.size_length = size->length;
    papplCopyString(ready.source, data.source[0], sizeof(ready.source));
    papplCopyString(ready.type, data.type[0], sizeof(ready.type));
    ready.tracking = PAPPL_MEDIA_TRACKING_CONTINUOUS;
    data.media_default = ready;
}

void setMedia(const KorvoDriver& driver, pappl_pr_driver_data_t& data)
{
    setMediaList(driver, data);
    data.left_right = 0;
    data.bottom_top = 0;
    data.num_source = 1;
    data.source[0] = driver.model->stencil ? "main" : "main-roll";
    data.num_type = 1;
    data.type[0] = driver.model->stencil ? "stationery" : "labels";
    data.tracking_supported = PAPPL_MEDIA_TRACKING_CONTINUOUS | PAPPL_MEDIA_TRACKING_GAP | PAPPL_MEDIA_TRACKING_MARK;
    setReadyMedia(data);
}

void setPrinting(const KorvoDriver& driver, pappl_pr_driver_data_t& data)
{
    papplCopyString(data.make_and_model, driver.description, sizeof(data.make_and_model));
    data.ppm = kPagesPerMinute;
    data.kind = driver.model->stencil ? PAPPL_KIND_DOCUMENT : PAPPL_KIND_LABEL | PAPPL_KIND_RECEIPT | PAPPL_KIND_ROLL;
    data.orient_default = IPP_ORIENT_PORTRAIT;
    data.color_supported = PAPPL_COLOR_MODE_MONOCHROME;
    data.color_default = PAPPL_COLOR_MODE_MONOCHROME;
    data.content_default = PAPPL_CONTENT_AUTO;
    data.quality_default = IPP_QUALITY_NORMAL;
    data.scaling_default = PAPPL_SCALING_AUTO;
    // The page processing takes 8-bit black (ink 255, paper 0), as the
    // filter does; gray documents are turned into it.
    data.raster_types = PAPPL_PWG_RASTER_TYPE_BLACK_8 | PAPPL_PWG_RASTER_TYPE_SGRAY_8;
    data.force_raster_type = PAPPL_PWG_RASTER_TYPE_BLACK_8;
    data.duplex = PAPPL_DUPLEX_NONE;
    data.sides_supported = PAPPL_SIDES_ONE_SIDED;
    data.sides_default = PAPPL_SIDES_ONE_SIDED;
    data.num_resolution = 1;
    data.x_resolution[0] = data.y_resolution[0] = driver.dpi;
    data.x_default = data.y_default = driver.dpi;
    data.mode_supported = PAPPL_LABEL_MODE_TEAR_OFF | PAPPL_LABEL_MODE_CUTTER | PAPPL_LABEL_MODE_CUTTER_DELAYED;
    data.mode_configured = PAPPL_LABEL_MODE_TEAR_OFF;
    data.darkness_supported = kDarknessLevels;
    data.darkness_configured = kDarknessConfigured;
    data.darkness_default = 0;
    data.identify_supported = PAPPL_IDENTIFY_ACTIONS_DISPLAY;
    data.identify_default = PAPPL_IDENTIFY_ACTIONS_DISPLAY;
}

void setVendorNames(const KorvoDriver& driver, pappl_pr_driver_data_t& data)
{
    data.num_vendor = 0;
    for (const char* name : {kHalftoneType, kBrightness, kContrast, kRotate180, kMirror, kNegative}) {
        data.vendor[data.num_vendor++] = name;
    }
    if (driver.model->stencil) {
        data.vendor[data.num_vendor++] = kAntiWrinkle;
    }
}

void addRange(ipp_t* attributes, const std::string& name, int low, int high, int fallback)
{
    ippAddInteger(attributes, IPP_TAG_PRINTER, IPP_TAG_INTEGER, (name + "-default").c_str(), fallback);
    ippAddRange(attributes, IPP_TAG_PRINTER, (name + "-supported").c_str(), low, high);
}

void addFlag(ipp_t* attributes, const std::string& name)
{
    ippAddBoolean(attributes, IPP_TAG_PRINTER, (name + "-default").c_str(), 0);
    ippAddBoolean(attributes, IPP_TAG_PRINTER, (name + "-supported").c_str(), 1);
}

void addHalftoneTypes(ipp_t* attributes, const KorvoDriver& driver)
{
    const std::string name = kHalftoneType;
    ippAddString(attributes, IPP_TAG_PRINTER, IPP_TAG_KEYWORD, (name + "-default").c_str(), nullptr,
                 korvoHalftoneTypeToStr(driver.model->defaultHalftone));
    ipp_attribute_t* supported = nullptr;
    for (int type = DITHER_NONE; type <= DITHER_TATTOO_Q6; ++type) {
        const char* typeName = korvoHalftoneTypeToStr(static_cast<DitherType>(type));
        if (supported == nullptr) {
            supported = ippAddString(attributes, IPP_TAG_PRINTER, IPP_TAG_KEYWORD, (name + "-supported").c_str(),
                                     nullptr, typeName);
        } else {
            ippSetString(attributes, &supported, ippGetCount(supported), typeName);
        }
    }
}

// What IPP Everywhere asks of a printer and PAPPL leaves to the driver.
// The paper is the printers' one supply; they do not report its level.
void addEverywhereAttributes(ipp_t* attributes)
{
    static const char* const kOverrides[] = {"document-number", "pages"};
    ippAddBoolean(attributes, IPP_TAG_PRINTER, "preferred-attributes-supported", 0);
    ippAddStrings(attributes, IPP_TAG_PRINTER, IPP_TAG_KEYWORD, "overrides-supported", 2, nullptr, kOverrides);
    ippAddString(attributes, IPP_TAG_PRINTER, IPP_TAG_KEYWORD, "print-rendering-intent-default", nullptr, "auto");
    ippAddString(attributes, IPP_TAG_PRINTER, IPP_TAG_KEYWORD, "print-rendering-intent-supported", nullptr, "auto");
    ippAddString(attributes, IPP_TAG_PRINTER, IPP_TAG_KEYWORD, "pwg-raster-document-sheet-back", nullptr, "normal");
    const char supply[] = "index=1;class=supplyThatIsConsumed;type=other;unit=percent;maxcapacity=100;level=-2;";
    ippAddOctetString(attributes, IPP_TAG_PRINTER, "printer-supply", supply, sizeof(supply) - 1);
    ippAddString(attributes, IPP_TAG_PRINTER, IPP_TAG_TEXT, "printer-supply-description", nullptr, "Paper");
}

ipp_t* driverAttributes(const KorvoDriver& driver)
{
    ipp_t* attributes = ippNew();
    addHalftoneTypes(attributes, driver);
    addRange(attributes, kBrightness, -kAdjustmentLimit, kAdjustmentLimit, 0);
    addRange(attributes, kContrast, -kAdjustmentLimit, kAdjustmentLimit, 0);
    addFlag(attributes, kRotate180);
    addFlag(attributes, kMirror);
    addFlag(attributes, kNegative);
    if (driver.model->stencil) {
        addRange(attributes, kAntiWrinkle, 0, kAntiWrinkleLimit, 0);
    }
    addEverywhereAttributes(attributes);
    return attributes;
}

}  // namespace

bool korvoDriverSetup(pappl_system_t*, const char* driverName, const char*, const char*, pappl_pr_driver_data_t* data,
                      ipp_t** attributes, void*)
{
    const KorvoDriver* driver = findDriver(driverName);
    if (driver == nullptr) {
        return false;
    }
    setCallbacks(*data);
    setPrinting(*driver, *data);
    setMedia(*driver, *data);
    setVendorNames(*driver, *data);
    *attributes = driverAttributes(*driver);
    return true;
}

const char* korvoAutoAdd(const char*, const char*, const char* deviceId, void*)
{
    const KorvoDriver* driver = driverForDeviceId(deviceId);
    return driver != nullptr ? driver->name : nullptr;
}
