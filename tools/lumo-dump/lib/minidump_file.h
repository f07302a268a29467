// A crash dump of the helper read by the minidump format alone: the header, the stream
// directory, the exception stream and the user stream that carries the flow log. Every
// offset and size is checked against the bytes of the file before anything is read.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace LumoDump {

inline constexpr std::uint32_t kExceptionStream = 6;
inline constexpr std::uint32_t kFlowLogStream = 0x10000;

struct CrashException {
    std::uint32_t threadId;
    std::uint32_t code;
    std::uint32_t flags;
    std::uint64_t address;
};

struct Minidump {
    std::uint32_t timeDateStamp;  // seconds since 1970, UTC
    std::uint32_t streamCount;
    std::optional<CrashException> exception;
    std::optional<std::string_view> flowLog;  // into the file's bytes
};

// The dump, or why the bytes are not one (a line for the user).
std::variant<Minidump, std::string> ReadMinidump(std::span<const std::uint8_t> file);

// The name of a well-known exception code, or nullptr.
const char* ExceptionName(std::uint32_t code);

}  // namespace LumoDump
