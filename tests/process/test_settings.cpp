// Job settings: PPD defaults merged with the job's options, as the filter
// logs them and sends the print density.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "FilterProcess.h"
#include "RasterFile.h"
#include "StreamWords.h"

using namespace korvotest;

namespace {

// A small PPD whose choices exercise the conversions: a lower-case
// darkness word, a non-numeric gap height, boolean words and numbers.
const char* const kTestPpd = R"PPD(*PPD-Adobe: "4.3"
*FormatVersion: "4.3"
*FileVersion: "1.0"
*LanguageVersion: English
*LanguageEncoding: ISOLatin1
*PCFileName: "TEST.PPD"
*Manufacturer: "Korvo"
*Product: "(Test)"
*ModelName: "TestModel"
*ShortNickName: "Test"
*NickName: "Test"
*PSVersion: "(3010.000) 0"
*OpenUI *PageSize: PickOne
*DefaultPageSize: w288h432
*PageSize w288h432: "<</PageSize[288 432]>>setpagedevice"
*PageSize Tiny: "<</PageSize[2 2]>>setpagedevice"
*CloseUI: *PageSize
*DefaultPaperDimension: w288h432
*PaperDimension w288h432: "288 432"
*PaperDimension Tiny: "2 2"
*DefaultImageableArea: w288h432
*ImageableArea w288h432: "0 0 288 432"
*ImageableArea Tiny: "0 0 2 2"
*OpenUI *Darkness: PickOne
*DefaultDarkness: middle
*Darkness middle: ""
*Darkness Middle: ""
*Darkness Light: ""
*Darkness Dark: ""
*CloseUI: *Darkness
*OpenUI *MirrorImage: PickOne
*DefaultMirrorImage: 255
*MirrorImage 255: ""
*MirrorImage 256: ""
*MirrorImage YES: ""
*CloseUI: *MirrorImage
*OpenUI *NegativeImage: PickOne
*DefaultNegativeImage: off
*NegativeImage off: ""
*NegativeImage 7: ""
*CloseUI: *NegativeImage
*OpenUI *GapsHeight: PickOne
*DefaultGapsHeight: abc
*GapsHeight abc: ""
*GapsHeight 4: ""
*CloseUI: *GapsHeight
*OpenUI *HalftoneType: PickOne
*DefaultHalftoneType: tattoo
*HalftoneType tattoo: ""
*HalftoneType Stucki: ""
*HalftoneType Tattoo_Q6: ""
*CloseUI: *HalftoneType
*OpenUI *Origin: PickOne
*DefaultOrigin: Rotation180
*Origin Rotation180: ""
*Origin Normal: ""
*CloseUI: *Origin
)PPD";

class JobSettings : public ::testing::Test {
protected:
    FilterResult run(const std::string& ppd, const std::string& options)
    {
        writeRaster(dir.file("job.ras"), {uniformPage(16, 2, 203, 0)});
        FilterRun job;
        job.ppd = ppd;
        job.rasterFile = dir.file("job.ras");
        job.options = options;
        return runFilter(job);
    }

    std::string testPpd()
    {
        const std::string path = dir.file("test.ppd");
        writeFile(path, std::vector<uint8_t>(kTestPpd, kTestPpd + strlen(kTestPpd)));
        return path;
    }

    static std::string floatText(double value)
    {
        char text[64];
        snprintf(text, sizeof(text), "%f", static_cast<double>(static_cast<float>(value)));
        return text;
    }

    TempDir dir;
};

// Every line must appear among the filter's messages.
void expectLines(const FilterResult& result, const std::vector<std::string>& lines)
{
    for (const std::string& line : lines) {
        EXPECT_TRUE(result.errHasLine("DEBUG:settings->" + line)) << line;
    }
}

// "middle" is not "Middle"; the low byte of 255 is -1 as a signed char;
// integers and booleans go through atoi, so "abc" and "off" give 0, not the
// default; halftone names are case-sensitive; the page size is in mm.
TEST_F(JobSettings, PpdDefaultsAreConvertedAsWritten)
{
    const FilterResult result = run(testPpd(), "");
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    expectLines(result, {"Darkness:0", "MirrorImage:-1", "NegativeImage:0", "GapsHeight:0", "halftoneType:0",
                         "AntiWrinkle:-1", "IsTattooPrinter:0", "ModelName:TestModel", "Origin:Rotation180",
                         "Resolution:", "PageSize:w288h432", "pageWidth:101.606400",
                         "pageHeight:" + floatText(432 * 0.3528)});
    EXPECT_TRUE(result.errHasLine("DEBUG:Custom Size: (288.000000,432.000000,0.000000,0.000000,288.000000,432.000000)"));
    EXPECT_EQ(joinWords(controlWords(result.out)).substr(0, 23), "NUL*64 PC0 DENSITY0 PC1");
}

TEST_F(JobSettings, JobOptionsOverrideTheDefaults)
{
    FilterResult result =
        run(testPpd(), "Darkness=Dark MirrorImage=256 NegativeImage=7 GapsHeight=4 HalftoneType=Stucki Origin=Normal");
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    expectLines(result, {"Darkness:15", "MirrorImage:0", "NegativeImage:7", "GapsHeight:4", "halftoneType:4"});
    EXPECT_EQ(joinWords(controlWords(result.out)).substr(0, 24), "NUL*64 PC0 DENSITY15 PC1");
    result = run(testPpd(), "MirrorImage=YES");
    expectLines(result, {"MirrorImage:1"});
}

TEST_F(JobSettings, PaperSizeOfOneMillimetreOrLessEndsTheJob)
{
    const FilterResult result = run(testPpd(), "PageSize=Tiny");
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(result.errHasLine("ERROR: Paper size must not less than 1.0 : (" + floatText(2 * 0.3528) + ", " +
                                  floatText(2 * 0.3528) + ")"));
    EXPECT_TRUE(result.out.empty());
}

// The mere presence of AntiWrinkle makes a stencil printer.
TEST_F(JobSettings, ShippedPrinters)
{
    FilterResult result = run(ppdWithModel(dir, "korvk5.ppd", "TEST"), "Darkness=Light Brightness=-30");
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    expectLines(result, {"AntiWrinkle:0", "IsTattooPrinter:1", "halftoneType:8", "Darkness:1", "Brightness:-30"});
    result = run(ppdWithModel(dir, "korvr27.ppd", "TEST"), "");
    expectLines(result, {"AntiWrinkle:-1", "IsTattooPrinter:0", "halftoneType:0", "PageSize:A4"});
}

}  // namespace
