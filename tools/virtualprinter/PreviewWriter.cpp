// SPDX-License-Identifier: Apache-2.0
#include "virtualprinter/PreviewWriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "korvostream/Sheet.h"
#include "korvostream/SheetPng.h"

namespace virtualprinter {

namespace {

struct FileCloser {
    void operator()(FILE* file) const { fclose(file); }
};

}  // namespace

PreviewWriter::PreviewWriter(const JobDirectory& directory) : directory_(directory)
{
}

void PreviewWriter::add(korvostream::PageItems page)
{
    pending_.push_back(std::move(page));
}

void PreviewWriter::writeNext(const korvostream::Resolution& resolution)
{
    const korvostream::Sheet sheet = korvostream::layOutSheet(pending_.front(), resolution);
    pending_.pop_front();
    if (korvostream::tooLargeToDraw(sheet)) {
        ++written_;
        fprintf(stderr, "WARNING: Page %zu is %zu x %zu dots, too large to draw; it has no preview.\n", written_,
                sheet.width, sheet.height);
        return;
    }
    const std::string name = "page-" + std::to_string(written_ + 1) + ".png";
    UniqueFd fd = directory_.create(name);
    std::unique_ptr<FILE, FileCloser> file(fdopen(fd.get(), "wb"));
    if (!file) {
        throw std::runtime_error("cannot write " + directory_.pathOf(name) + ": " + strerror(errno));
    }
    fd.release();  // the stream owns it now
    if (!korvostream::writeSheetPng(sheet, file.get()) || fclose(file.release()) != 0) {
        throw std::runtime_error("cannot write " + directory_.pathOf(name));
    }
    ++written_;
    fprintf(stderr, "INFO: Printed page %zu to %s\n", written_, directory_.pathOf(name).c_str());
}

}  // namespace virtualprinter
