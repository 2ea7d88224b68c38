// SPDX-License-Identifier: Apache-2.0
// The shipped PPDs: the model names the status wait compares, the frame option
// on the stencil printers only, and their texts read by libcups in the user's
// language. (cupstestppd checks the installed PPDs: tests/install.)
#include <cups/ppd.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "FilterProcess.h"

using namespace korvotest;

namespace {

// Only the stencil printers have the AntiWrinkle option, whose mere presence
// makes the filter feed before each image, and they print at 300 dpi only.
TEST(ShippedPpds, NameTheirModelAndKeepFramesToStencilPrinters)
{
    const std::pair<const char*, const char*> models[] = {
        {"korvr27.ppd", "R27"}, {"korv315.ppd", "V315"}, {"korvk5.ppd", "K5"}, {"korvq6.ppd", "Q6"}};
    for (const auto& [file, name] : models) {
        const std::string text = readText(builtPpd(file));
        const bool stencil = name[0] == 'K' || name[0] == 'Q';
        EXPECT_NE(text.find("*ModelName: \"" + std::string(name) + "\"\n"), std::string::npos) << file;
        EXPECT_EQ(text.find("*OpenUI *AntiWrinkle") != std::string::npos, stencil) << file;
        EXPECT_EQ(text.find("*Resolution 203dpi") == std::string::npos, stencil) << file;
    }
}

// An option's text and one of its choices', as libcups shows them in the
// locale. libcups settles a thread's language at its first use, so each read
// runs on a thread of its own.
std::string textsOf(const char* file, const char* optionName, const char* choiceName)
{
    std::string texts;
    std::thread([&] {
        ppd_file_t* ppd = ppdOpenFile(builtPpd(file).c_str());
        ppd_option_t* option = ppd != nullptr && ppdLocalize(ppd) == 0 ? ppdFindOption(ppd, optionName) : nullptr;
        const ppd_choice_t* choice = option != nullptr ? ppdFindChoice(option, choiceName) : nullptr;
        texts = choice != nullptr ? std::string(option->text) + " / " + choice->text : "none";
        ppdClose(ppd);
    }).join();
    return texts;
}

TEST(ShippedPpds, ShowTheirTextsInTheUsersLanguage)
{
    const char* const rows[][5] = {
        // locale, PPD, option, choice, their texts
        {"C", "korvk5.ppd", "HalftoneType", "Tattoo_Q6", "Halftone / Tattoo stencil, high contrast"},
        {"de_DE.UTF-8", "korvk5.ppd", "HalftoneType", "Tattoo", "Halbton / Tattoo-Schablone"},
        {"fr_FR.UTF-8", "korvr27.ppd", "PostAction", "TearOff", "Après l'impression / Avancer pour détacher"},
        {"es_ES.UTF-8", "korv315.ppd", "PaperType", "LabelMark", "Tipo de papel / Etiquetas con marcas negras"},
        {"ja_JP.UTF-8", "korvq6.ppd", "AntiWrinkle", "0", "しわ防止枠 / オフ"},
        {"zh_CN.UTF-8", "korvr27.ppd", "Darkness", "Middle", "打印浓度 / 中"},
    };
    const std::string saved = getenv("LC_ALL") != nullptr ? getenv("LC_ALL") : "";
    for (const auto& [locale, file, option, choice, texts] : rows) {
        setenv("LC_ALL", locale, 1);
        EXPECT_EQ(textsOf(file, option, choice), texts) << locale << " " << file;
    }
    setenv("LC_ALL", saved.c_str(), 1);  // empty, it counts as unset
}

}  // namespace
