// SPDX-License-Identifier: Apache-2.0
// rastertokorvoppli: the CUPS filter from 8-bit gray raster to the printer's
// command packets (see Filter.h).
#include "Filter.h"

int main(int argc, char* argv[])
{
    return runFilter(argc, argv, FilterEnvironment{});
}
