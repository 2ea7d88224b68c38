// Halftone type names, path base names and the bounded string copy.
#include "common/DitherType.h"
#include "common/KorvoString.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// The names accepted in the PPD option "HalftoneType", by value.
const char* const kNames[] = {"None",   "FloydSteinberg", "Ordered",       "Burkes", "Stucki",
                              "JarvisJudiceNinke", "Sierra", "StevensonArce", "Tattoo", "Tattoo_Q6"};

}  // namespace

TEST(HalftoneType, EveryValueHasItsNameAndTheNameGivesTheValueBack)
{
    for (int value = 0; value < 10; ++value) {
        const auto type = static_cast<DitherType>(value);
        ASSERT_NE(korvoHalftoneTypeToStr(type), nullptr);
        EXPECT_STREQ(korvoHalftoneTypeToStr(type), kNames[value]) << "value " << value;
        EXPECT_EQ(korvoHalftoneTypeFromStr(kNames[value]), type) << kNames[value];
    }
}

TEST(HalftoneType, EnumeratorsCarryTheWireValues)
{
    EXPECT_EQ(static_cast<int>(DITHER_NONE), 0);
    EXPECT_EQ(static_cast<int>(DITHER_FLOYD_STEINBERG), 1);
    EXPECT_EQ(static_cast<int>(DITHER_ORDERED), 2);
    EXPECT_EQ(static_cast<int>(DITHER_BURKES), 3);
    EXPECT_EQ(static_cast<int>(DITHER_STUCKI), 4);
    EXPECT_EQ(static_cast<int>(DITHER_JARVIS_JUDICE_NINKE), 5);
    EXPECT_EQ(static_cast<int>(DITHER_SIERRA), 6);
    EXPECT_EQ(static_cast<int>(DITHER_STEVENSON_ARCE), 7);
    EXPECT_EQ(static_cast<int>(DITHER_TATTOO), 8);
    EXPECT_EQ(static_cast<int>(DITHER_TATTOO_Q6), 9);
    EXPECT_EQ(sizeof(DitherType), 4u);
}

TEST(HalftoneType, ValuesFromTenUpAreNamedNone)
{
    for (int value : {10, 11, 255, 1000, 0x7FFFFFFF}) {
        EXPECT_STREQ(korvoHalftoneTypeToStr(static_cast<DitherType>(value)), "None") << value;
    }
}

TEST(HalftoneType, NamesMatchExactlyAndCaseSensitively)
{
    EXPECT_EQ(korvoHalftoneTypeFromStr("Tattoo_Q6"), DITHER_TATTOO_Q6);
    EXPECT_EQ(korvoHalftoneTypeFromStr("Tattoo"), DITHER_TATTOO);
    EXPECT_EQ(korvoHalftoneTypeFromStr("tattoo"), DITHER_NONE);
    EXPECT_EQ(korvoHalftoneTypeFromStr("TATTOO_Q6"), DITHER_NONE);
    EXPECT_EQ(korvoHalftoneTypeFromStr("stucki"), DITHER_NONE);
    // No prefix or padded matches.
    EXPECT_EQ(korvoHalftoneTypeFromStr("Tattoo_Q"), DITHER_NONE);
    EXPECT_EQ(korvoHalftoneTypeFromStr("Tattoo_Q66"), DITHER_NONE);
    EXPECT_EQ(korvoHalftoneTypeFromStr("Stucki "), DITHER_NONE);
    EXPECT_EQ(korvoHalftoneTypeFromStr(" Stucki"), DITHER_NONE);
    EXPECT_EQ(korvoHalftoneTypeFromStr("Floyd"), DITHER_NONE);
    EXPECT_EQ(korvoHalftoneTypeFromStr(""), DITHER_NONE);
    EXPECT_EQ(korvoHalftoneTypeFromStr("9"), DITHER_NONE);
}

