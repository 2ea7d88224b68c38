// korvoLogCommon: one spooler message line on stderr per call.
#include "common/KorvoLog.h"

#include "CaptureStderr.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>


TEST(KorvoLog, ErrorPrefixIsFollowedDirectlyByTheMessageAndOneNewline)
{
    const std::string out = captureStderr([] {
        korvoLogCommon(3, "Unsupported bits per pixel : %d ! Requires 8 bits per pixel!", 1);
    });
    EXPECT_EQ(out, "ERROR:Unsupported bits per pixel : 1 ! Requires 8 bits per pixel!\n");
}

TEST(KorvoLog, EveryLevelHasItsOwnPrefixAndNoneIsFiltered)
{
    const struct {
        int level;
        const char* prefix;
    } cases[] = {{0, "DEBUG:"}, {1, "DEBUG:"}, {2, "WARN:"}, {3, "ERROR:"}, {4, "CRIT:"}, {5, "INVALID:"}};
    for (const auto& c : cases) {
        const std::string out = captureStderr([&] { korvoLogCommon(c.level, "level %d says %s", c.level, "hi"); });
        EXPECT_EQ(out, std::string(c.prefix) + "level " + std::to_string(c.level) + " says hi\n")
            << "level " << c.level;
    }
}

TEST(KorvoLog, FormatEndingInNewlineLeavesAnEmptyLine)
{
    const std::string out = captureStderr([] { korvoLogCommon(0, "PAGE: %d %d\n", 0, 1); });
    EXPECT_EQ(out, "DEBUG:PAGE: 0 1\n\n");
}

TEST(KorvoLog, EmptyMessageStillWritesPrefixAndNewline)
{
    const std::string out = captureStderr([] { korvoLogCommon(4, "%s", ""); });
    EXPECT_EQ(out, "CRIT:\n");
}

TEST(KorvoLog, ConsecutiveCallsGiveOneLineEachInCallOrder)
{
    const std::string out = captureStderr([] {
        korvoLogCommon(0, "pageWidth: %f,pageHeight: %f", 101.5, 152.25);
        korvoLogCommon(3, "second %ld", 123456789012L);
        korvoLogCommon(2, "100%% done");
    });
    EXPECT_EQ(out,
              "DEBUG:pageWidth: 101.500000,pageHeight: 152.250000\n"
              "ERROR:second 123456789012\n"
              "WARN:100% done\n");
}

TEST(KorvoLog, LongMessageIsWrittenWhole)
{
    const std::string body(5000, 'x');
    const std::string out = captureStderr([&] { korvoLogCommon(1, "%s", body.c_str()); });
    EXPECT_EQ(out, "DEBUG:" + body + "\n");
}
