// Option and attribute lookups in an opened PPD.
#include "common/KorvoPpd.h"

#include <cups/cups.h>
#include <cups/ppd.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

const char kPpdText[] =
    "*PPD-Adobe: \"4.3\"\n"
    "*FormatVersion: \"4.3\"\n"
    "*FileVersion: \"1.0\"\n"
    "*LanguageVersion: English\n"
    "*LanguageEncoding: ISOLatin1\n"
    "*PCFileName: \"KTEST.PPD\"\n"
    "*Manufacturer: \"Test\"\n"
    "*Product: \"(Unit Label Printer)\"\n"
    "*ModelName: \"Unit Label Printer\"\n"
    "*ShortNickName: \"Unit Label Printer\"\n"
    "*NickName: \"Unit Label Printer\"\n"
    "*PSVersion: \"(3010.000) 0\"\n"
    "*ColorDevice: False\n"
    "*DefaultColorSpace: Gray\n"
    "*KorvoScale: \"1.75\"\n"
    "*KorvoGap Label/Label paper: \"3.5\"\n"
    "*KorvoGap Continuous/Continuous paper: \"0.25\"\n"
    "*KorvoWord: \"abc\"\n"
    "*KorvoEmpty: \"\"\n"
    "*OpenUI *PageSize/Media Size: PickOne\n"
    "*OrderDependency: 10 AnySetup *PageSize\n"
    "*DefaultPageSize: w288h432\n"
    "*PageSize w288h432/4 x 6: \"\"\n"
    "*PageSize w144h72/2 x 1: \"\"\n"
    "*CloseUI: *PageSize\n"
    "*OpenUI *PageRegion/Media Size: PickOne\n"
    "*OrderDependency: 10 AnySetup *PageRegion\n"
    "*DefaultPageRegion: w288h432\n"
    "*PageRegion w288h432/4 x 6: \"\"\n"
    "*PageRegion w144h72/2 x 1: \"\"\n"
    "*CloseUI: *PageRegion\n"
    "*DefaultImageableArea: w288h432\n"
    "*ImageableArea w288h432/4 x 6: \"0 0 288 432\"\n"
    "*ImageableArea w144h72/2 x 1: \"0 0 144 72\"\n"
    "*DefaultPaperDimension: w288h432\n"
    "*PaperDimension w288h432/4 x 6: \"288 432\"\n"
    "*PaperDimension w144h72/2 x 1: \"144 72\"\n"
    "*OpenUI *HalftoneType/Halftone: PickOne\n"
    "*OrderDependency: 20 AnySetup *HalftoneType\n"
    "*DefaultHalftoneType: Stucki\n"
    "*HalftoneType None/None: \"\"\n"
    "*HalftoneType Stucki/Stucki: \"\"\n"
    "*HalftoneType Tattoo/Tattoo: \"\"\n"
    "*HalftoneType Tattoo_Q6/Tattoo Q6: \"\"\n"
    "*CloseUI: *HalftoneType\n"
    "*OpenUI *MirrorImage/Mirror: PickOne\n"
    "*OrderDependency: 20 AnySetup *MirrorImage\n"
    "*DefaultMirrorImage: off\n"
    "*MirrorImage off/Off: \"\"\n"
    "*MirrorImage yes/Yes: \"\"\n"
    "*MirrorImage TRUE/True: \"\"\n"
    "*MirrorImage YeS/Yes: \"\"\n"
    "*MirrorImage tRuE/True: \"\"\n"
    "*MirrorImage False/False: \"\"\n"
    "*MirrorImage NO/No: \"\"\n"
    "*MirrorImage 7/Seven: \"\"\n"
    "*MirrorImage 2/Two: \"\"\n"
    "*MirrorImage 256/256: \"\"\n"
    "*MirrorImage 255/255: \"\"\n"
    "*MirrorImage 258/258: \"\"\n"
    "*MirrorImage -3/Minus three: \"\"\n"
    "*MirrorImage yesno/Yes no: \"\"\n"
    "*CloseUI: *MirrorImage\n"
    "*OpenUI *NegativeImage/Negative: PickOne\n"
    "*OrderDependency: 20 AnySetup *NegativeImage\n"
    "*DefaultNegativeImage: True\n"
    "*NegativeImage True/Yes: \"\"\n"
    "*NegativeImage False/No: \"\"\n"
    "*CloseUI: *NegativeImage\n"
    "*OpenUI *GapsHeight/Gap: PickOne\n"
    "*OrderDependency: 20 AnySetup *GapsHeight\n"
    "*DefaultGapsHeight: 3\n"
    "*GapsHeight 0/0 mm: \"\"\n"
    "*GapsHeight 3/3 mm: \"\"\n"
    "*GapsHeight 12/12 mm: \"\"\n"
    "*GapsHeight -5/Minus five: \"\"\n"
    "*GapsHeight 8mm/8 mm: \"\"\n"
    "*GapsHeight abc/Words: \"\"\n"
    "*CloseUI: *GapsHeight\n"
    "*OpenUI *PostAction/After printing: PickOne\n"
    "*OrderDependency: 20 AnySetup *PostAction\n"
    "*DefaultPostAction: Nowhere\n"
    "*PostAction TearOff/Tear off: \"\"\n"
    "*PostAction Cut/Cut: \"\"\n"
    "*CloseUI: *PostAction\n";

