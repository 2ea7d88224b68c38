// SPDX-License-Identifier: Apache-2.0
// Built into every program of a KORVO_SANITIZE build: the sanitizers' defaults
// (ASAN_OPTIONS and UBSAN_OPTIONS still override them).
//
// A sanitizer report ends the program with status 23, not the sanitizers'
// default 1: the filter itself exits with 0 or 1, and the tests that expect a
// refused job (status 1) must see a memory error or undefined behaviour as a
// different status. 23 is no signal status (128 + n) and no shell status
// (126, 127), and libFuzzer's own statuses (70, 71, 77) stay distinct.

extern "C" {

__attribute__((used, visibility("default"))) const char* __asan_default_options()
{
    // handle_abort: a failed check that aborts shows its stack like any report.
    return "exitcode=23:detect_leaks=1:check_initialization_order=1:strict_init_order=1:handle_abort=1";
}

__attribute__((used, visibility("default"))) const char* __ubsan_default_options()
{
    return "exitcode=23:halt_on_error=1:print_stacktrace=1";
}

// Quiet about the suppressions below: programs whose output a test reads
// must print nothing else.
__attribute__((used, visibility("default"))) const char* __lsan_default_options()
{
    return "print_suppressions=0";
}

// Memory that PAPPL's sub-commands (add, submit, ...) leave allocated when
// they exit: option lists made with cupsAddOption that its main loop never
// frees. The leak is theirs and ends with the process.
__attribute__((used, visibility("default"))) const char* __lsan_default_suppressions()
{
    return "leak:cupsAddOption\nleak:libpappl.so\n";
}

}  // extern "C"
