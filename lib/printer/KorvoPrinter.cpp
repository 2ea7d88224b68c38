// SPDX-License-Identifier: Apache-2.0
#include "printer/KorvoPrinter.h"

#include <cstdarg>
#include <cstdlib>

#include "common/KorvoString.h"

namespace {
int clampTo(int value, int low, int high)
{
    return value < low ? low : (value > high ? high : value);
}
}  // namespace

KorvoPrinter::KorvoPrinter()
{
    korvoStrCpy(capturePathTemplate_, "prnimg_%d-%d-%d_%d_%d_%d_%ld.bmp", sizeof(capturePathTemplate_));
    outputStreams_.push_back(stdout);
}

KorvoPrinter::~KorvoPrinter() = default;

KorvoPrinter* KorvoPrinter::SetPrintWidth(long width)
{
    printWidth_ = width;
    return this;
}

void KorvoPrinter::setBrightness(int brightness)
{
    brightness_ = clampTo(brightness, -100, 100);
}

void KorvoPrinter::setContrast(int contrast)
{
    contrast_ = clampTo(contrast, -100, 100);
}

void KorvoPrinter::setPrintSpeed(const char* speed)
{
    printSpeed_ = clampTo(speed != nullptr ? atoi(speed) : 0, 1, 15);
}

void KorvoPrinter::setPrintDensity(int density)
{
    printDensity_ = clampTo(density, 0, 15);
}

void KorvoPrinter::printBytes(const unsigned char* buf, size_t size)
{
    for (FILE* stream : outputStreams_) {
        fwrite(buf, size, 1, stream);
    }
}

void KorvoPrinter::printStr(const char* s)
{
    for (FILE* stream : outputStreams_) {
        fprintf(stream, "%s", s);
    }
}

void KorvoPrinter::printByte(unsigned char c)
{
    for (FILE* stream : outputStreams_) {
        fputc(c, stream);
    }
}

int KorvoPrinter::printFormat(const char* format, ...)
{
    int written = 0;
    va_list args;
    va_start(args, format);
    for (FILE* stream : outputStreams_) {
        va_list copy;
        va_copy(copy, args);
        written = vfprintf(stream, format, copy);
        va_end(copy);
    }
    va_end(args);
    return written;
}
