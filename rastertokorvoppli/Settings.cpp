// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include <cups/cups.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/KorvoLog.h"
#include "common/KorvoPpd.h"
#include "common/KorvoString.h"

namespace {

template <size_t N>
void readText(ppd_file_t* ppd, const char* keyword, char (&field)[N])
{
    korvoStrCpy(field, korvoPpdGetChoiceAsStrDefault(ppd, keyword, ""), N);
}

int32_t readBool(ppd_file_t* ppd, const char* keyword)
{
    return korvoPpdGetChoiceAsBoolDefault(ppd, keyword, 0);
}

int32_t darknessLevel(const char* word)
{
    if (strcmp(word, "Light") == 0) {
        return 1;
    }
    if (strcmp(word, "Middle") == 0) {
        return 8;
    }
    if (strcmp(word, "Dark") == 0) {
        return 15;
    }
    return 0;
}

void markJobOptions(ppd_file_t* ppd, const char* options)
{
    cups_option_t* list = nullptr;
    const int count = cupsParseOptions(options, 0, &list);
    if (count != 0 && list != nullptr) {
        cupsMarkOptions(ppd, count, list);
        cupsFreeOptions(count, list);
    }
}

void logSettings(const Settings* s)
{
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->Resolution:%s", s->Resolution);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->MediaMethod:%s", s->MediaMethod);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->PaperType:%s", s->PaperType);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->GapsHeight:%d", s->GapsHeight);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->PostAction:%s", s->PostAction);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->Occurrence:%s", s->Occurrence);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->Origin:%s", s->Origin);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->MirrorImage:%d", s->MirrorImage);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->NegativeImage:%d", s->NegativeImage);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->PrintSpeed:%s", s->PrintSpeed);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->Darkness:%d", s->Darkness);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->halftoneType:%d", s->halftoneType);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->PageSize:%s", s->PageSize);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->pageWidth:%f", s->pageWidth);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->pageHeight:%f", s->pageHeight);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->AntiWrinkle:%d", s->AntiWrinkle);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->IsTattooPrinter:%d", s->IsTattooPrinter);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->ModelName:%s", s->ModelName);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->Brightness:%d", s->Brightness);
    korvoLogCommon(KORVO_LOG_DEBUG, "settings->Contrast:%d", s->Contrast);
}

// The printer's PPD; null, with a warning that the defaults are used, when
// it cannot be had.
ppd_file_t* openPpd(const char* path)
{
    if (path == nullptr) {
        fprintf(stderr, "WARNING: No PPD file was given (PPD is not set); the job settings are the defaults.\n");
        return nullptr;
    }
    ppd_file_t* ppd = ppdOpenFile(path);
    if (ppd == nullptr) {
        int line = 0;
        const ppd_status_t status = ppdLastError(&line);
        fprintf(stderr,
                "WARNING: Unable to open the PPD file \"%s\": %s (line %d); the job settings are the defaults.\n", path,
                ppdErrorString(status), line);
    }
    return ppd;
}

}  // namespace

void parseSettings(Settings* settings, const char* options)
{
    ppd_file_t* ppd = openPpd(getenv("PPD"));
    ppdMarkDefaults(ppd);
    markJobOptions(ppd, options);

    memset(settings, 0, sizeof(*settings));
    readText(ppd, "PageSize", settings->PageSize);
    readText(ppd, "DefaultResolution", settings->Resolution);
    readText(ppd, "MediaMethod", settings->MediaMethod);
    readText(ppd, "PaperType", settings->PaperType);
    settings->GapsHeight = korvoPpdGetChoiceAsIntDefault(ppd, "GapsHeight", 0);
    readText(ppd, "PostAction", settings->PostAction);
    readText(ppd, "Occurrence", settings->Occurrence);
    readText(ppd, "Origin", settings->Origin);
    settings->halftoneType = korvoHalftoneTypeFromStr(korvoPpdGetChoiceAsStrDefault(ppd, "HalftoneType", ""));
    settings->MirrorImage = readBool(ppd, "MirrorImage");
    settings->NegativeImage = readBool(ppd, "NegativeImage");
    settings->Rotate180 = strcmp(settings->Origin, "Rotation180") == 0 ? 1 : 0;
    settings->AntiWrinkle = korvoPpdGetChoiceAsIntDefault(ppd, "AntiWrinkle", -1);
    settings->IsTattooPrinter = settings->AntiWrinkle != -1 ? 1 : 0;
    korvoStrCpy(settings->ModelName, korvoPpdGetAttrAsStrDefault(ppd, "ModelName", "", ""), sizeof(settings->ModelName));
    readText(ppd, "DefaultPrintSpeed", settings->PrintSpeed);
    settings->Darkness = darknessLevel(korvoPpdGetChoiceAsStrDefault(ppd, "Darkness", ""));
    settings->Brightness = korvoPpdGetChoiceAsIntDefault(ppd, "Brightness", 0);
    settings->Contrast = korvoPpdGetChoiceAsIntDefault(ppd, "Contrast", 0);

    getPageWidthPageHeight(ppd, settings);
    logSettings(settings);
    ppdClose(ppd);
}

void getPageWidthPageHeight(ppd_file_t* ppd, Settings* settings)
{
    const char* name = korvoPpdGetChoiceAsStrDefault(ppd, "PageSize", "");
    settings->pageWidth = 0;
    settings->pageHeight = 0;
    korvoLogCommon(KORVO_LOG_DEBUG, "PageSizeName: %s", name);

    const ppd_size_t* size = ppd != nullptr ? ppdPageSize(ppd, name) : nullptr;
    if (size == nullptr) {
        return;
    }
    korvoLogCommon(KORVO_LOG_DEBUG, "Custom Size: (%f,%f,%f,%f,%f,%f)", size->width, size->length, size->left,
                   size->bottom, size->right, size->top);
    settings->pageWidth = static_cast<float>(size->width * 0.3528);
    settings->pageHeight = static_cast<float>(size->length * 0.3528);
    korvoLogCommon(KORVO_LOG_DEBUG, "Set page size: width %f mm, height %f mm", settings->pageWidth,
                   settings->pageHeight);
}
