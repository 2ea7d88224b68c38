// SPDX-License-Identifier: Apache-2.0
// Halftone names, text helpers and PPD lookups the filter never reaches, in
// one grouped test.
#include "common/DitherType.h"
#include "common/KorvoPpd.h"
#include "common/KorvoString.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

TEST(Common, InterfaceOutsideTheFilter)
{
    EXPECT_STREQ(korvoHalftoneTypeToStr(static_cast<DitherType>(10)), "None");
    EXPECT_STREQ(korvoHalftoneTypeToStr(static_cast<DitherType>(-1)), "None");
    EXPECT_EQ(korvoHalftoneTypeFromStr("tattoo"), DITHER_NONE);  // case counts
    EXPECT_EQ(korvoHalftoneTypeFromStr("Tattoo_Q6"), 9);
    EXPECT_EQ(korvoHalftoneTypeFromStr("Tattoo"), 8);  // not taken for its longer sibling

    EXPECT_STREQ(korvoPathGetBasename("/a/b\\c"), "c");
    EXPECT_STREQ(korvoPathGetBasename("a\\b/c"), "c");
    EXPECT_STREQ(korvoPathGetBasename("/var/spool/"), "");
    const char* plain = "rastertokorvoppli";
    EXPECT_EQ(korvoPathGetBasename(plain), plain);
    EXPECT_EQ(korvoPathGetBasename(nullptr), nullptr);

    char dst[9];
    std::memset(dst, 'Z', sizeof(dst));  // the last byte guards the eight handed over
    EXPECT_EQ(korvoStrCpy(dst, "0123456789", 8), dst);
    EXPECT_STREQ(dst, "0123456");
    EXPECT_EQ(dst[8], 'Z');

    static const char text[] = "*PPD-Adobe: \"4.3\"\n"
                               "*OpenUI *GapsHeight/Gap: PickOne\n"
                               "*DefaultGapsHeight: 3\n"
                               "*GapsHeight 0/0 mm: \"\"\n"
                               "*GapsHeight 3/3 mm: \"\"\n"
                               "*CloseUI: *GapsHeight\n";
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    ASSERT_EQ(write(fds[1], text, sizeof(text) - 1), static_cast<ssize_t>(sizeof(text) - 1));
    close(fds[1]);
    ppd_file_t* ppd = ppdOpenFd(fds[0]);  // closes fds[0]
    ASSERT_NE(ppd, nullptr) << ppdErrorString(ppdLastError(nullptr));
    // Nothing marked: the option's default choice, not its first.
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd, "GapsHeight", 99), 3);
    EXPECT_EQ(korvoPpdGetChoiceAsIntDefault(ppd, "NoSuchOption", -1), -1);
    EXPECT_STREQ(korvoPpdGetAttrAsStrDefault(ppd, "NoSuchAttr", "", "x"), "x");
    ppdClose(ppd);
}
