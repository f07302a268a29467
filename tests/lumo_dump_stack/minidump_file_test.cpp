// The streams a stack walk needs, from minidumps built here field by field, and the rules that
// turn a file away with one line.
#include "tools/lumo-dump/lib/minidump_file.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace LumoDump {
namespace {

using Blob = std::vector<std::uint8_t>;

Blob& Le(Blob& blob, std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i) {
        blob.push_back(static_cast<std::uint8_t>(i < 8 ? value >> 8 * i : 0));
    }
    return blob;
}

// Streams and their data go after the header, the directory last.
struct DumpFile {
    Blob bytes = Blob(32);
    Blob directory;
    std::uint32_t streams = 0;

    std::uint32_t Append(const Blob& data) {
        bytes.insert(bytes.end(), data.begin(), data.end());
        return static_cast<std::uint32_t>(bytes.size() - data.size());
    }
    DumpFile& Stream(std::uint32_t type, const Blob& data) {
        Le(Le(directory, type, 4), data.size(), 4);
        Le(directory, Append(data), 4);
        ++streams;
        return *this;
    }
    Blob Build(std::uint32_t version = 0xA793) const {
        Blob file = bytes;
        const std::uint32_t at = static_cast<std::uint32_t>(file.size());
        file.insert(file.end(), directory.begin(), directory.end());
        Blob header;
        Le(Le(Le(Le(Le(Le(header, 0x504D444D, 4), version, 4), streams, 4), at, 4), 0, 4),
           1700000000, 8);
        std::copy(header.begin(), header.end(), file.begin());
        return file;
    }
};

Blob List(std::uint64_t count, int countSize, const Blob& entries) {
    Blob list;
    Le(list, count, countSize);
    list.insert(list.end(), entries.begin(), entries.end());
    return list;
}

Blob Thread(std::uint32_t id, std::uint32_t contextSize, std::uint32_t contextAt) {
    Blob t;
    Le(Le(Le(Le(t, id, 4), 0, 12), 0, 8), 0, 16);
    return Le(Le(t, contextSize, 4), contextAt, 4);
}

Blob Module(std::uint32_t nameAt) {
    Blob m;
    Le(Le(Le(Le(m, 0x140000000, 8), 0x5000, 4), 0, 4), 0x5F000000, 4);
    return Le(Le(m, nameAt, 4), 0, 108 - 24);
}

Blob Range(std::uint64_t start, std::uint32_t size, std::uint32_t at) {
    Blob r;
    return Le(Le(Le(r, start, 8), size, 4), at, 4);
}

Blob Exception(std::uint32_t contextSize, std::uint32_t contextAt) {
    Blob e;
    Le(Le(Le(Le(Le(e, 7, 4), 0, 4), 0x20474343, 4), 1, 4), 0, 8);
    Le(Le(Le(e, 0x7B013D7E, 8), 2, 4), 0, 4);
    Le(Le(Le(e, 0xAA, 8), 0xBB, 8), 0, 13 * 8);
    return Le(Le(e, contextSize, 4), contextAt, 4);
}

