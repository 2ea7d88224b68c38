#include "TestSeams.h"

void applyTestSeams(OndrelPrinter&) {}
