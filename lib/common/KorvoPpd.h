// SPDX-License-Identifier: Apache-2.0
// Lookups of one option choice or attribute in an opened PPD, with a
// caller's default. All accept a null PPD; returned texts live in the PPD.
#pragma once

#include <cups/ppd.h>

// The marked choice of the option, else the option's default choice, else null.
ppd_choice_t* korvoPpdGetChoice(ppd_file_t* ppd, const char* keyword);
const char* korvoPpdGetChoiceAsStrDefault(ppd_file_t* ppd, const char* keyword, const char* def);
// atoi of the choice text (a non-numeric choice gives 0, not def).
int korvoPpdGetChoiceAsIntDefault(ppd_file_t* ppd, const char* keyword, int def);
// "true"/"yes" give 1, "false"/"no" give 0 (any case); other texts the low
// eight bits of atoi as a signed char.
signed char korvoPpdGetChoiceAsBoolDefault(ppd_file_t* ppd, const char* keyword, signed char def);
const char* korvoPpdGetAttrAsStrDefault(ppd_file_t* ppd, const char* name, const char* spec, const char* def);
double korvoPpdGetAttrAsFloatDefault(ppd_file_t* ppd, const char* name, const char* spec, double def);
