#include "tools/lumo-sim/service_messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace LumoSim {
namespace {

using Bytes = std::vector<std::uint8_t>;
using ::testing::Each;
using ::testing::ElementsAreArray;

void Put(Bytes& record, std::size_t offset, Bytes bytes) {
    std::copy(bytes.begin(), bytes.end(), record.begin() + static_cast<std::ptrdiff_t>(offset));
}

TEST(InstrumentRecord, FieldsLieAtTheirOffsetsLittleEndian) {
    SimInstrument instrument;
    instrument.type = -3;
    instrument.subType = 2;
    instrument.name = u"A\u00E9";
    instrument.version1Major = 0x01020304;
    instrument.version1Minor = 5;
    instrument.version2Major = 6;
    instrument.version2Minor = 7;

    Bytes expected(700, 0);
    Put(expected, 0, {5, 6, 7});
    Put(expected, 20, {'A', 0, 0xE9, 0, 0, 0});
    Put(expected, 416, {0xFD, 0xFF, 0xFF, 0xFF});
    Put(expected, 524, {4, 3, 2, 1});
    Put(expected, 534, {2});
    EXPECT_THAT(BuildInstrumentRecord(instrument), ElementsAreArray(expected));
}

TEST(InstrumentRecord, FilledNameRunsToTheEndWithoutTerminator) {
    SimInstrument instrument;
    instrument.name = u"XY";
    instrument.nameFillsRecord = true;
    const Bytes record = BuildInstrumentRecord(instrument);
    ASSERT_EQ(record.size(), 700u);
    for (std::size_t offset = 20; offset < 700; offset += 2) {
        EXPECT_EQ(record[offset], offset % 4 == 0 ? 'X' : 'Y') << offset;
        EXPECT_EQ(record[offset + 1], 0) << offset;
    }
    // What lies before the name is still the version bytes.
    EXPECT_EQ(record[0], instrument.version1Minor);
}

TEST(InstrumentRecord, RecordSizeCutsOrPadsTheSentBytes) {
    SimInstrument instrument;
    instrument.recordSize = 10;
    const Bytes full = BuildInstrumentRecord(SimInstrument{});
    EXPECT_THAT(BuildInstrumentRecord(instrument),
                ElementsAreArray(full.begin(), full.begin() + 10));

    instrument.recordSize = 800;
    const Bytes padded = BuildInstrumentRecord(instrument);
    ASSERT_EQ(padded.size(), 800u);
    EXPECT_THAT(Bytes(padded.begin(), padded.begin() + 700), ElementsAreArray(full));
    EXPECT_THAT(Bytes(padded.begin() + 700, padded.end()), Each(0));
}

TEST(ServiceMessages, CodesAndArgumentsOfEachKind) {
    const ServiceMessage instrument = InstrumentDataMessage(SimInstrument{});
    EXPECT_EQ(instrument.messageId, 1000u);
    EXPECT_EQ(instrument.payload.size(), 700u);

    const ServiceMessage measurement = MeasurementMessage(0x00200000);
    EXPECT_EQ(measurement.messageId, 1002u);
    Bytes expected(64, 0);
    expected[2] = 0x20;
    EXPECT_THAT(measurement.payload, ElementsAreArray(expected));

    const ServiceMessage reply = ReplyMessage(2005, 17, {1, 2});
    EXPECT_EQ(reply.messageId, 1004u);
    EXPECT_EQ(reply.argument1, 2005u);
    EXPECT_EQ(reply.argument2, 17u);
    EXPECT_THAT(reply.payload, ElementsAreArray(Bytes{1, 2}));

    const ServiceMessage shutdown = ShutdownMessage();
    EXPECT_EQ(shutdown.messageId, 1005u);
    EXPECT_TRUE(shutdown.payload.empty());
}

}  // namespace
}  // namespace LumoSim
