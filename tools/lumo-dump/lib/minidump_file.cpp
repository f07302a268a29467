#include "tools/lumo-dump/lib/minidump_file.h"

#include <array>
#include <utility>

namespace LumoDump {
namespace {

constexpr std::size_t kHeaderSize = 32;
constexpr std::size_t kDirectoryEntrySize = 12;
// Thread id, alignment, then the exception record: code, flags, record, address.
constexpr std::size_t kExceptionStreamMinimum = 4 + 4 + 4 + 4 + 8 + 8;

std::uint32_t U32(std::span<const std::uint8_t> bytes, std::size_t at) {
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 |
           static_cast<std::uint32_t>(bytes[at + 3]) << 24;
}

std::uint64_t U64(std::span<const std::uint8_t> bytes, std::size_t at) {
    return U32(bytes, at) | std::uint64_t{U32(bytes, at + 4)} << 32;
}

// The part of the file that a directory entry names, if the file holds all of it.
std::optional<std::span<const std::uint8_t>> Part(std::span<const std::uint8_t> file,
                                                  std::uint32_t size, std::uint32_t offset) {
    if (offset > file.size() || size > file.size() - offset) {
        return std::nullopt;
    }
    return file.subspan(offset, size);
}

}  // namespace

std::variant<Minidump, std::string> ReadMinidump(std::span<const std::uint8_t> file) {
    if (file.size() < kHeaderSize || U32(file, 0) != 0x504D444D) {  // "MDMP"
        return std::string("not a minidump (no MDMP header)");
    }
    Minidump dump{U32(file, 20), U32(file, 8), std::nullopt, std::nullopt};
    const std::uint32_t directory = U32(file, 12);
    const auto entries = Part(file, 0, directory);
    if (!entries || (file.size() - directory) / kDirectoryEntrySize < dump.streamCount) {
        return "its stream directory (" + std::to_string(dump.streamCount) + " entries at " +
               std::to_string(directory) + ") lies outside the file";
    }
    for (std::uint32_t i = 0; i < dump.streamCount; ++i) {
        const std::size_t entry = directory + std::size_t{i} * kDirectoryEntrySize;
        const std::uint32_t type = U32(file, entry);
        const auto stream = Part(file, U32(file, entry + 4), U32(file, entry + 8));
        if (!stream) {
            return "stream " + std::to_string(i) + " (type " + std::to_string(type) +
                   ") points outside the file";
        }
        if (type == kExceptionStream) {
            if (stream->size() < kExceptionStreamMinimum) {
                return std::string("its exception stream is too short");
            }
            dump.exception = CrashException{U32(*stream, 0), U32(*stream, 8), U32(*stream, 12),
                                            U64(*stream, 24)};
        } else if (type == kFlowLogStream) {
            dump.flowLog.emplace(reinterpret_cast<const char*>(stream->data()), stream->size());
        }
    }
    return dump;
}

const char* ExceptionName(std::uint32_t code) {
    static constexpr std::array<std::pair<std::uint32_t, const char*>, 14> kNames{{
        {0x80000003, "EXCEPTION_BREAKPOINT"},
        {0x80000004, "EXCEPTION_SINGLE_STEP"},
        {0xC0000005, "EXCEPTION_ACCESS_VIOLATION"},
        {0xC0000006, "EXCEPTION_IN_PAGE_ERROR"},
        {0xC000001D, "EXCEPTION_ILLEGAL_INSTRUCTION"},
        {0xC000008C, "EXCEPTION_ARRAY_BOUNDS_EXCEEDED"},
        {0xC000008E, "EXCEPTION_FLT_DIVIDE_BY_ZERO"},
        {0xC0000094, "EXCEPTION_INT_DIVIDE_BY_ZERO"},
        {0xC0000095, "EXCEPTION_INT_OVERFLOW"},
        {0xC0000096, "EXCEPTION_PRIV_INSTRUCTION"},
        {0xC00000FD, "EXCEPTION_STACK_OVERFLOW"},
        {0xC0000409, "STATUS_STACK_BUFFER_OVERRUN"},
        {0x20474343, "C++ exception (GCC)"},
        {0xE06D7363, "C++ exception (MSVC)"},
    }};
    for (const auto& [known, name] : kNames) {
        if (known == code) {
            return name;
        }
    }
    return nullptr;
}

}  // namespace LumoDump
