// Adjusts a freshly built printer before the job starts. The shipped program
// changes nothing; the test build of the filter links a version that lets
// tests shorten the status polling and move the page captures.
#pragma once

class OndrelPrinter;

void applyTestSeams(OndrelPrinter& printer);