// A PPD written to a temporary file and opened; closed and removed again at
// the end of the test.
class PpdFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        char path[] = "/tmp/korvo_ppd_testXXXXXX";
        const int fd = mkstemp(path);
        ASSERT_GE(fd, 0);
        path_ = path;
        FILE* f = fdopen(fd, "w");
        ASSERT_NE(f, nullptr);
        fputs(kPpdText, f);
        fclose(f);
        ppd_ = ppdOpenFile(path_.c_str());
        ASSERT_NE(ppd_, nullptr) << ppdErrorString(ppdLastError(nullptr));
    }

    void TearDown() override
    {
        if (ppd_ != nullptr) {
            ppdClose(ppd_);
        }
        if (!path_.empty()) {
            unlink(path_.c_str());
        }
    }

    // Marks the PPD defaults, then the job's options on top, as the filter does.
    void markJob(const char* options)
    {
        ppdMarkDefaults(ppd_);
        cups_option_t* list = nullptr;
        const int count = cupsParseOptions(options, 0, &list);
        if (count > 0 && list != nullptr) {
            cupsMarkOptions(ppd_, count, list);
        }
        cupsFreeOptions(count, list);
    }

    // The value that korvoPpdGetChoiceAsBoolDefault gives with the option
    // MirrorImage set to choice, widened as the callers do.
    int mirrorAsBool(const char* choice, char def = 42)
    {
        ppdMarkOption(ppd_, "MirrorImage", choice);
        return static_cast<signed char>(korvoPpdGetChoiceAsBoolDefault(ppd_, "MirrorImage", def));
    }

    std::string path_;
    ppd_file_t* ppd_ = nullptr;
};

}  // namespace

TEST_F(PpdFixture, MarkedChoiceWinsOverTheDefault)
{
    markJob("HalftoneType=Tattoo GapsHeight=12");
    ppd_choice_t* choice = korvoPpdGetChoice(ppd_, "HalftoneType");
    ASSERT_NE(choice, nullptr);
    EXPECT_STREQ(choice->choice, "Tattoo");
    EXPECT_STREQ(korvoPpdGetChoiceAsStrDefault(ppd_, "HalftoneType", "dflt"), "Tattoo");
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd_, "GapsHeight", 99), 12);
    // The text points into the PPD's own choice record.
    ppd_option_t* option = ppdFindOption(ppd_, "HalftoneType");
    ASSERT_NE(option, nullptr);
    EXPECT_EQ(korvoPpdGetChoiceAsStrDefault(ppd_, "HalftoneType", "dflt"), ppdFindChoice(option, "Tattoo")->choice);
}

TEST_F(PpdFixture, MarkedDefaultsAreReturnedWhenTheJobSetsNothing)
{
    markJob("");
    EXPECT_STREQ(korvoPpdGetChoiceAsStrDefault(ppd_, "HalftoneType", "dflt"), "Stucki");
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd_, "GapsHeight", 99), 3);
    EXPECT_STREQ(korvoPpdGetChoiceAsStrDefault(ppd_, "PageSize", ""), "w288h432");
}

