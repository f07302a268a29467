#include "lumo/api/archive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api {
namespace {

using Bytes = std::vector<std::uint8_t>;
using ::testing::ElementsAreArray;

enum class ByteMode : std::uint8_t { Off = 0, On = 0xA5 };
enum WordMode : std::uint32_t { kWordModeA = 1, kWordModeB = 0xDEADBEEF };

struct Sample {
    std::uint32_t id = 0;
    std::string label;
    std::vector<std::int16_t> points;
    bool operator==(const Sample&) const = default;

    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, label, points);
    }
};

struct Wrapper {
    bool flag = false;
    Sample inner;
    double scale = 0;
    bool operator==(const Wrapper&) const = default;

    template <class Archive>
    void Serialize(Archive& archive) {
        archive(flag, inner, scale);
    }
};

template <class T>
Bytes Encode(const T& value) {
    OutputArchive out;
    out(value);
    return out.Finish();
}

template <class T>
T Decode(const Bytes& bytes, std::size_t* consumed = nullptr) {
    InputArchive in(bytes.data(), bytes.size());
    T value{};
    in(value);
    if (consumed != nullptr) {
        *consumed = in.Position();
    }
    return value;
}

struct EncodingCase {
    const char* name;
    std::function<Bytes()> encode;
    std::function<bool(const Bytes&, std::size_t*)> decodesBack;
    Bytes expected;
};

template <class T>
EncodingCase Case(const char* name, T value, Bytes expected) {
    return {name, [value] { return Encode(value); },
            [value](const Bytes& bytes, std::size_t* consumed) {
                return Decode<T>(bytes, consumed) == value;
            },
            std::move(expected)};
}

TEST(Archive, EachValueKindHasItsLittleEndianEncoding) {
    const EncodingCase cases[] = {
        Case("u8", std::uint8_t{0xFE}, {0xFE}),
        Case("s8", std::int8_t{-2}, {0xFE}),
        Case("u16", std::uint16_t{0x1234}, {0x34, 0x12}),
        Case("s16", std::int16_t{-2}, {0xFE, 0xFF}),
        Case("u32", std::uint32_t{0x12345678}, {0x78, 0x56, 0x34, 0x12}),
        Case("s32", std::int32_t{-100}, {0x9C, 0xFF, 0xFF, 0xFF}),
        Case("u64", std::uint64_t{0x0102030405060708}, {8, 7, 6, 5, 4, 3, 2, 1}),
        Case("s64", std::int64_t{-1}, Bytes(8, 0xFF)),
        Case("double", 1.5, {0, 0, 0, 0, 0, 0, 0xF8, 0x3F}),
        Case("negative double", -2.0, {0, 0, 0, 0, 0, 0, 0, 0xC0}),
        Case("true", true, {1}),
        Case("false", false, {0}),
        Case("byte enum", ByteMode::On, {0xA5}),
        Case("word enum", kWordModeB, {0xEF, 0xBE, 0xAD, 0xDE}),
        Case("empty string", std::string(), {0, 0, 0, 0}),
        Case("string", std::string("Ab\xC3\xA9"), {4, 0, 0, 0, 'A', 'b', 0xC3, 0xA9}),
        Case("empty u16string", std::u16string(), {0, 0, 0, 0}),
        Case("u16string", std::u16string(u"A\u00E9\u20AC"),
             {3, 0, 0, 0, 'A', 0, 0xE9, 0, 0xAC, 0x20}),
        Case("wstring", std::wstring(L"Hi"), {2, 0, 0, 0, 'H', 0, 'i', 0}),
        // Outside the basic plane a character travels as a surrogate pair: 2 units.
        Case("wstring beyond BMP", std::wstring(L"\U0001F600"),
             {2, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE}),
        Case("wstring's first pair", std::wstring(L"\U00010000"), {2, 0, 0, 0, 0, 0xD8, 0, 0xDC}),
        Case("empty vector", std::vector<std::uint32_t>(), {0, 0, 0, 0}),
        Case("vector of u16", std::vector<std::uint16_t>{1, 0x0203}, {2, 0, 0, 0, 1, 0, 3, 2}),
        Case("vector of strings", std::vector<std::string>{"a", ""},
             {2, 0, 0, 0, 1, 0, 0, 0, 'a', 0, 0, 0, 0}),
        Case("map", std::map<std::uint8_t, std::string>{{2, "x"}, {1, ""}},
             {2, 0, 0, 0, 1, 0, 0, 0, 0, 2, 1, 0, 0, 0, 'x'}),
        Case("record", Sample{7, "ok", {-1, 2}},
             {7, 0, 0, 0, 2, 0, 0, 0, 'o', 'k', 2, 0, 0, 0, 0xFF, 0xFF, 2, 0}),
        Case("nested record", Wrapper{true, Sample{1, "", {}}, 0.5},
             {1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 0x3F}),
    };
    for (const EncodingCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_THAT(c.encode(), ElementsAreArray(c.expected));
        std::size_t consumed = 0;
        EXPECT_TRUE(c.decodesBack(c.expected, &consumed));
        EXPECT_EQ(consumed, c.expected.size());
    }
}

