#include "helper/instrument_identification.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "platform/service.h"
#include "platform/testing/fake_text_conversion.h"
#include "tests/identification/instrument_record.h"

namespace {

using Orvane::Platform::ScopedOverride;
using Orvane::Platform::TextConversion;
using Orvane::Platform::Testing::FakeTextConversion;

std::string Field(const char (&field)[64], std::size_t length = 64) {
    return std::string(field, length);
}

constexpr char kEarlierName = 'P';

// Earlier contents everywhere, so that a field left alone, or written beyond what was
// converted, shows.
DdsInstrumentInfo InfoWithEarlierContents() {
    DdsInstrumentInfo info;
    std::memset(&info, 0, sizeof info);
    std::strcpy(info.model, "Previous model");
    std::memset(info.name, kEarlierName, sizeof info.name);
    std::strcpy(info.version1, "previous version 1");
    std::strcpy(info.version2, "previous version 2");
    return info;
}

// The name field as expected after `written` bytes went into it.
std::string NameField(const std::string& written) {
    return written + std::string(64 - written.size(), kEarlierName);
}

TEST(IdentifyInstrument, ModelFollowsTypeAndSubType) {
    struct Case {
        std::int32_t type;
        std::uint8_t subType;
        const char* model;  // null: not supported
    };
    const Case cases[] = {
        {2, 0, "Zento"},     {3, 2, "Zento"},         {4, 255, "Zento"},       {9, 7, "Zento"},
        {10, 2, "Zento S"},  {11, 2, "Zento S"},      {12, 2, "Zento S"},      {10, 1, "Orlo"},
        {11, 0, "Orlo"},     {12, 3, "Orlo"},         {12, 255, "Orlo"},       {-1, 2, nullptr},
        {0, 0, nullptr},     {1, 2, nullptr},         {5, 0, nullptr},         {6, 0, nullptr},
        {7, 0, nullptr},     {8, 2, nullptr},         {13, 2, nullptr},        {0x10A, 2, nullptr},
        {0x203, 0, nullptr}, {INT32_MIN, 0, nullptr}, {INT32_MAX, 2, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "type " << c.type << " sub-type " << +c.subType);
        Record record;
        record.Type(c.type).SubType(c.subType);
        record[535] = 1;  // behind the sub-type, not part of it

        DdsInstrumentInfo info = InfoWithEarlierContents();
        const InstrumentVerdict verdict = IdentifyInstrument(record.data(), info);

        EXPECT_EQ(verdict.instrumentType, c.type);
        EXPECT_EQ(verdict.supported, c.model != nullptr);
        EXPECT_STREQ(info.model, c.model ? c.model : "Previous model");
        // The texts are written whether or not the arm is announced.
        EXPECT_STREQ(info.name, "ARM-1");
        EXPECT_STREQ(info.version1, "6.3");
        EXPECT_STREQ(info.version2, "1.0");
    }
}

// The units up to the first zero unit or the record's end (an empty name and "0" replaced
// first) reach the conversion, which writes into the name field: a terminator that does
// not fit spills into version1, a failed conversion leaves what it wrote unterminated.
// How characters of every width convert, and where they stop fitting, is the conversion's
// own contract.
TEST(IdentifyInstrument, NameUnitsAreConvertedAndTerminatedWhereTheyFit) {
    const std::string kept("6.3\0", 4);
    const std::string emptied("\0.3\0", 4);
    const std::string filled("1094", 4);  // the record's fill reached the version's field
    const std::string threeByteUnits = [] {
        std::string written;
        for (int i = 0; i < 21; ++i) {
            written += "\xE4\x85\x81";  // U+4141: 21 of them fit
        }
        return written;
    }();
    struct Case {
        const char* what;
        void (*prepare)(Record&);
        std::u16string units;  // what reaches the conversion
        std::string written;   // bytes written into the name field
        std::string version1;  // first four bytes of version1 afterwards
    };
    const Case cases[] = {
        // clang-format off
        {"empty name", [](Record& r) { r.Name(u""); }, u"Unknown", std::string("Unknown\0", 8), kept},
        {"simulator", [](Record& r) { r.Name(u"0"); }, u"Simulator", std::string("Simulator\0", 10), kept},
        {"zero before space", [](Record& r) { r.Name(u"0 "); }, u"0 ", std::string("0 \0", 3), kept},
        {"63 bytes", [](Record& r) { r.Name(std::u16string(63, u'n')); }, std::u16string(63, u'n'), std::string(63, 'n') + '\0', kept},
        {"64 bytes: terminated in version1", [](Record& r) { r.Name(std::u16string(64, u'n')); }, std::u16string(64, u'n'), std::string(64, 'n'), emptied},
        {"65 bytes: conversion fails, nothing terminated", [](Record& r) { r.Name(std::u16string(65, u'n')); }, std::u16string(65, u'n'), std::string(64, 'n'), kept},
        {"stops at the first zero unit", [](Record& r) { r.Name(std::u16string(u"AB\0CD", 5)); }, u"AB", std::string("AB\0", 3), kept},
        {"low byte first", [](Record& r) { r[20] = 0xAC, r[21] = 0x20, r[22] = 0x41, r[23] = 0, r[24] = 0, r[25] = 0; }, u"\u20ACA", std::string("\xE2\x82\xAC" "A\0", 5), kept},
        {"zero in one byte of a unit is not a terminator", [](Record& r) { r[20] = 0, r[21] = 0x41, r[22] = 0, r[23] = 0; }, u"\u4100", std::string("\xE4\x84\x80\0", 4), kept},
        {"terminator in the last unit", [](Record& r) { r.Fill(20, 698, 0x41).Fill(698, 700, 0); }, std::u16string(339, u'\x4141'), threeByteUnits, filled},
        {"no terminator at all", [](Record& r) { r.Fill(20, 700, 0x41); }, std::u16string(340, u'\x4141'), threeByteUnits, filled},
        // clang-format on
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Record record;
        c.prepare(record);

        FakeTextConversion conversion;
        ScopedOverride<TextConversion> install{conversion};
        DdsInstrumentInfo info = InfoWithEarlierContents();
        IdentifyInstrument(record.data(), info);

        ASSERT_EQ(conversion.Calls().size(), 1u);
        EXPECT_EQ(conversion.Calls()[0].source, c.units);
        EXPECT_EQ(conversion.Calls()[0].destinationSize, 64);
        EXPECT_EQ(Field(info.name), NameField(c.written));
        EXPECT_EQ(Field(info.version1, 4), c.version1);
        EXPECT_STREQ(info.version2, "1.0");
    }
}

TEST(IdentifyInstrument, VersionsArePrintedFromTheirFields) {
    struct Case {
        std::uint32_t version1Major;
        std::uint8_t version1Minor, version2Major, version2Minor;
        const char *version1, *version2;
    };
    const Case cases[] = {
        {0, 0, 0, 0, "0.0", "0.0"},
        {0x100, 255, 255, 128, "256.255", "255.128"},
        {0xFFFFFFFF, 1, 2, 3, "-1.1", "2.3"},
        {0x80000000, 0, 0, 0, "-2147483648.0", "0.0"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.version1);
        Record record;
        record.Version1(c.version1Major, c.version1Minor)
            .Version2(c.version2Major, c.version2Minor);

        DdsInstrumentInfo info = InfoWithEarlierContents();
        IdentifyInstrument(record.data(), info);

        EXPECT_STREQ(info.version1, c.version1);
        EXPECT_STREQ(info.version2, c.version2);
    }
}

}  // namespace