TEST_F(PpdFixture, OptionWithoutMarkedChoiceGivesItsDefaultChoice)
{
    // Nothing is marked: the lookup falls back to the option's default.
    ASSERT_EQ(ppdFindMarkedChoice(ppd_, "HalftoneType"), nullptr);
    ppd_choice_t* choice = korvoPpdGetChoice(ppd_, "HalftoneType");
    ASSERT_NE(choice, nullptr);
    EXPECT_STREQ(choice->choice, "Stucki");
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd_, "GapsHeight", 99), 3);
    EXPECT_EQ(static_cast<signed char>(korvoPpdGetChoiceAsBoolDefault(ppd_, "NegativeImage", 0)), 1);
    EXPECT_EQ(static_cast<signed char>(korvoPpdGetChoiceAsBoolDefault(ppd_, "MirrorImage", 5)), 0);  // "off"
}

TEST_F(PpdFixture, DefaultNamingNoChoiceGivesTheCallersDefault)
{
    markJob("");
    EXPECT_EQ(korvoPpdGetChoice(ppd_, "PostAction"), nullptr);
    EXPECT_STREQ(korvoPpdGetChoiceAsStrDefault(ppd_, "PostAction", "fallback"), "fallback");
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd_, "PostAction", -17), -17);
    EXPECT_EQ(static_cast<signed char>(korvoPpdGetChoiceAsBoolDefault(ppd_, "PostAction", 9)), 9);

    // Once the job picks a choice it is found.
    markJob("PostAction=Cut");
    EXPECT_STREQ(korvoPpdGetChoiceAsStrDefault(ppd_, "PostAction", "fallback"), "Cut");
}

TEST_F(PpdFixture, UnknownKeywordGivesTheCallersDefault)
{
    markJob("HalftoneType=Tattoo");
    EXPECT_EQ(korvoPpdGetChoice(ppd_, "NoSuchOption"), nullptr);
    EXPECT_STREQ(korvoPpdGetChoiceAsStrDefault(ppd_, "NoSuchOption", "dflt"), "dflt");
    EXPECT_EQ(korvoPpdGetChoiceAsStrDefault(ppd_, "NoSuchOption", nullptr), nullptr);
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd_, "NoSuchOption", -1), -1);
    EXPECT_EQ(static_cast<signed char>(korvoPpdGetChoiceAsBoolDefault(ppd_, "NoSuchOption", -1)), -1);
    // The option names are looked up as given: "DefaultResolution" is not an
    // option of this PPD even though "*DefaultPageSize" is a line of it.
    EXPECT_STREQ(korvoPpdGetChoiceAsStrDefault(ppd_, "DefaultPageSize", "none"), "none");
}

TEST(PpdNull, NullPpdGivesTheDefaultsEverywhere)
{
    EXPECT_EQ(korvoPpdGetChoice(nullptr, "PageSize"), nullptr);
    EXPECT_STREQ(korvoPpdGetChoiceAsStrDefault(nullptr, "PageSize", "def"), "def");
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(nullptr, "GapsHeight", 31), 31);
    EXPECT_EQ(static_cast<signed char>(korvoPpdGetChoiceAsBoolDefault(nullptr, "MirrorImage", 1)), 1);
    EXPECT_EQ(static_cast<signed char>(korvoPpdGetChoiceAsBoolDefault(nullptr, "MirrorImage", 0)), 0);
    EXPECT_STREQ(korvoPpdGetAttrAsStrDefault(nullptr, "ModelName", "", "none"), "none");
    EXPECT_DOUBLE_EQ(korvoPpdGetAttrAsFloatDefault(nullptr, "KorvoScale", "", 2.5), 2.5);
}

TEST_F(PpdFixture, BooleanWordsIgnoreCase)
{
    EXPECT_EQ(mirrorAsBool("yes"), 1);
    EXPECT_EQ(mirrorAsBool("YeS"), 1);
    EXPECT_EQ(mirrorAsBool("TRUE"), 1);
    EXPECT_EQ(mirrorAsBool("tRuE"), 1);
    EXPECT_EQ(mirrorAsBool("False"), 0);
    EXPECT_EQ(mirrorAsBool("NO"), 0);
}

