// SPDX-License-Identifier: Apache-2.0
// The sanitizers' defaults in every program of a KORVO_SANITIZE build (the
// environment still overrides them). A report exits with 23, which no test
// can mistake for a refused job (1), a signal, a shell error or libFuzzer's own.
#define KORVO_SANITIZER_DEFAULT(function, value)                                                                       \
    extern "C" __attribute__((used, visibility("default"))) const char* function()                                     \
    {                                                                                                                  \
        return value;                                                                                                  \
    }

// handle_abort: a failed check that aborts shows its stack like any report.
KORVO_SANITIZER_DEFAULT(__asan_default_options,
                        "exitcode=23:detect_leaks=1:check_initialization_order=1:strict_init_order=1:handle_abort=1")
KORVO_SANITIZER_DEFAULT(__ubsan_default_options, "exitcode=23:halt_on_error=1:print_stacktrace=1")
// Quiet about suppressions: some tests read a program's whole output.
KORVO_SANITIZER_DEFAULT(__lsan_default_options, "print_suppressions=0")
// PAPPL's sub-commands exit with the option lists of cupsAddOption unfreed.
KORVO_SANITIZER_DEFAULT(__lsan_default_suppressions, "leak:cupsAddOption\nleak:libpappl.so\n")
