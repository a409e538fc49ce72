// The blocks of a pcapng file (the PCAP Next Generation capture format), in
// this machine's byte order, as a trace writes them one after another:
//
//   sectionHeader          opens the file: byte-order magic, version 1.0
//   interfaceDescription   one line: its link type and name
//   enhancedPacket         one frame of an interface, time-stamped in microseconds
//
//   rtacSerialHeader       the 12-byte header of a frame of link type 250
//                          (RTAC Serial): arrival time, event, control lines
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tvl::pcapng {

constexpr std::uint16_t kLinkRtacSerial = 250;

std::string sectionHeader(std::string_view application);
std::string interfaceDescription(std::uint16_t linkType, std::string_view name);
std::string enhancedPacket(std::uint32_t interface, std::int64_t microseconds,
                           std::string_view data);

// Event types of an RTAC Serial frame.
enum RtacEvent : std::uint8_t { rtacStatusChange = 0x00, rtacTxStart = 0x01, rtacRxStart = 0x02 };

// Control line bits of an RTAC Serial frame.
enum RtacLine : std::uint8_t {
    rtacCTS = 0x01,
    rtacDCD = 0x02,
    rtacDSR = 0x04,
    rtacRTS = 0x08,
    rtacDTR = 0x10,
    rtacRI = 0x20,
};

// Seconds and microseconds since 1970 big-endian, then the event, the lines
// and two zero bytes.
std::string rtacSerialHeader(std::int64_t microseconds, RtacEvent event, std::uint8_t lines);

}  // namespace tvl::pcapng
