// SPDX-License-Identifier: Apache-2.0
#include "CommandPacket.h"

#include <cstdlib>
#include <cstring>

_ASTRAPV2 makePacket(uint8_t command, uint8_t subCommand, const uint8_t* payload, uint16_t length)
{
    _ASTRAPV2 record;
    memset(&record, 0, sizeof(record));
    record.head = kPacketHead;
    record.tail = kPacketTail;
    record.command = command;
    record.subCommand = subCommand;
    record.length = length;
    record.payload = const_cast<uint8_t*>(payload);
    return record;
}

uint8_t* RapToArray(_ASTRAPV2* record, long* size)
{
    const long length = record->length;
    *size = length + kPacketFraming;
    auto* bytes = static_cast<uint8_t*>(malloc(static_cast<size_t>(*size)));
    if (bytes == nullptr) {
        return nullptr;
    }
    uint8_t* p = bytes;
    *p++ = record->head;
    *p++ = record->command;
    *p++ = record->subCommand;
    *p++ = static_cast<uint8_t>(length & 0xFF);
    *p++ = static_cast<uint8_t>(length >> 8);
    if (length > 0) {
        memcpy(p, record->payload, static_cast<size_t>(length));
        p += length;
    }
    for (int shift = 0; shift < 32; shift += 8) {
        *p++ = static_cast<uint8_t>(record->reserved >> shift);
    }
    *p = record->tail;
    return bytes;
}
