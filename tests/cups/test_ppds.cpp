// SPDX-License-Identifier: Apache-2.0
// The shipped PPDs: accepted by cupstestppd, with the model names the
// status wait compares and the options the filter reads, and read by libcups
// in the user's language.
#include <cups/ppd.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "FilterProcess.h"

using namespace korvotest;

namespace {

// What the spooler and the filter need of every shipped PPD, besides the
// options the process tests print with.
const char* const kDeclared[] = {
    "*Manufacturer: \"Korvo\"",
    "*cupsManualCopies: True",
    "cupsColorSpace 3",
    "cupsBitsPerColor 8",
    "*cupsFilter2: \"application/vnd.cups-raster application/vnd.korvo-raster 0 rastertokorvoppli\"",
    "*cupsLanguages: \"en de fr es ja zh_CN\"",
    "*CustomPageSize True",
    "*MediaMethod",
    "*GapsHeight"};

struct Model {
    const char* file;
    const char* name;
    const char* defaultHalftone;
    bool stencil;
};

const Model kModels[] = {
    {"korvr27.ppd", "R27", "None", false},
    {"korv315.ppd", "V315", "None", false},
    {"korvk5.ppd", "K5", "Tattoo", true},
    {"korvq6.ppd", "Q6", "Tattoo_Q6", true},
};

TEST(ShippedPpds, PassCupstestppdAndDeclareWhatTheFilterReads)
{
    for (const Model& model : kModels) {
        SCOPED_TRACE(model.file);
        std::string report;
        EXPECT_EQ(runShell("cupstestppd -W filters " + builtPpd(model.file) + " 2>&1", &report), 0) << report;
        EXPECT_NE(report.find(": PASS\n"), std::string::npos) << report;
        const std::string text = readText(builtPpd(model.file));
        for (const char* line : kDeclared) {
            EXPECT_NE(text.find(line), std::string::npos) << line;
        }
        EXPECT_NE(text.find("*ModelName: \"" + std::string(model.name) + "\"\n"), std::string::npos);
        EXPECT_NE(text.find("*DefaultHalftoneType: " + std::string(model.defaultHalftone) + "\n"), std::string::npos);
        // AntiWrinkle, present, makes the filter feed before each image: only
        // the stencil printers have it, and they print at 300 dpi only.
        EXPECT_EQ(text.find("*OpenUI *AntiWrinkle") != std::string::npos, model.stencil);
        EXPECT_EQ(text.find("*AntiWrinkle 5") != std::string::npos, model.stencil);
        EXPECT_EQ(text.find("*Resolution 203dpi") == std::string::npos, model.stencil);
    }
}

// An option and one of its choices as a program in the locale shows them.
struct Localised {
    const char* locale;
    const char* file;
    const char* option;
    const char* choice;
    std::pair<std::string, std::string> texts;
};

const Localised kLocalised[] = {
    {"C", "korvk5.ppd", "HalftoneType", "Tattoo_Q6", {"Halftone", "Tattoo stencil, high contrast"}},
    {"de_DE.UTF-8", "korvk5.ppd", "HalftoneType", "Tattoo", {"Halbton", "Tattoo-Schablone"}},
    {"fr_FR.UTF-8", "korvr27.ppd", "PostAction", "TearOff", {"Après l'impression", "Avancer pour détacher"}},
    {"es_ES.UTF-8", "korv315.ppd", "PaperType", "LabelMark", {"Tipo de papel", "Etiquetas con marcas negras"}},
    {"ja_JP.UTF-8", "korvq6.ppd", "AntiWrinkle", "0", {"しわ防止枠", "オフ"}},
    {"zh_CN.UTF-8", "korvr27.ppd", "Darkness", "Middle", {"打印浓度", "中"}},
};

// libcups settles a thread's language at its first use, so every locale is
// read on a thread of its own.
TEST(ShippedPpds, ShowTheirTextsInTheUsersLanguage)
{
    const std::string saved = getenv("LC_ALL") != nullptr ? getenv("LC_ALL") : "";
    for (const Localised& row : kLocalised) {
        setenv("LC_ALL", row.locale, 1);
        std::pair<std::string, std::string> texts;
        std::thread([&] {
            ppd_file_t* ppd = ppdOpenFile(builtPpd(row.file).c_str());
            ppd_option_t* option = ppd != nullptr && ppdLocalize(ppd) == 0 ? ppdFindOption(ppd, row.option) : nullptr;
            const ppd_choice_t* choice = option != nullptr ? ppdFindChoice(option, row.choice) : nullptr;
            if (choice != nullptr) {
                texts = {option->text, choice->text};
            }
            ppdClose(ppd);
        }).join();
        EXPECT_EQ(texts, row.texts) << row.locale << " " << row.file << " " << row.option;
    }
    setenv("LC_ALL", saved.c_str(), 1);  // empty, it counts as unset
}

}  // namespace
