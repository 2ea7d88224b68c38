// SPDX-License-Identifier: Apache-2.0
// fuzz_stream: the printer stream decoder on arbitrary bytes, as korvo-decode
// uses it: parse, describe every packet, summarise, guess the resolution,
// collect the pages, read every dot and draw each page as laid out on the
// paper, as a PNG (to /dev/null). Besides the
// sanitizers, it checks that the items account for the bytes they cover and that the
// dots of a page are the set bits of its rows.
#include <cstdlib>

#include "korvostream/KorvoStream.h"
#include "korvostream/Resolution.h"
#include "korvostream/Sheet.h"
#include "korvostream/SheetPng.h"

namespace {

using korvostream::Command;
using korvostream::Item;

constexpr size_t kFraming = 10;

// Items lie end to end from offset 0; with no framing error they cover the
// whole stream, otherwise the error lies past the last item.
void checkCoverage(const korvostream::Stream& stream, size_t size)
{
    size_t end = 0;
    for (const Item& item : stream.items) {
        if (item.offset != end) {
            abort();
        }
        end += item.isNulRun ? item.nulCount : kFraming + item.payload.size();
    }
    const bool complete = stream.errors.empty() ? end == size : stream.errors.front().offset >= end;
    if (!complete || end > size) {
        abort();
    }
}

void describeItems(const korvostream::Stream& stream)
{
    size_t rowBytes = 0;
    for (const Item& item : stream.items) {
        if (item.is(Command::PrintArea) && item.payload.size() == 4) {
            rowBytes = (item.payload[2] | (item.payload[3] << 8)) / 8;
        }
        korvostream::commandName(item.command);
        korvostream::describePayload(item, rowBytes);
    }
}

void drawPages(const korvostream::Stream& stream)
{
    for (const korvostream::Page& page : korvostream::collectPages(stream)) {
        if (page.rows * page.rowBytes > page.packed.size()) {
            abort();
        }
        // Every dot read one by one: as many as the set bits of the rows.
        size_t dots = 0;
        size_t bits = 0;
        for (size_t y = 0; y < page.rows; ++y) {
            for (size_t x = 0; x < page.rowBytes * 8; ++x) {
                dots += page.dot(x, y) ? 1 : 0;
            }
        }
        for (size_t i = 0; i < page.rows * page.rowBytes; ++i) {
            bits += static_cast<size_t>(__builtin_popcount(page.packed[i]));
        }
        if (dots != bits) {
            abort();
        }
    }
    korvostream::ResolutionGuess guess;
    for (const Item& item : stream.items) {
        guess.see(item);
    }
    for (const korvostream::PageItems& items : korvostream::splitPages(stream.items)) {
        korvostream::writeSheetPng(korvostream::layOutSheet(items, guess.resolution()), "/dev/null");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const korvostream::Stream stream = korvostream::parseStream(data, size);
    checkCoverage(stream, size);
    describeItems(stream);
    korvostream::summarise(stream);
    drawPages(stream);
    return 0;
}
