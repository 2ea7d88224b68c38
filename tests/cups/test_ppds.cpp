// SPDX-License-Identifier: Apache-2.0
// The shipped PPDs: accepted by cupstestppd, with the model names the
// status wait compares and the options the filter reads.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "FilterProcess.h"

using namespace korvotest;

namespace {

std::string commandOutput(const std::string& command, int* status)
{
    std::string output;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    char buffer[4096];
    size_t count = 0;
    while (pipe != nullptr && (count = fread(buffer, 1, sizeof(buffer), pipe)) > 0) {
        output.append(buffer, count);
    }
    *status = pipe != nullptr ? pclose(pipe) : -1;
    return output;
}

struct ShippedModel {
    const char* file;
    const char* modelName;
    const char* defaultHalftone;
    bool stencil;
};

const ShippedModel kModels[] = {
    {"korvr27.ppd", "R27", "None", false},
    {"korv315.ppd", "V315", "None", false},
    {"korvk5.ppd", "K5", "Tattoo", true},
    {"korvq6.ppd", "Q6", "Tattoo_Q6", true},
};

void expectDeclarations(const ShippedModel& model)
{
    const std::string text = readText(builtPpd(model.file));
    const std::vector<std::string> expected = {
        "*Manufacturer: \"Korvo\"",
        std::string("*ModelName: \"") + model.modelName + "\"\n",
        "*cupsFilter2: \"application/vnd.cups-raster application/vnd.korvo-raster 0 rastertokorvoppli\"",
        "*cupsManualCopies: True",
        "cupsColorSpace 3",
        "cupsBitsPerColor 8",
        std::string("*DefaultHalftoneType: ") + model.defaultHalftone + "\n",
        "*PageSize A4",
        "*PageSize Letter",
        "*PageSize Tattoo_A5",
        "*PageSize Tattoo_A6",
        "*CustomPageSize True",
        "*HalftoneType None",
        "*HalftoneType FloydSteinberg",
        "*HalftoneType Ordered",
        "*HalftoneType Burkes",
        "*HalftoneType Stucki",
        "*HalftoneType JarvisJudiceNinke",
        "*HalftoneType Sierra",
        "*HalftoneType StevensonArce",
        "*HalftoneType Tattoo/",
        "*HalftoneType Tattoo_Q6",
        "*PaperType LabelMark",
        "*PostAction TearOff",
        "*PostAction Cut",
        "*PostAction None",
        "*Occurrence EveryPage",
        "*Occurrence AfterJob",
        "*Origin Rotation180",
        "*MirrorImage True",
        "*NegativeImage True",
        "*Darkness Light",
        "*Darkness Middle",
        "*Darkness Dark",
        "*Brightness -100",
        "*Brightness 100",
        "*Contrast -100",
        "*Contrast 100",
        "*MediaMethod",
        "*GapsHeight",
        "*Resolution 300dpi"};
    for (const std::string& line : expected) {
        EXPECT_NE(text.find(line), std::string::npos) << line;
    }
    // The mere presence of AntiWrinkle makes the filter feed before each
    // image, so only the stencil printers have it; they print at 300 dpi only.
    EXPECT_EQ(text.find("*OpenUI *AntiWrinkle") != std::string::npos, model.stencil);
    EXPECT_EQ(text.find("*AntiWrinkle 5") != std::string::npos, model.stencil);
    EXPECT_EQ(text.find("*Resolution 203dpi") == std::string::npos, model.stencil);
}

TEST(ShippedPpds, PassCupstestppd)
{
    for (const ShippedModel& model : kModels) {
        int status = 0;
        const std::string output = commandOutput("cupstestppd -W filters " + builtPpd(model.file), &status);
        EXPECT_EQ(status, 0) << output;
        EXPECT_NE(output.find("PASS"), std::string::npos) << output;
    }
}

TEST(ShippedPpds, DeclareWhatTheFilterReads)
{
    for (const ShippedModel& model : kModels) {
        expectDeclarations(model);
    }
}

}  // namespace
