// The per-page and job-end media actions and the go-back feed, checked on
// multi-page jobs against the table of actions read literally.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "FilterProcess.h"
#include "RasterFile.h"
#include "StreamWords.h"

using namespace korvotest;

namespace {

struct MediaCase {
    std::string occurrence;
    std::string postAction;
    std::string paperType;
};

// The expected control packets of a job, step by step as the rules read:
// the go-back feed whenever the last feed was not kind 4 or the paper has
// marks, the per-page action only for EveryPage, the job-end action only
// for AfterJob (and no tear-off feed for label paper at the job end).
std::vector<std::string> expectedJob(const MediaCase& c, int pages)
{
    std::vector<std::string> words;
    bool needGoBack = false;
    auto feed = [&](int kind) {
        words.push_back("FEED" + std::to_string(kind) + ",0");
        needGoBack = kind != 4;
    };
    const bool labelMark = c.paperType == "LabelMark";
    for (int page = 0; page < pages; ++page) {
        for (const char* word : {"NUL*64", "PC0", "DENSITY8", "PC1", "PC0"}) {
            words.push_back(word);
        }
        if (needGoBack || labelMark) {
            feed(4);
        }
        if (c.occurrence == "EveryPage" && c.postAction == "TearOff") {
            feed(labelMark ? 5 : 3);
        } else if (c.occurrence == "EveryPage" && c.postAction == "Cut") {
            feed(3);
            words.push_back("CUT");
        }
        words.push_back("PC1");
    }
    words.push_back("PC0");
    if (c.occurrence == "AfterJob" && c.postAction == "TearOff" && !labelMark) {
        feed(3);
    } else if (c.occurrence == "AfterJob" && c.postAction == "Cut") {
        feed(3);
        words.push_back("CUT");
    }
    words.push_back("PC1");
    return words;
}

class MediaActions : public ::testing::TestWithParam<std::tuple<std::string, std::string, std::string>> {};

TEST_P(MediaActions, ThreePageJobFollowsTheActionTable)
{
    const MediaCase c{std::get<0>(GetParam()), std::get<1>(GetParam()), std::get<2>(GetParam())};
    TempDir dir;
    writeRaster(dir.file("job.ras"),
                {uniformPage(40, 3, 203, 0), uniformPage(40, 3, 203, 0), uniformPage(40, 3, 203, 0)});
    FilterRun run;
    run.ppd = ppdWithModel(dir, "korvr27.ppd", "TEST");
    run.rasterFile = dir.file("job.ras");
    run.options = "Occurrence=" + c.occurrence + " PostAction=" + c.postAction + " PaperType=" + c.paperType;
    const FilterResult result = runFilter(run);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_EQ(joinWords(controlWords(result.out)), joinWords(expectedJob(c, 3)));
}

INSTANTIATE_TEST_SUITE_P(AllCombinations, MediaActions,
                         ::testing::Combine(::testing::Values("EveryPage", "AfterJob"),
                                            ::testing::Values("TearOff", "Cut", "None"),
                                            ::testing::Values("LabelMark", "Continuous", "LabelGap")));

// The helper above encodes the rules; pin two of its sequences literally so
// that a mistake in it cannot hide one in the filter.
TEST(MediaActionTable, TearOffOnContinuousPaperGoesBackOnTheSecondPage)
{
    EXPECT_EQ(joinWords(expectedJob({"EveryPage", "TearOff", "Continuous"}, 2)),
              "NUL*64 PC0 DENSITY8 PC1 PC0 FEED3,0 PC1 "
              "NUL*64 PC0 DENSITY8 PC1 PC0 FEED4,0 FEED3,0 PC1 PC0 PC1");
    EXPECT_EQ(joinWords(expectedJob({"AfterJob", "TearOff", "LabelMark"}, 1)),
              "NUL*64 PC0 DENSITY8 PC1 PC0 FEED4,0 PC1 PC0 PC1");
}

}  // namespace
