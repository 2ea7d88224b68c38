// SPDX-License-Identifier: Apache-2.0
// The shipped PPDs: accepted by cupstestppd, with the model names the
// status wait compares and the options the filter reads, and read by libcups
// in the user's language.
#include <cups/ppd.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <utility>

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
        "*Resolution 300dpi",
        "*cupsLanguages: \"en de fr es ja zh_CN\""};
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

// An option and one of its choices as a program in the locale shows them.
struct LocalisedTexts {
    const char* locale;
    const char* file;
    const char* option;
    const char* choice;
    std::pair<std::string, std::string> texts;
};

const LocalisedTexts kLocalised[] = {
    {"C", "korvk5.ppd", "HalftoneType", "Tattoo_Q6", {"Halftone", "Tattoo stencil, high contrast"}},
    {"de_DE.UTF-8", "korvk5.ppd", "HalftoneType", "Tattoo", {"Halbton", "Tattoo-Schablone"}},
    {"fr_FR.UTF-8", "korvr27.ppd", "PostAction", "TearOff", {"Après l'impression", "Avancer pour détacher"}},
    {"es_ES.UTF-8", "korv315.ppd", "PaperType", "LabelMark", {"Tipo de papel", "Etiquetas con marcas negras"}},
    {"ja_JP.UTF-8", "korvq6.ppd", "AntiWrinkle", "0", {"しわ防止枠", "オフ"}},
    {"zh_CN.UTF-8", "korvr27.ppd", "Darkness", "Middle", {"打印浓度", "中"}},
};

// libcups settles a thread's language at its first use, so every locale is
// read on a thread of its own.
std::pair<std::string, std::string> readLocalised(const LocalisedTexts& row)
{
    std::pair<std::string, std::string> texts;
    std::thread reader([&] {
        ppd_file_t* ppd = ppdOpenFile(builtPpd(row.file).c_str());
        if (ppd == nullptr) {
            return;
        }
        ppdLocalize(ppd);
        ppd_option_t* option = ppdFindOption(ppd, row.option);
        const ppd_choice_t* choice = option != nullptr ? ppdFindChoice(option, row.choice) : nullptr;
        if (choice != nullptr) {
            texts = {option->text, choice->text};
        }
        ppdClose(ppd);
    });
    reader.join();
    return texts;
}

TEST(ShippedPpds, ShowTheirTextsInTheUsersLanguage)
{
    const char* saved = getenv("LC_ALL");
    const std::string savedLcAll = saved != nullptr ? saved : "";
    for (const LocalisedTexts& row : kLocalised) {
        setenv("LC_ALL", row.locale, 1);
        EXPECT_EQ(readLocalised(row), row.texts) << row.locale << " " << row.file << " " << row.option;
    }
    if (saved != nullptr) {
        setenv("LC_ALL", savedLcAll.c_str(), 1);
    } else {
        unsetenv("LC_ALL");
    }
}

}  // namespace
