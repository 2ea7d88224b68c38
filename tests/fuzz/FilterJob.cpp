// SPDX-License-Identifier: Apache-2.0
#include "FilterJob.h"

#include <vector>

namespace {

const char* const kPpdFiles[] = {"korvr27.ppd", "korv315.ppd", "korvk5.ppd", "korvq6.ppd"};
constexpr size_t kStencilPpdFirst = 2;

struct Option {
    std::string name;
    std::vector<std::string> values;
};

std::vector<std::string> steps(int from, int to, int step)
{
    std::vector<std::string> values;
    for (int v = from; v <= to; v += step) {
        values.push_back(std::to_string(v));
    }
    return values;
}

// Every option the PPDs offer, in the order of the selector bytes. Two custom
// page sizes stand for the label PPDs' custom size: a usable one and one
// below the filter's 1 mm minimum.
const std::vector<Option>& options()
{
    static const std::vector<Option> table = {
        {"HalftoneType",
         {"None", "FloydSteinberg", "Ordered", "Burkes", "Stucki", "JarvisJudiceNinke", "Sierra", "StevensonArce",
          "Tattoo", "Tattoo_Q6"}},
        {"Origin", {"Normal", "Rotation180"}},
        {"MirrorImage", {"False", "True"}},
        {"NegativeImage", {"False", "True"}},
        {"AntiWrinkle", steps(0, 5, 1)},
        {"Resolution", {"203dpi", "300dpi"}},
        {"PostAction", {"None", "TearOff", "Cut"}},
        {"Occurrence", {"EveryPage", "AfterJob"}},
        {"PaperType", {"Continuous", "LabelGap", "LabelMark"}},
        {"Darkness", {"Light", "Middle", "Dark"}},
        {"Brightness", steps(-100, 100, 10)},
        {"Contrast", steps(-100, 100, 10)},
        {"PageSize",
         {"A4", "Letter", "Tattoo_A5", "Tattoo_A6", "w144h72", "w288h432", "Label_50x30mm", "Label_100x150mm",
          "Receipt_58mm", "Receipt_80mm", "Custom.60x40mm", "Custom.0.5x0.5mm"}},
        {"MediaMethod", {"Direct", "Transfer"}},
        {"GapsHeight", {"0", "2", "3", "4", "5"}},
    };
    return table;
}

}  // namespace

FilterJob decodeFilterJob(FuzzBytes& bytes, const std::string& ppdDirectory)
{
    FilterJob job;
    const size_t ppd = bytes.choice(std::size(kPpdFiles));
    job.ppdPath = ppdDirectory + "/" + kPpdFiles[ppd];
    job.stencil = ppd >= kStencilPpdFirst;
    for (const Option& option : options()) {
        // One more choice than values: none, the PPD's default.
        const size_t choice = bytes.choice(option.values.size() + 1);
        if (choice == option.values.size()) {
            continue;
        }
        const std::string& value = option.values[choice];
        job.options += (job.options.empty() ? "" : " ") + option.name + "=" + value;
    }
    return job;
}
