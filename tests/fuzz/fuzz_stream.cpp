// SPDX-License-Identifier: Apache-2.0
// fuzz_stream: the printer stream decoder on any bytes, as korvo-decode uses
// it, each page drawn as a PNG to /dev/null. Aborts unless the items account
// for the bytes they cover and a page's dots are the set bits of its rows.
#include <bit>
#include <cstdlib>
#include <numeric>

#include "korvostream/KorvoStream.h"
#include "korvostream/Resolution.h"
#include "korvostream/Sheet.h"
#include "korvostream/SheetPng.h"

using namespace korvostream;

// Items lie end to end from offset 0 and cover the whole stream, or up to a
// framing error past the last one.
static void checkCoverage(const Stream& stream, size_t size)
{
    size_t end = 0;
    for (const Item& item : stream.items) {
        if (item.offset != end) {
            abort();
        }
        end += item.isNulRun ? item.nulCount : 10 + item.payload.size();  // 10: a packet's framing
    }
    const bool complete = stream.errors.empty() ? end == size : stream.errors.front().offset >= end;
    if (!complete || end > size) {
        abort();
    }
}

static void checkDots(const Page& page)
{
    if (page.rows * page.rowBytes > page.packed.size()) {
        abort();
    }
    size_t dots = 0;
    for (size_t y = 0; y < page.rows; ++y) {
        for (size_t x = 0; x < page.rowBytes * 8; ++x) {
            dots += page.dot(x, y) ? 1 : 0;  // every dot, one by one
        }
    }
    const size_t bits = std::accumulate(page.packed.begin(), page.packed.begin() + page.rows * page.rowBytes, size_t{0},
                                        [](size_t count, uint8_t byte) { return count + std::popcount(byte); });
    if (dots != bits) {
        abort();
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const Stream stream = parseStream(data, size);
    checkCoverage(stream, size);
    size_t rowBytes = 0;
    ResolutionGuess guess;
    for (const Item& item : stream.items) {
        if (item.is(Command::PrintArea) && item.payload.size() == 4) {
            rowBytes = (item.payload[2] | (item.payload[3] << 8)) / 8;
        }
        commandName(item.command);
        describePayload(item, rowBytes);
        guess.see(item);
    }
    summarise(stream);
    for (const Page& page : collectPages(stream)) {
        checkDots(page);
    }
    for (const PageItems& items : splitPages(stream.items)) {
        writeSheetPng(layOutSheet(items, guess.resolution()), "/dev/null");
    }
    return 0;
}