TEST(Archive, OutputGrowsToHalfAgainTheNeededSizeAndFinishKeepsOnlyWrittenBytes) {
    OutputArchive out;
    EXPECT_EQ(out.BufferSize(), 0u);
    out(std::uint32_t{0x11111111});
    EXPECT_EQ(out.BufferSize(), 6u);
    out(std::uint32_t{0x22222222});
    EXPECT_EQ(out.BufferSize(), 12u);
    out(std::uint16_t{0x3333});
    EXPECT_EQ(out.BufferSize(), 12u);  // 10 bytes still fit
    out(std::uint8_t{0x44});
    EXPECT_EQ(out.Position(), 11u);
    EXPECT_THAT(out.Finish(), ElementsAreArray(Bytes{0x11, 0x11, 0x11, 0x11, 0x22, 0x22, 0x22, 0x22,
                                                     0x33, 0x33, 0x44}));
    EXPECT_EQ(out.Position(), 0u);
    EXPECT_TRUE(out.Finish().empty());
}

template <class T>
void ReadOne(InputArchive& in) {
    T value{};
    in(value);
}

TEST(Archive, ReadingPastTheEndThrowsAndLeavesThePosition) {
    struct PastEndCase {
        const char* name;
        Bytes bytes;
        std::size_t skip;  // bytes read successfully before the failing read
        std::function<void(InputArchive&)> read;
        std::size_t positionAfter;
    };
    const PastEndCase cases[] = {
        // clang-format off
        {"u32 with 3 bytes left", {1, 2, 3, 4, 5, 6, 7}, 4, ReadOne<std::uint32_t>, 4},
        {"double from empty", {}, 0, ReadOne<double>, 0},
        {"string body short", {5, 0, 0, 0, 'a', 'b'}, 0, ReadOne<std::string>, 4},
        {"forged huge wide string", {0xFF, 0xFF, 0xFF, 0xFF, 'a', 0}, 0, ReadOne<std::wstring>, 4},
        {"vector missing an element", {2, 0, 0, 0, 9, 0}, 0, ReadOne<std::vector<std::uint16_t>>, 6},
        {"forged huge vector", {0xFF, 0xFF, 0xFF, 0x7F}, 0, ReadOne<std::vector<std::uint64_t>>, 4},
        {"vector of strings missing an element", {2, 0, 0, 0, 0, 0, 0, 0}, 0, ReadOne<std::vector<std::string>>, 8},
        {"record cut short", {7, 0, 0, 0, 1, 0, 0, 0}, 0, ReadOne<Sample>, 8},
        // clang-format on
    };
    for (const PastEndCase& c : cases) {
        SCOPED_TRACE(c.name);
        InputArchive in(c.bytes.data(), c.bytes.size());
        Bytes skipped(c.skip);
        in.ReadBytes(skipped.data(), skipped.size());
        try {
            c.read(in);
            ADD_FAILURE() << "no exception";
        } catch (const std::out_of_range& error) {
            EXPECT_NE(dynamic_cast<const ArchiveOutOfRange*>(&error), nullptr);
            EXPECT_STREQ(error.what(),
                         "Input vector was not large enough to contain the requested item");
        }
        EXPECT_EQ(in.Position(), c.positionAfter);
    }
}

}  // namespace
}  // namespace Quorvel::Lumo::Api
