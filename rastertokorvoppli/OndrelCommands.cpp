// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>

#include "OndrelPrinter.h"

int32_t bNeedGoBack = 0;

void OndrelPrinter::sendPacket(uint8_t command, uint8_t subCommand, const uint8_t* payload, uint16_t length)
{
    _ASTRAPV2 record = makePacket(command, subCommand, payload, length);
    long size = 0;
    uint8_t* bytes = RapToArray(&record, &size);
    if (bytes == nullptr) {
        return;
    }
    printBytes(bytes, static_cast<size_t>(size));
    free(bytes);
}

void OndrelPrinter::PrintControl(unsigned char mode)
{
    sendPacket(kCmdPrintControl, kSubPrintControl, &mode, 1);
}

void OndrelPrinter::SendPrintSetting()
{
    const uint8_t density = static_cast<uint8_t>(getPrintDensity());
    sendPacket(kCmdPrintSetting, 0, &density, 1);
}

void OndrelPrinter::FeedPaper(int mode, int lines)
{
    const uint8_t payload[3] = {static_cast<uint8_t>(mode), static_cast<uint8_t>(lines & 0xFF),
                                static_cast<uint8_t>((lines >> 8) & 0xFF)};
    sendPacket(kCmdFeedPaper, 0, payload, sizeof(payload));
    bNeedGoBack = mode != 4 ? 1 : 0;
}

void OndrelPrinter::DoPaperCut()
{
    sendPacket(kCmdPaperCut, 0, nullptr, 0);
}

void OndrelPrinter::DoFeedCutPaper()
{
    FeedPaper(3, 0);
    DoPaperCut();
}
