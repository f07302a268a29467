#include "tools/lumo-dump/lib/minidump_file.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

namespace LumoDump {
namespace {

constexpr std::size_t kHeaderSize = 32;
constexpr std::uint32_t kSignature = 0x504D444D;  // "MDMP"
constexpr std::uint32_t kFormatVersion = 0xA793;  // the low word; the high one is the writer's
constexpr std::size_t kDirectoryEntrySize = 12;
constexpr std::uint32_t kUnusedStream = 0;  // a writer may leave several
// Thread id, alignment; the exception record: code, flags, record, address, parameter
// count, alignment, 15 parameters; then the location of the thread's context.
constexpr std::size_t kParameterCountAt = 32;
constexpr std::size_t kMaximumParameters = 15;
constexpr std::size_t kExceptionContextAt = 40 + kMaximumParameters * 8;
constexpr std::size_t kExceptionStreamSize = kExceptionContextAt + 8;
// Id, suspend count, priority class, priority, TEB, stack (start, location), context location.
constexpr std::size_t kThreadSize = 48;
constexpr std::size_t kThreadContextAt = 40;
// Base, size, checksum, time stamp, name, version block, two records, reserved.
constexpr std::size_t kModuleSize = 108;

std::uint32_t U32(Bytes bytes, std::size_t at) {
    return bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 |
           static_cast<std::uint32_t>(bytes[at + 3]) << 24;
}

std::uint64_t U64(Bytes bytes, std::size_t at) {
    return U32(bytes, at) | std::uint64_t{U32(bytes, at + 4)} << 32;
}

// The part of the file at `offset`, if the file holds all `size` bytes of it.
std::optional<Bytes> Part(Bytes file, std::uint64_t size, std::uint64_t offset) {
    if (offset > file.size() || size > file.size() - offset) {
        return std::nullopt;
    }
    return file.subspan(offset, size);
}

// UTF-16LE code units as UTF-8; an unpaired surrogate becomes U+FFFD.
std::string Utf8(Bytes utf16) {
    std::string text;
    for (std::size_t i = 0; i + 1 < utf16.size(); i += 2) {
        std::uint32_t c = utf16[i] | utf16[i + 1] << 8;
        const bool high = c >= 0xD800 && c < 0xDC00;
        const std::uint32_t next = i + 3 < utf16.size() ? utf16[i + 2] | utf16[i + 3] << 8 : 0;
        if (high && next >= 0xDC00 && next < 0xE000) {
            c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
            i += 2;
        } else if (c >= 0xD800 && c < 0xE000) {
            c = 0xFFFD;
        }
        const int tail = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
        text += static_cast<char>(tail == 0 ? c : (0xF0 << (3 - tail) & 0xFF) | c >> 6 * tail);
        for (int k = tail - 1; k >= 0; --k) {
            text += static_cast<char>(0x80 | (c >> 6 * k & 0x3F));
        }
    }
    return text;
}

class StreamReader {
  public:
    StreamReader(Bytes file, Minidump& dump) : m_file(file), m_dump(dump) {}

    // Why the stream cannot be read, or nothing.
    std::optional<std::string> Read(std::uint32_t type, Bytes stream) {
        switch (type) {
            case kExceptionStream:
                return Exception(stream);
            case kThreadListStream:
                return List(stream, 4, kThreadSize, "thread list", [&](Bytes t) {
                    const auto context = Location(t, kThreadContextAt);
                    m_dump.threads.push_back({U32(t, 0), context.value_or(Bytes{})});
                    return context.has_value();
                });
            case kModuleListStream:
                return List(stream, 4, kModuleSize, "module list", [&](Bytes m) {
                    const auto length = Part(m_file, 4, U32(m, 20));
                    const auto name =
                        length ? Part(m_file, U32(*length, 0), U32(m, 20) + 4ull) : std::nullopt;
                    m_dump.modules.push_back(
                        {U64(m, 0), U32(m, 8), U32(m, 16), Utf8(name.value_or(Bytes{}))});
                    return name.has_value();
                });
            case kMemoryListStream:
                return List(stream, 4, 16, "memory list", [&](Bytes r) {
                    const auto bytes = Location(r, 8);
                    m_dump.memory.push_back({U64(r, 0), bytes.value_or(Bytes{})});
                    return bytes.has_value();
                });
            case kMemory64ListStream:
                return Memory64(stream);
            case kSavedMemoryStream:
                return SavedMemory(stream);
            case kFlowLogStream:
                m_dump.flowLog.emplace(reinterpret_cast<const char*>(stream.data()), stream.size());
                return std::nullopt;
            default:
                return std::nullopt;
        }
    }

  private:
    // The file's bytes that a location descriptor (size, offset) at `at` names.
    std::optional<Bytes> Location(Bytes record, std::size_t at) const {
        return Part(m_file, U32(record, at), U32(record, at + 4));
    }

    template <typename Keep>
    std::optional<std::string> List(Bytes stream, std::size_t header, std::size_t entrySize,
                                    const char* name, Keep keep) {
        const std::uint64_t count = stream.size() < header ? 1
                                    : header == 4          ? U32(stream, 0)
                                                           : U64(stream, 0);
        if (stream.size() < header || (stream.size() - header) / entrySize < count) {
            return std::string("its ") + name + " is longer than its stream";
        }
        for (std::uint64_t i = 0; i < count; ++i) {
            if (!keep(stream.subspan(header + i * entrySize, entrySize))) {
                return std::string("its ") + name + " points outside the file";
            }
        }
        return std::nullopt;
    }