TEST(PathBasename, TextAfterTheRightmostSeparatorOfEitherKind)
{
    EXPECT_STREQ(korvoPathGetBasename("/usr/lib/cups/filter/rastertokorvoppli"), "rastertokorvoppli");
    EXPECT_STREQ(korvoPathGetBasename("C:\\filters\\rastertokorvoppli.exe"), "rastertokorvoppli.exe");
    // A backslash to the right of the last slash wins, and the other way round.
    EXPECT_STREQ(korvoPathGetBasename("/a/b\\c"), "c");
    EXPECT_STREQ(korvoPathGetBasename("a\\b/c"), "c");
    EXPECT_STREQ(korvoPathGetBasename("x\\y/z\\w"), "w");
    EXPECT_STREQ(korvoPathGetBasename("x/y\\z/w"), "w");
    EXPECT_STREQ(korvoPathGetBasename("/only"), "only");
    EXPECT_STREQ(korvoPathGetBasename("\\only"), "only");
}

TEST(PathBasename, ResultPointsIntoTheGivenText)
{
    const char* path = "dir/sub\\file";
    EXPECT_EQ(korvoPathGetBasename(path), path + 8);
    const char* plain = "rastertokorvoppli";
    EXPECT_EQ(korvoPathGetBasename(plain), plain);  // no separator: the whole path
    const char* empty = "";
    EXPECT_EQ(korvoPathGetBasename(empty), empty);
}

TEST(PathBasename, TrailingSeparatorGivesEmptyTextAndNullGivesNull)
{
    const char* slash = "/var/spool/";
    EXPECT_EQ(korvoPathGetBasename(slash), slash + std::strlen(slash));
    EXPECT_STREQ(korvoPathGetBasename(slash), "");
    EXPECT_STREQ(korvoPathGetBasename("dir\\"), "");
    EXPECT_STREQ(korvoPathGetBasename("/"), "");
    EXPECT_STREQ(korvoPathGetBasename("a\\b/"), "");
    EXPECT_EQ(korvoPathGetBasename(nullptr), nullptr);
}

TEST(StrCpy, ShortTextIsCopiedAndTheRestPaddedWithNul)
{
    char dst[12];
    std::memset(dst, 'Z', sizeof(dst));
    EXPECT_EQ(korvoStrCpy(dst, "abc", sizeof(dst)), dst);
    EXPECT_STREQ(dst, "abc");
    for (size_t i = 3; i < sizeof(dst); ++i) {
        EXPECT_EQ(dst[i], '\0') << "byte " << i;
    }
}

TEST(StrCpy, LongTextKeepsSizeMinusOneCharactersAndIsTerminated)
{
    char dst[8 + 1];  // one guard byte after the eight handed over
    std::memset(dst, 'Z', sizeof(dst));
    korvoStrCpy(dst, "0123456789", 8);
    EXPECT_STREQ(dst, "0123456");
    EXPECT_EQ(dst[8], 'Z') << "wrote past size";

    // Exactly size - 1 characters fit whole; size characters lose the last.
    char fit[6];
    korvoStrCpy(fit, "abcde", sizeof(fit));
    EXPECT_STREQ(fit, "abcde");
    korvoStrCpy(fit, "abcdef", sizeof(fit));
    EXPECT_STREQ(fit, "abcde");
}

TEST(StrCpy, FortyOneByteFieldKeepsFortyCharacters)
{
    const std::string longText(57, 'q');
    char field[41 + 4];
    std::memset(field, 'Z', sizeof(field));
    korvoStrCpy(field, longText.c_str(), 41);
    EXPECT_EQ(std::strlen(field), 40u);
    EXPECT_EQ(std::string(field), longText.substr(0, 40));
    EXPECT_EQ(field[41], 'Z');
}

TEST(StrCpy, SizeOneGivesEmptyTextAndEmptySourceClearsTheField)
{
    char dst[4] = {'a', 'b', 'c', 'd'};
    korvoStrCpy(dst, "xyz", 1);
    EXPECT_EQ(dst[0], '\0');
    EXPECT_EQ(dst[1], 'b') << "size 1 touches one byte only";

    char field[5];
    std::memset(field, 'Z', sizeof(field));
    korvoStrCpy(field, "", sizeof(field));
    for (char c : field) {
        EXPECT_EQ(c, '\0');
    }
}
