// Reads the stream directory of a minidump file, by the file format alone (a 32-byte header
// starting "MDMP", then 12-byte directory entries: type, size, offset).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct MiniDumpStream {
    std::uint32_t type;
    std::string bytes;
};

inline std::uint32_t ReadU32(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return value;
}

// Empty when the bytes are not a minidump or a stream lies outside them.
inline std::optional<std::vector<MiniDumpStream>> ReadMiniDumpStreams(const std::string& bytes) {
    if (bytes.size() < 32 || bytes.compare(0, 4, "MDMP") != 0)
        return std::nullopt;
    const std::uint32_t count = ReadU32(bytes, 8);
    const std::uint32_t directory = ReadU32(bytes, 12);
    std::vector<MiniDumpStream> streams;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::size_t entry = directory + std::size_t{i} * 12;
        if (entry + 12 > bytes.size())
            return std::nullopt;
        const std::uint32_t size = ReadU32(bytes, entry + 4);
        const std::uint32_t offset = ReadU32(bytes, entry + 8);
        if (std::size_t{offset} + size > bytes.size())
            return std::nullopt;
        streams.push_back({ReadU32(bytes, entry), bytes.substr(offset, size)});
    }
    return streams;
}

// The streams of one type, in directory order.
inline std::vector<std::string> StreamsOfType(const std::vector<MiniDumpStream>& streams,
                                              std::uint32_t type) {
    std::vector<std::string> found;
    for (const MiniDumpStream& stream : streams) {
        if (stream.type == type)
            found.push_back(stream.bytes);
    }
    return found;
}