    std::optional<std::string> Exception(Bytes stream) {
        if (stream.size() < kExceptionStreamSize) {
            return std::string("its exception stream is too short");
        }
        const auto context = Location(stream, kExceptionContextAt);
        if (!context) {
            return std::string("its exception stream points outside the file");
        }
        CrashException& e = m_dump.exception.emplace(CrashException{
            U32(stream, 0), U32(stream, 8), U32(stream, 12), U64(stream, 24), {}, *context});
        const std::size_t count =
            std::min<std::size_t>(U32(stream, kParameterCountAt), kMaximumParameters);
        for (std::size_t i = 0; i < count; ++i) {
            e.parameters.push_back(U64(stream, kParameterCountAt + 8 + i * 8));
        }
        return std::nullopt;
    }

    // The ranges' bytes follow each other from one offset on.
    std::optional<std::string> Memory64(Bytes stream) {
        std::uint64_t at = stream.size() >= 16 ? U64(stream, 8) : 0;
        return List(stream, 16, 16, "memory64 list", [&](Bytes r) {
            const auto bytes = Part(m_file, U64(r, 8), at);
            m_dump.memory.push_back({U64(r, 0), bytes.value_or(Bytes{})});
            at += U64(r, 8);
            return bytes.has_value();
        });
    }

    std::optional<std::string> SavedMemory(Bytes stream) {
        for (std::size_t at = 0; at < stream.size();) {
            const auto bytes = stream.size() - at >= 12 ? Part(stream, U32(stream, at + 8), at + 12)
                                                        : std::nullopt;
            if (!bytes) {
                return std::string("its saved memory stream is cut short");
            }
            m_dump.memory.push_back({U64(stream, at), *bytes});
            at += 12 + bytes->size();
        }
        return std::nullopt;
    }

    Bytes m_file;
    Minidump& m_dump;
};

}  // namespace

std::variant<Minidump, std::string> ReadMinidump(Bytes file) {
    if (file.size() < kHeaderSize || U32(file, 0) != kSignature) {
        return std::string("not a minidump (no MDMP header)");
    }
    if ((U32(file, 4) & 0xFFFF) != kFormatVersion) {
        return "not a minidump of a known version (" + std::to_string(U32(file, 4) & 0xFFFF) + ")";
    }
    Minidump dump{U32(file, 20), U32(file, 8), std::nullopt, std::nullopt, {}, {}, {}};
    const std::uint32_t directory = U32(file, 12);
    const auto entries = Part(file, 0, directory);
    if (!entries || (file.size() - directory) / kDirectoryEntrySize < dump.streamCount) {
        return "its stream directory (" + std::to_string(dump.streamCount) + " entries at " +
               std::to_string(directory) + ") lies outside the file";
    }
    StreamReader reader(file, dump);
    std::set<std::uint32_t> seen;
    for (std::uint32_t i = 0; i < dump.streamCount; ++i) {
        const std::size_t entry = directory + std::size_t{i} * kDirectoryEntrySize;
        const std::uint32_t type = U32(file, entry);
        const auto stream = Part(file, U32(file, entry + 4), U32(file, entry + 8));
        if (!stream) {
            return "stream " + std::to_string(i) + " (type " + std::to_string(type) +
                   ") points outside the file";
        }
        if (type != kUnusedStream && !seen.insert(type).second) {
            return "stream type " + std::to_string(type) + " appears twice";
        }
        if (auto why = reader.Read(type, *stream)) {
            return *std::move(why);
        }
    }
    std::stable_sort(dump.memory.begin(), dump.memory.end(),
                     [](const MemoryRange& a, const MemoryRange& b) { return a.start < b.start; });
    // Where ranges overlap, the first keeps its bytes and a later one keeps only what lies
    // beyond everything before it, so that a look-up finds an address in the one range that
    // starts last at or before it.
    std::vector<MemoryRange> apart;
    for (const MemoryRange& range : dump.memory) {
        const std::uint64_t reached =
            apart.empty() ? 0 : apart.back().start + apart.back().bytes.size();
        if (apart.empty() || range.start >= reached) {
            apart.push_back(range);
        } else if (range.start + range.bytes.size() > reached) {
            apart.push_back({reached, range.bytes.subspan(reached - range.start)});
        }
    }
    dump.memory = std::move(apart);
    return dump;
}

std::optional<Bytes> MemoryAt(const Minidump& dump, std::uint64_t address, std::size_t size) {
    // The last range that starts at or before the address (ranges are kept apart).
    const auto after =
        std::upper_bound(dump.memory.begin(), dump.memory.end(), address,
                         [](std::uint64_t a, const MemoryRange& range) { return a < range.start; });
    if (after == dump.memory.begin()) {
        return std::nullopt;
    }
    const MemoryRange& range = *std::prev(after);
    if (address - range.start > range.bytes.size() ||
        size > range.bytes.size() - (address - range.start)) {
        return std::nullopt;
    }
    return range.bytes.subspan(address - range.start, size);
}

const DumpModule* ModuleAt(const Minidump& dump, std::uint64_t address) {
    for (const DumpModule& module : dump.modules) {
        if (address >= module.base && address - module.base < module.size) {
            return &module;
        }
    }
    return nullptr;
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
