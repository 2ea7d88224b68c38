// SPDX-License-Identifier: Apache-2.0
#include "common/KorvoPpd.h"

#include <cstdlib>
#include <strings.h>

ppd_choice_t* korvoPpdGetChoice(ppd_file_t* ppd, const char* keyword)
{
    if (ppd == nullptr) {
        return nullptr;
    }
    if (ppd_choice_t* marked = ppdFindMarkedChoice(ppd, keyword)) {
        return marked;
    }
    ppd_option_t* option = ppdFindOption(ppd, keyword);
    if (option == nullptr) {
        return nullptr;
    }
    return ppdFindChoice(option, option->defchoice);
}

const char* korvoPpdGetChoiceAsStrDefault(ppd_file_t* ppd, const char* keyword, const char* def)
{
    const ppd_choice_t* choice = korvoPpdGetChoice(ppd, keyword);
    return choice != nullptr ? choice->choice : def;
}

int korvoPpdGetChoiceAsIntDefault(ppd_file_t* ppd, const char* keyword, int def)
{
    const ppd_choice_t* choice = korvoPpdGetChoice(ppd, keyword);
    return choice != nullptr ? atoi(choice->choice) : def;
}

signed char korvoPpdGetChoiceAsBoolDefault(ppd_file_t* ppd, const char* keyword, signed char def)
{
    const ppd_choice_t* choice = korvoPpdGetChoice(ppd, keyword);
    if (choice == nullptr) {
        return def;
    }
    const char* text = choice->choice;
    if (strcasecmp(text, "true") == 0 || strcasecmp(text, "yes") == 0) {
        return 1;
    }
    if (strcasecmp(text, "false") == 0 || strcasecmp(text, "no") == 0) {
        return 0;
    }
    return static_cast<signed char>(atoi(text) & 0xFF);
}

namespace {
const char* attrValue(ppd_file_t* ppd, const char* name, const char* spec)
{
    if (ppd == nullptr) {
        return nullptr;
    }
    const ppd_attr_t* attr = ppdFindAttr(ppd, name, spec);
    return attr != nullptr ? attr->value : nullptr;
}
}  // namespace

const char* korvoPpdGetAttrAsStrDefault(ppd_file_t* ppd, const char* name, const char* spec, const char* def)
{
    const char* value = attrValue(ppd, name, spec);
    return value != nullptr ? value : def;
}

double korvoPpdGetAttrAsFloatDefault(ppd_file_t* ppd, const char* name, const char* spec, double def)
{
    const char* value = attrValue(ppd, name, spec);
    return value != nullptr ? atof(value) : def;
}
