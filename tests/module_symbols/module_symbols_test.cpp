// A hand-made program file: a code section whose tail has no file data, a long-named
// .debug_line with a version 4 line table, a function symbol and a plain one. Its addresses,
// lines and the faults cut into it are worked out by hand from the formats.
#include "tools/lumo-dump/lib/module_symbols.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace LumoDump {
namespace {

using namespace std::literals;

constexpr std::uint64_t kBase = 0x140000000;
constexpr std::size_t kFileHeader = 0x44, kOptional = 0x58, kSections = 0x148, kText = 0x200,
                      kLine = 0x400, kSymbols = 0x480, kStrings = kSymbols + 2 * kCoffSymbolSize;
// The function table bounds Demo::Twice to 0x1010..0x1014.
const std::vector<std::uint8_t> kFunctionTable{0x10, 0x10, 0, 0, 0x14, 0x10, 0, 0, 0, 0, 0, 0};

void Put(std::vector<std::uint8_t>& bytes, std::size_t at, std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i) {
        bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

void PutBytes(std::vector<std::uint8_t>& bytes, std::size_t at, std::string_view text) {
    std::copy(text.begin(), text.end(), bytes.begin() + at);
}

// Two sequences, the second ending where the first begins: line 7 at 0x1018 up to 0x1020;
// line 42 at 0x1010, 43 at 0x1014 and again, covering nothing, at 0x1018 where it ends.
// In directory src: demo.cpp, and from 0x1014 on gen.cpp, which the program defines.
constexpr std::string_view kLineTable =
    "\x64\0\0\0"  // unit length
    "\x04\0"      // version
    "\x24\0\0\0"  // header length
    "\x01\x01\x01\xFB\x0E\x0D"
    "\0\x01\x01\x01\x01\0\0\0\x01\0\0\x01"  // arguments of the standard opcodes
    "src\0\0"
    "demo.cpp\0\x01\0\0\0"
    "\0\x09\x02\x18\x10\0\x40\x01\0\0\0"   // set address
    "\x03\x08\x03\x7E\x01"                 // line += 8, line -= 2, copy
    "\x02\x08"                             // address += 8
    "\0\x01\x01"                           // end of sequence
    "\0\x09\x02\x10\x10\0\x40\x01\0\0\0"   // at 67
    "\x03\x29\x01"                         // line += 41, copy
    "\0\x0C\x03gen.cpp\0\x01\0\0\x04\x02"  // define file 2, set file 2
    "\x4B"                                 // special: address += 4, line += 1
    "\x02\x04\x01"                         // address += 4, copy
    "\0\x01\x01"sv;

std::vector<std::uint8_t> Image() {
    std::vector<std::uint8_t> bytes(kStrings + 40);
    PutBytes(bytes, 0, "MZ");
    Put(bytes, 0x3C, 0x40, 4);
    PutBytes(bytes, 0x40, "PE");
    Put(bytes, kFileHeader, kMachineAmd64, 2);
    Put(bytes, kFileHeader + 2, 2, 2);  // sections
    Put(bytes, kFileHeader + 8, kSymbols, 4);
    Put(bytes, kFileHeader + 12, 2, 4);    // symbols
    Put(bytes, kFileHeader + 16, 240, 2);  // optional header size
    Put(bytes, kOptional, 0x20B, 2);
    Put(bytes, kOptional + 24, kBase, 8);
    Put(bytes, kOptional + 108, 16, 4);  // data directories
    Put(bytes, kOptional + 112 + 8 * kExceptionDirectory, 0x1000, 4);
    Put(bytes, kOptional + 116 + 8 * kExceptionDirectory, 0x0C, 4);
    const auto section = [&](std::size_t at, std::string_view name, std::uint32_t rva,
                             std::uint32_t virtualSize, std::uint32_t raw, std::uint32_t rawSize) {
        PutBytes(bytes, at, name);
        Put(bytes, at + 8, virtualSize, 4);
        Put(bytes, at + 12, rva, 4);
        Put(bytes, at + 16, rawSize, 4);
        Put(bytes, at + 20, raw, 4);
    };
    section(kSections, ".text", 0x1000, 0x100, kText, 0x20);
    section(kSections + 40, "/4", 0x2000, kLineTable.size(), kLine, 0x80);
    for (std::size_t i = 0; i < 0x20; ++i) {
        bytes[kText + i] = static_cast<std::uint8_t>(0x90 + i);
    }
    PutBytes(bytes, kLine, kLineTable);
    Put(bytes, kSymbols + 4, 16, 4);  // name in the string table
    Put(bytes, kSymbols + 8, 0x10, 4);
    Put(bytes, kSymbols + 12, 1, 2);  // in .text
    Put(bytes, kSymbols + 14, 0x20, 2);
    Put(bytes, kSymbols + 16, 2, 1);
    PutBytes(bytes, kSymbols + 18, "_probe");  // not typed as a function, as assembly's are
    Put(bytes, kSymbols + 26, 0x18, 4);
    Put(bytes, kSymbols + 30, 1, 2);
    Put(bytes, kSymbols + 34, 2, 1);
    Put(bytes, kStrings, 40, 4);
    PutBytes(bytes, kStrings + 4, ".debug_line\0_ZN4Demo5TwiceEi"sv);
    return bytes;
}

TEST(PeImage, BytesComeFromFileDataOnly) {
    const auto file = Image();
    const auto image = std::get<PeImage>(PeImage::Read(file));
    ASSERT_TRUE(image.Directory(kExceptionDirectory));
    EXPECT_EQ(image.Directory(kExceptionDirectory)->size, 0x0Cu);
    EXPECT_FALSE(image.Directory(kExceptionDirectory + 1));
    EXPECT_EQ(image.SectionBytes(".debug_line")->size(), kLineTable.size());
    struct Case {
        std::uint32_t rva, size;
        std::optional<std::uint8_t> first;
    };
    for (const Case& c : {Case{0x1000, 0x20, 0x90}, Case{0x101F, 1, 0xAF}, Case{0x101F, 2, {}},
                          Case{0x1020, 1, {}}, Case{0x0FFF, 1, {}}, Case{0x1100, 1, {}}}) {
        const auto bytes = image.BytesAt(c.rva, c.size);
        EXPECT_EQ(bytes ? std::optional(bytes->front()) : std::nullopt, c.first) << c.rva;
        EXPECT_TRUE(!bytes || bytes->size() == c.size);
    }
}

TEST(ModuleSymbols, NamesTheFunctionAndLineOfAnAddress) {
    const auto file = Image();
    const auto symbols =
        ModuleSymbols::Read(std::get<PeImage>(PeImage::Read(file)), kFunctionTable);
    EXPECT_THAT(symbols.Problems(), testing::IsEmpty());
    const std::string twice = "Demo::Twice(int)";
    struct Case {
        std::uint32_t rva;
        std::optional<SourcePlace> place;
    };
    for (const Case& c :
         {Case{0x1010, {{twice, "src/demo.cpp", 42}}}, Case{0x1013, {{twice, "src/demo.cpp", 42}}},
          Case{0x1017, {{"", "src/gen.cpp", 43}}}, Case{0x1018, {{"_probe", "src/demo.cpp", 7}}},
          Case{0x1020, {{"_probe", "", 0}}}, Case{0x100F, {}}, Case{0x1100, {}}}) {
        const auto place = symbols.Lookup(c.rva);
        ASSERT_EQ(place.has_value(), c.place.has_value()) << c.rva;
        if (place) {
            EXPECT_EQ(std::tie(place->function, place->file, place->line),
                      std::tie(c.place->function, c.place->file, c.place->line))
                << c.rva;
        }
    }
}

// A fault in the lines leaves the names, and one in the names the lines.
TEST(ModuleSymbols, MalformedFilesAreRefusedWithWhy) {
    using Cut = std::function<void(std::vector<std::uint8_t>&)>;
    const std::pair<Cut, std::string> cases[] = {
        {[](auto& b) { b.resize(kOptional + 100); }, "its PE headers run past the end"},
        {[](auto& b) { Put(b, kOptional, 0x10B, 2); }, "a 32-bit image (PE32)"},
        {[](auto& b) { Put(b, kFileHeader + 2, 30, 2); }, "section table (30 sections) runs past"},
        {[](auto& b) { Put(b, kSections + 20, 0x1000, 4); }, "section .text (32 bytes at 4096)"},
        {[](auto& b) { PutBytes(b, kSections + 40, "/40"); }, "section name \"/40\" is not in"},
        {[](auto& b) { Put(b, kStrings, 41, 4); }, "string table (41 bytes at 1188) runs past"},
        {[](auto& b) { Put(b, kSymbols + 4, 40, 4); }, "no names (the name of symbol 0 is not in"},
        {[](auto& b) { Put(b, kLine, 0x65, 1); }, "no lines (the line table at 0 runs past its"},
        {[](auto& b) { Put(b, kLine + 4, 6, 1); }, "has version 6, not 2 to 5"},
        {[](auto& b) { Put(b, kLine + 102, 9, 1); }, "an extended operation runs past its unit"},
        {[](auto& b) { Put(b, kLine, 0x5F, 1); }, "its program runs past its unit"},
        {[](auto& b) { Put(b, kLine + 42, 2, 1); }, "a file names directory 2"},
        {[](auto& b) { Put(b, kLine + 98, 4, 1); }, "a row names file 4"},
    };
    for (const auto& [cut, why] : cases) {
        auto file = Image();
        cut(file);
        const auto image = PeImage::Read(file);
        if (const auto* refused = std::get_if<std::string>(&image)) {
            EXPECT_THAT(*refused, testing::HasSubstr(why));
            continue;
        }
        const auto symbols = ModuleSymbols::Read(std::get<PeImage>(image), kFunctionTable);
        ASSERT_EQ(symbols.Problems().size(), 1u) << why;
        EXPECT_THAT(symbols.Problems()[0], testing::HasSubstr(why));
        const auto place = symbols.Lookup(0x1010);
        ASSERT_TRUE(place) << why;
        EXPECT_TRUE(!place->function.empty() || place->line == 42) << why;
    }
}

}  // namespace
}  // namespace LumoDump
