// A crash dump of the helper read by the minidump format alone: the header, the stream
// directory, the exception stream, the thread, module and memory lists, and the user streams
// that carry the flow log and the memory the helper saved. Every offset and size is checked against
// the bytes of the file before anything is read; what is kept refers into the file's bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace LumoDump {

inline constexpr std::uint32_t kThreadListStream = 3;
inline constexpr std::uint32_t kModuleListStream = 4;
inline constexpr std::uint32_t kMemoryListStream = 5;
inline constexpr std::uint32_t kExceptionStream = 6;
inline constexpr std::uint32_t kMemory64ListStream = 9;
inline constexpr std::uint32_t kFlowLogStream = 0x10000;
// Memory the helper saves beside the flow log (a C++ exception's header): records of start
// (8 bytes), size (4) and the bytes.
inline constexpr std::uint32_t kSavedMemoryStream = 0x10001;

using Bytes = std::span<const std::uint8_t>;

struct CrashException {
    std::uint32_t threadId;
    std::uint32_t code;
    std::uint32_t flags;
    std::uint64_t address;
    std::vector<std::uint64_t> parameters;
    Bytes context;  // the thread's registers when it was raised (an x64 CONTEXT)
};

struct DumpThread {
    std::uint32_t id;
    Bytes context;
};

struct DumpModule {
    std::uint64_t base;
    std::uint32_t size;
    std::uint32_t timeDateStamp;
    std::string path;  // as the process knew it, in UTF-8
};

struct MemoryRange {
    std::uint64_t start;
    Bytes bytes;
};

struct Minidump {
    std::uint32_t timeDateStamp;  // seconds since 1970, UTC
    std::uint32_t streamCount;
    std::optional<CrashException> exception;
    std::optional<std::string_view> flowLog;  // into the file's bytes
    std::vector<DumpThread> threads;
    std::vector<DumpModule> modules;
    std::vector<MemoryRange> memory;  // by start, none overlapping another
};

// The dump, or why the bytes are not one (a line for the user).
std::variant<Minidump, std::string> ReadMinidump(Bytes file);

// The process's memory at [address, address + size) when one saved range holds all of it.
std::optional<Bytes> MemoryAt(const Minidump& dump, std::uint64_t address, std::size_t size);

// The module whose image holds the address, or nullptr.
const DumpModule* ModuleAt(const Minidump& dump, std::uint64_t address);

// The name of a well-known exception code, or nullptr.
const char* ExceptionName(std::uint32_t code);

}  // namespace LumoDump
