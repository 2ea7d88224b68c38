// SPDX-License-Identifier: Apache-2.0
// Whole jobs through the built filter, as the printer receives them: the
// page loop, the job start and end sequences, the media actions and the
// failures that end a job early.
#include <gtest/gtest.h>

#include <algorithm>

#include "Job.h"

using namespace korvotest;

namespace {

// The packet bytes of the start sequence, the feed and the cut, as the
// printer reads them.
TEST(FilterJob, PacketBytesOnTheWire)
{
    const FilterResult result =
        print({.pages = {uniformPage(8, 1, 203, 0)}, .options = "Occurrence=EveryPage PostAction=Cut"});
    std::vector<uint8_t> start(64, 0);
    start.insert(start.end(), {
                                  0x64, 0x0E, 0x40, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,  // PrintControl(0)
                                  0x64, 0x41, 0x00, 0x01, 0x00, 0x08, 0x00, 0x00, 0x00, 0x00, 0x9B,  // density 8
                                  0x64, 0x0E, 0x40, 0x01, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x9B,  // PrintControl(1)
                              });
    ASSERT_GE(result.out.size(), start.size());
    EXPECT_TRUE(std::equal(start.begin(), start.end(), result.out.begin()));
    const std::vector<uint8_t> feedThenCut = {
        0x64, 0x00, 0x00, 0x03, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,  // FeedPaper(3, 0)
        0x64, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x9B,                    // DoPaperCut()
    };
    EXPECT_NE(std::search(result.out.begin(), result.out.end(), feedThenCut.begin(), feedThenCut.end()),
              result.out.end());
}

// The expected control packets of a job, as the media action rules read:
// the go-back feed whenever the last feed was not kind 4 or the paper has
// marks, the per-page action only for EveryPage, the job-end action only
// for AfterJob (and no tear-off feed for label paper at the job end).
std::string expectedMediaActions(const std::string& occurrence, const std::string& action, const std::string& paper,
                                 int pages)
{
    std::string words;
    bool needGoBack = false;
    auto feed = [&](int kind) {
        words += "FEED" + std::to_string(kind) + ",0 ";
        needGoBack = kind != 4;
    };
    const bool labelMark = paper == "LabelMark";
    for (int page = 0; page < pages; ++page) {
        words += "NUL*64 PC0 DENSITY8 PC1 PC0 ";
        if (needGoBack || labelMark) {
            feed(4);
        }
        words += "AREA ROWS ";
        if (occurrence == "EveryPage" && action == "TearOff") {
            feed(labelMark ? 5 : 3);
        } else if (occurrence == "EveryPage" && action == "Cut") {
            feed(3);
            words += "CUT ";
        }
        words += "PC1 ";
    }
    words += "PC0 ";
    if (occurrence == "AfterJob" && action == "TearOff" && !labelMark) {
        feed(3);
    } else if (occurrence == "AfterJob" && action == "Cut") {
        feed(3);
        words += "CUT ";
    }
    return words + "PC1";
}

// Every combination of occurrence, post action and paper type on a
// three-page job; two of the expected sequences are pinned literally so
// that a mistake in the rules above cannot hide one in the filter.
TEST(FilterJob, MediaActionsFollowTheTable)
{
    EXPECT_EQ(
        expectedMediaActions("EveryPage", "TearOff", "Continuous", 2),
        "NUL*64 PC0 DENSITY8 PC1 PC0 AREA ROWS FEED3,0 PC1 NUL*64 PC0 DENSITY8 PC1 PC0 FEED4,0 AREA ROWS FEED3,0 PC1 "
        "PC0 PC1");
    EXPECT_EQ(expectedMediaActions("AfterJob", "TearOff", "LabelMark", 1),
              "NUL*64 PC0 DENSITY8 PC1 PC0 FEED4,0 AREA ROWS PC1 PC0 PC1");
    const RasterPage page = uniformPage(40, 3, 203, 0);
    for (const char* occurrence : {"EveryPage", "AfterJob"}) {
        for (const char* action : {"TearOff", "Cut", "None"}) {
            for (const char* paper : {"LabelMark", "Continuous", "LabelGap"}) {
                const std::string options =
                    std::string("Occurrence=") + occurrence + " PostAction=" + action + " PaperType=" + paper;
                const FilterResult result = print({.pages = {page, page, page}, .options = options});
                EXPECT_EQ(result.words(), expectedMediaActions(occurrence, action, paper, 3)) << options;
            }
        }
    }
}

}  // namespace
