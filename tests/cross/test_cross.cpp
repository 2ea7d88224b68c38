// SPDX-License-Identifier: Apache-2.0
// The filter built for another architecture prints what the host's prints:
// every halftone type, both stencil types on a photo-like page, the
// transforms and the frames, byte for byte.
#include <gtest/gtest.h>

#include "FilterProcess.h"

using namespace korvotest;

TEST(CrossArchitecture, SameStreamAsTheHostBuild)
{
    const std::vector<RasterPage> labels = {grayPage(500, 300, 300, photoShade(1)),
                                            grayPage(333, 101, 203, randomShade(2))};
    const std::vector<RasterPage> stencils = {grayPage(640, 480, 300, photoShade(3), "Tattoo_A6"),
                                              grayPage(1240, 1748, 300, photoShade(4), "Tattoo_A6")};
    std::vector<Job> jobs;
    for (const std::string halftone :
         {"None", "FloydSteinberg", "Ordered", "Burkes", "Stucki", "JarvisJudiceNinke", "Sierra", "StevensonArce"}) {
        jobs.push_back({.pages = labels, .options = "HalftoneType=" + halftone + " Brightness=20 Contrast=-10"});
    }
    for (const std::string halftone : {"Tattoo", "Tattoo_Q6"}) {
        for (const char* settings :
             {"AntiWrinkle=1", "Origin=Rotation180 MirrorImage=True NegativeImage=True AntiWrinkle=3"}) {
            jobs.push_back(
                {.ppd = "korvk5.ppd", .pages = stencils, .options = "HalftoneType=" + halftone + " " + settings});
        }
    }
    for (Job& job : jobs) {
        const FilterResult here = print(job);
        job.run.program = KORVO_HOST_FILTER;
        const FilterResult host = print(job);
        EXPECT_EQ(here.exitStatus, 0) << job.options;
        EXPECT_FALSE(here.pages().empty()) << job.options;
        EXPECT_TRUE(here.out == host.out) << job.options;
    }
}
