// SPDX-License-Identifier: Apache-2.0
#include "Job.h"

#include <cstdio>
#include <cstring>

namespace {
bool equals(const char* field, const char* word)
{
    return strcmp(field, word) == 0;
}

bool isLabelMarkPaper(const Settings* settings)
{
    return equals(settings->PaperType, "LabelMark");
}
}  // namespace

void jobSetup(OndrelPrinter* printer, Settings*)
{
    fprintf(stderr, "DEBUG: Enter jobSetup\n");
    printer->PrintControl(0);
    printer->SendPrintSetting();
    printer->PrintControl(1);
    fprintf(stderr, "DEBUG: Exit jobSetup\n");
}

void pageEndMediaAction(OndrelPrinter* printer, const Settings* settings)
{
    if (!equals(settings->Occurrence, "EveryPage")) {
        return;
    }
    if (equals(settings->PostAction, "TearOff")) {
        printer->FeedPaper(isLabelMarkPaper(settings) ? 5 : 3, 0);
    } else if (equals(settings->PostAction, "Cut")) {
        printer->DoFeedCutPaper();
    }
}

void jobEnd(OndrelPrinter* printer, Settings* settings)
{
    fprintf(stderr, "DEBUG: Enter jobEnd\n");
    printer->PrintControl(0);
    if (equals(settings->Occurrence, "AfterJob")) {
        // Label paper is not fed at the end of the job, unlike after a page.
        if (equals(settings->PostAction, "TearOff")) {
            if (!isLabelMarkPaper(settings)) {
                printer->FeedPaper(3, 0);
            }
        } else if (equals(settings->PostAction, "Cut")) {
            printer->DoFeedCutPaper();
        }
    }
    printer->PrintControl(1);
    fprintf(stderr, "DEBUG: Exit jobEnd\n");
}
