#include "printer/KorvoPrinter.h"

void KorvoPrinter::printImage(const unsigned char*, size_t, size_t, size_t) {}
