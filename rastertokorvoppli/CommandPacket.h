// SPDX-License-Identifier: Apache-2.0
// The printer's one packet format: head 0x64, command, sub-command, a
// little-endian 16-bit payload length, the payload, a reserved 32-bit zero
// word and the tail 0x9B. No checksum.
#pragma once

#include <cstdint>

#pragma pack(push, 1)
struct _ASTRAPV2 {
    uint8_t head;
    uint8_t command;
    uint8_t subCommand;
    uint16_t length;
    uint8_t* payload;
    uint32_t reserved;
    uint8_t tail;
};
#pragma pack(pop)

constexpr uint8_t kPacketHead = 0x64;
constexpr uint8_t kPacketTail = 0x9B;
constexpr long kPacketFraming = 10;  // bytes around the payload

// Command codes.
constexpr uint8_t kCmdFeedPaper = 0x00;
constexpr uint8_t kCmdPaperCut = 0x02;
constexpr uint8_t kCmdImageRows = 0x03;
constexpr uint8_t kCmdPrintControl = 0x0E;
constexpr uint8_t kSubPrintControl = 0x40;
constexpr uint8_t kCmdStatusQuery = 0x10;
constexpr uint8_t kSubStatusQuery = 0x40;
constexpr uint8_t kCmdPrintSetting = 0x41;
constexpr uint8_t kCmdPrintArea = 0x43;

// A record for the given command, cleared, with head and tail set.
_ASTRAPV2 makePacket(uint8_t command, uint8_t subCommand, const uint8_t* payload, uint16_t length);

// The wire bytes of a record in a new malloc'ed array (the caller frees
// it); *size receives length + 10. Null when the allocation fails.
uint8_t* RapToArray(_ASTRAPV2* record, long* size);
