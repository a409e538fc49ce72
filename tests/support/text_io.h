// Bytes for the tests: whole files, what a command prints, every byte value.
#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tvl::testing {

inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Makes the file's folders first.
inline void writeFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

// A command's standard output; `ok` false when it did not exit 0.
inline std::string runCommand(const std::string& command, bool& ok) {
    std::string out;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return ok = false, out;
    char buf[65536];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, pipe)) > 0;) out.append(buf, n);
    ok = ::pclose(pipe) == 0;
    return out;
}

// Every byte value 0x00..0xFF once.
inline std::string allBytes() {
    std::string s;
    for (int i = 0; i < 256; ++i) s.push_back(char(i));
    return s;
}

}  // namespace tvl::testing
