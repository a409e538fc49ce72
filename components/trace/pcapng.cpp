#include "components/trace/pcapng.h"

#include <cstring>

namespace tvl::pcapng {

namespace {

constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A;
constexpr std::uint32_t kInterfaceDescription = 1;
constexpr std::uint32_t kEnhancedPacket = 6;
constexpr std::uint16_t kOptionEnd = 0;
constexpr std::uint16_t kInterfaceName = 2;    // if_name
constexpr std::uint16_t kUserApplication = 4;  // shb_userappl

template <class T>
void put(std::string& out, T value) {  // this machine's byte order
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    out.append(bytes, sizeof value);
}

void pad(std::string& out) { out.append((4 - out.size() % 4) % 4, '\0'); }

void option(std::string& out, std::uint16_t code, std::string_view value) {
    put(out, code);
    put(out, static_cast<std::uint16_t>(value.size()));
    out.append(value);
    pad(out);
}

// Type, total length, body, total length again.
std::string block(std::uint32_t type, std::string body) {
    pad(body);
    const auto length = static_cast<std::uint32_t>(body.size() + 12);
    std::string out;
    out.reserve(length);
    put(out, type);
    put(out, length);
    out += body;
    put(out, length);
    return out;
}

}  // namespace

std::string sectionHeader(std::string_view application) {
    std::string body;
    put(body, std::uint32_t{0x1A2B3C4D});
    put(body, std::uint16_t{1});
    put(body, std::uint16_t{0});
    put(body, std::int64_t{-1});  // section length not given: the file is written as it goes
    option(body, kUserApplication, application);
    put(body, kOptionEnd);
    put(body, std::uint16_t{0});
    return block(kSectionHeader, std::move(body));
}

std::string interfaceDescription(std::uint16_t linkType, std::string_view name) {
    std::string body;
    put(body, linkType);
    put(body, std::uint16_t{0});
    put(body, std::uint32_t{0});  // no snapshot length: frames are whole
    option(body, kInterfaceName, name);
    put(body, kOptionEnd);
    put(body, std::uint16_t{0});
    return block(kInterfaceDescription, std::move(body));
}

std::string enhancedPacket(std::uint32_t interface, std::int64_t microseconds,
                           std::string_view data) {
    std::string body;
    body.reserve(20 + data.size() + 3);
    const auto time = static_cast<std::uint64_t>(microseconds);
    put(body, interface);
    put(body, static_cast<std::uint32_t>(time >> 32));
    put(body, static_cast<std::uint32_t>(time));
    put(body, static_cast<std::uint32_t>(data.size()));
    put(body, static_cast<std::uint32_t>(data.size()));
    body.append(data);
    return block(kEnhancedPacket, std::move(body));
}

std::string rtacSerialHeader(std::int64_t microseconds, RtacEvent event, std::uint8_t lines) {
    const auto seconds = static_cast<std::uint32_t>(microseconds / 1'000'000);
    const auto micros = static_cast<std::uint32_t>(microseconds % 1'000'000);
    std::string out;
    for (std::uint32_t word : {seconds, micros})
        for (int shift = 24; shift >= 0; shift -= 8) out.push_back(char(word >> shift));
    out.push_back(char(event));
    out.push_back(char(lines));
    out.append(2, '\0');
    return out;
}

}  // namespace tvl::pcapng
