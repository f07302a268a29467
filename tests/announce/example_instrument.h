// The example instrument of the announcement tests and its datagram, written out byte by
// byte independently of the builder.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "announce/dds_instrument_info.h"

inline DdsInstrumentInfo ExampleInstrument() {
    DdsInstrumentInfo info;
    std::memset(&info, 0, sizeof info);
    std::strcpy(info.model, "Zento");
    std::strcpy(info.name, "Simulator");
    std::strcpy(info.version1, "2.1");
    std::strcpy(info.version2, "1.0");
    info.intervalMs = 2000;
    return info;
}

// Type 0x1391 announces, 0x1392 withdraws.
inline std::vector<unsigned char> ExampleDatagram(std::uint16_t messageType,
                                                  std::uint16_t sequence) {
    // clang-format off
    return {
        0x33, 0x00, 0x00, 0x00,                                    // length 51
        static_cast<unsigned char>(messageType & 0xFF),
        static_cast<unsigned char>(messageType >> 8),
        static_cast<unsigned char>(sequence & 0xFF),
        static_cast<unsigned char>(sequence >> 8),
        0x00, 0x00,                                                // zero word
        0x01, 0x00,                                                // one word
        0x25, 0x00,                                                // 37 text bytes
        'Z', 'e', 'n', 't', 'o', 0,
        'S', 'i', 'm', 'u', 'l', 'a', 't', 'o', 'r', 0,
        '2', '.', '1', 0,
        '1', '.', '0', 0,
        '0', 0,                                                    // state
        '2', '0', '0', '0', 0,                                     // intervalMs
        '0', 0,                                                    // reserved1
        0,                                                         // reservedText
        '0', 0,                                                    // reserved2
        0,                                                         // closing zero
    };
    // clang-format on
}

inline std::uint16_t SequenceOf(const unsigned char* datagram) {
    return static_cast<std::uint16_t>(datagram[6] | (datagram[7] << 8));
}