TEST(MinidumpFile, ReadsTheStreamsThatAStackWalkNeeds) {
    DumpFile file;
    const std::uint32_t context = file.Append(Blob(0x4D0, 0xCC));
    const std::uint32_t name =
        file.Append({12, 0, 0, 0, 'C', 0, ':', 0, 0xFC, 0, 0x3D, 0xD8, 0x00, 0xDE, 0x00, 0xD8});
    const std::uint32_t low = file.Append(Blob{1, 2, 3, 4, 5, 6, 7, 8});
    Blob high(0x20);
    high[0x18] = 9;
    const std::uint32_t highAt = file.Append(high);
    Blob ranges64;
    Le(Le(Le(Le(ranges64, 0x3000, 8), 0x10, 8), 0x3010, 8), 0x10, 8);
    Blob ranges = Range(0x1000, 8, low);  // and one inside a range of the 64-bit list
    Le(Le(Le(ranges, 0x3004, 8), 2, 4), low, 4);
    file.Stream(kThreadListStream, List(1, 4, Thread(7, 0x4D0, context)))
        .Stream(0, {})
        .Stream(kModuleListStream, List(1, 4, Module(name)))
        .Stream(kMemoryListStream, List(2, 4, ranges))
        .Stream(0, {})
        .Stream(kMemory64ListStream,
                [&] {
                    Blob b;
                    Le(Le(b, 2, 8), highAt, 8);
                    b.insert(b.end(), ranges64.begin(), ranges64.end());
                    return b;
                }())
        .Stream(kExceptionStream, Exception(0x4D0, context))
        .Stream(kSavedMemoryStream,
                {0, 0x50, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 7, 0, 0x60, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    const Blob bytes = file.Build();
    const auto read = ReadMinidump(bytes);
    ASSERT_TRUE(std::holds_alternative<Minidump>(read)) << std::get<std::string>(read);
    const Minidump& dump = std::get<Minidump>(read);
    ASSERT_EQ(dump.threads.size(), 1u);
    EXPECT_EQ(dump.threads[0].id, 7u);
    EXPECT_EQ(dump.threads[0].context.data(), bytes.data() + context);
    ASSERT_EQ(dump.modules.size(), 1u);
    EXPECT_EQ(dump.modules[0].path, "C:\xC3\xBC\xF0\x9F\x98\x80\xEF\xBF\xBD");  // ü, 😀, lone half
    EXPECT_EQ(ModuleAt(dump, 0x140004FFF), &dump.modules[0]);
    EXPECT_EQ(ModuleAt(dump, 0x140005000), nullptr);
    ASSERT_TRUE(dump.exception);
    EXPECT_EQ(dump.exception->parameters, (std::vector<std::uint64_t>{0xAA, 0xBB}));
    EXPECT_EQ(dump.exception->context.size(), 0x4D0u);
    const auto at = [&](std::uint64_t address, std::size_t size) {
        const auto bytes = MemoryAt(dump, address, size);
        return bytes ? Blob(bytes->begin(), bytes->end()) : Blob{0xFF};
    };
    EXPECT_EQ(at(0x1004, 4), (Blob{5, 6, 7, 8}));
    EXPECT_EQ(at(0x1004, 5), Blob{0xFF});  // past the range's end
    EXPECT_EQ(at(0x3018, 1), Blob{9});     // the second range of the 64-bit list
    EXPECT_EQ(at(0x3006, 4), Blob(4));     // the range that holds it, not the one inside
    EXPECT_EQ(at(0x5000, 1), Blob{7});     // saved by the helper; an empty record holds nothing
    EXPECT_EQ(at(0x6000, 1), Blob{0xFF});
}

TEST(MinidumpFile, RefusesAFileWhoseStreamsDoNotHold) {
    const struct {
        const char* name;
        std::function<void(DumpFile&)> streams;
        std::uint32_t version;
        std::string why;
    } cases[] = {
        {"other version", [](DumpFile&) {}, 0xA794, "not a minidump of a known version (42900)"},
        {"a stream type twice",
         [](DumpFile& f) { f.Stream(kFlowLogStream, {'a'}).Stream(kFlowLogStream, {'b'}); }, 0xA793,
         "stream type 65536 appears twice"},
        {"list longer than its stream",
         [](DumpFile& f) { f.Stream(kThreadListStream, List(2, 4, Thread(1, 0, 0))); }, 0xA793,
         "its thread list is longer than its stream"},
        {"thread context outside",
         [](DumpFile& f) { f.Stream(kThreadListStream, List(1, 4, Thread(1, 16, 0xFFFF))); },
         0xA793, "its thread list points outside the file"},
        {"module name outside",
         [](DumpFile& f) { f.Stream(kModuleListStream, List(1, 4, Module(0xFFFF))); }, 0xA793,
         "its module list points outside the file"},
        {"memory outside",
         [](DumpFile& f) { f.Stream(kMemoryListStream, List(1, 4, Range(0, 16, 0xFFFF))); }, 0xA793,
         "its memory list points outside the file"},
        {"64-bit memory past the end",
         [](DumpFile& f) {
             Blob b;
             Le(Le(Le(Le(b, 1, 8), 32, 8), 0, 8), 0x10000, 8);
             f.Stream(kMemory64ListStream, b);
         },
         0xA793, "its memory64 list points outside the file"},
        {"saved memory cut short",
         [](DumpFile& f) {
             f.Stream(kSavedMemoryStream, {0, 0x50, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 7});
         },
         0xA793, "its saved memory stream is cut short"},
        {"exception context outside",
         [](DumpFile& f) { f.Stream(kExceptionStream, Exception(0x4D0, 32)); }, 0xA793,
         "its exception stream points outside the file"},
    };
    for (const auto& c : cases) {
        DumpFile file;
        c.streams(file);
        const auto read = ReadMinidump(file.Build(c.version));
        const auto* why = std::get_if<std::string>(&read);
        EXPECT_EQ(why ? *why : "read", c.why) << c.name;
    }
}

}  // namespace
}  // namespace LumoDump
