// Test build of the filter: the environment may shorten the status polling
// (KORVO_TEST_POLL_LIMIT, KORVO_TEST_POLL_INTERVAL_MS) and move the page
// captures (KORVO_TEST_CAPTURE_DIR). The shipped filter has none of this.
#include <cstdlib>

#include "OndrelPrinter.h"
#include "TestSeams.h"

void applyTestSeams(OndrelPrinter& printer)
{
    StatusPolling polling;
    if (const char* limit = getenv("KORVO_TEST_POLL_LIMIT")) {
        polling.pollLimit = atoi(limit);
    }
    if (const char* interval = getenv("KORVO_TEST_POLL_INTERVAL_MS")) {
        polling.intervalMilliseconds = static_cast<unsigned>(atoi(interval));
    }
    printer.setStatusPolling(polling);
    if (const char* directory = getenv("KORVO_TEST_CAPTURE_DIR")) {
        printer.setCaptureDirectory(directory);
    }
}