TEST_F(PpdFixture, OtherBooleanTextsGiveTheLowByteOfTheirNumber)
{
    EXPECT_EQ(mirrorAsBool("off"), 0);  // atoi of a word
    EXPECT_EQ(mirrorAsBool("yesno"), 0);
    EXPECT_EQ(mirrorAsBool("7"), 7);
    EXPECT_EQ(mirrorAsBool("2"), 2);
    EXPECT_EQ(mirrorAsBool("256"), 0);  // 0x100: low byte 0
    EXPECT_EQ(mirrorAsBool("255"), -1);  // 0xFF as a signed character
    EXPECT_EQ(mirrorAsBool("258"), 2);
    EXPECT_EQ(mirrorAsBool("-3"), -3);
}

TEST_F(PpdFixture, IntegerOfNonNumericChoiceIsZeroNotTheDefault)
{
    ppdMarkOption(ppd_, "GapsHeight", "abc");
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd_, "GapsHeight", 99), 0);
    ppdMarkOption(ppd_, "GapsHeight", "8mm");
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd_, "GapsHeight", 99), 8);
    ppdMarkOption(ppd_, "GapsHeight", "-5");
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd_, "GapsHeight", 99), -5);
    ppdMarkOption(ppd_, "GapsHeight", "0");
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd_, "GapsHeight", 99), 0);
    // A word choice read as text is the word itself.
    ppdMarkOption(ppd_, "GapsHeight", "abc");
    EXPECT_STREQ(korvoPpdGetChoiceAsStrDefault(ppd_, "GapsHeight", ""), "abc");
}

TEST_F(PpdFixture, AttributesAreFoundByNameAndSpec)
{
    EXPECT_STREQ(korvoPpdGetAttrAsStrDefault(ppd_, "ModelName", "", ""), "Unit Label Printer");
    EXPECT_STREQ(korvoPpdGetAttrAsStrDefault(ppd_, "KorvoScale", "", "x"), "1.75");
    EXPECT_STREQ(korvoPpdGetAttrAsStrDefault(ppd_, "KorvoGap", "Label", "x"), "3.5");
    EXPECT_STREQ(korvoPpdGetAttrAsStrDefault(ppd_, "KorvoGap", "Continuous", "x"), "0.25");
    EXPECT_STREQ(korvoPpdGetAttrAsStrDefault(ppd_, "KorvoEmpty", "", "x"), "");
    // Missing name or spec: the default.
    EXPECT_STREQ(korvoPpdGetAttrAsStrDefault(ppd_, "NoSuchAttr", "", "x"), "x");
    EXPECT_STREQ(korvoPpdGetAttrAsStrDefault(ppd_, "KorvoGap", "Roll", "x"), "x");
    EXPECT_EQ(korvoPpdGetAttrAsStrDefault(ppd_, "NoSuchAttr", "", nullptr), nullptr);
}

TEST_F(PpdFixture, FloatAttributesGoThroughAtof)
{
    EXPECT_DOUBLE_EQ(korvoPpdGetAttrAsFloatDefault(ppd_, "KorvoScale", "", -1.0), 1.75);
    EXPECT_DOUBLE_EQ(korvoPpdGetAttrAsFloatDefault(ppd_, "KorvoGap", "Label", -1.0), 3.5);
    EXPECT_DOUBLE_EQ(korvoPpdGetAttrAsFloatDefault(ppd_, "KorvoGap", "Continuous", -1.0), 0.25);
    // A present value that is not a number reads as 0, not as the default.
    EXPECT_DOUBLE_EQ(korvoPpdGetAttrAsFloatDefault(ppd_, "KorvoWord", "", -1.0), 0.0);
    EXPECT_DOUBLE_EQ(korvoPpdGetAttrAsFloatDefault(ppd_, "KorvoEmpty", "", -1.0), 0.0);
    EXPECT_DOUBLE_EQ(korvoPpdGetAttrAsFloatDefault(ppd_, "NoSuchAttr", "", -1.5), -1.5);
    EXPECT_DOUBLE_EQ(korvoPpdGetAttrAsFloatDefault(ppd_, "KorvoGap", "Roll", 6.25), 6.25);
}
