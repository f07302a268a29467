#include "tools/lumo-sim/service_messages.h"

#include <algorithm>
#include <utility>

#include "lumo/api/chunk.h"

namespace LumoSim {
namespace {

namespace MessageCode = Quorvel::Lumo::Api::MessageCode;

void Store(std::vector<std::uint8_t>& record, std::size_t offset, std::uint32_t value,
           std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        record[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

void StoreName(std::vector<std::uint8_t>& record, const std::u16string& units,
               std::size_t unitCount) {
    for (std::size_t i = 0; i < unitCount; ++i) {
        Store(record, kInstrumentNameOffset + 2 * i, units[i % units.size()], 2);
    }
}

}  // namespace

std::vector<std::uint8_t> BuildInstrumentRecord(const SimInstrument& instrument) {
    std::vector<std::uint8_t> record(kInstrumentRecordSize, 0);
    Store(record, 0, instrument.version1Minor, 1);
    Store(record, 1, instrument.version2Major, 1);
    Store(record, 2, instrument.version2Minor, 1);
    Store(record, kInstrumentTypeOffset, static_cast<std::uint32_t>(instrument.type), 4);
    Store(record, kVersion1MajorOffset, instrument.version1Major, 4);
    Store(record, kSubTypeOffset, instrument.subType, 1);
    if (instrument.nameFillsRecord && !instrument.name.empty()) {
        StoreName(record, instrument.name, (kInstrumentRecordSize - kInstrumentNameOffset) / 2);
    } else {
        // The zero after the name is already there.
        StoreName(record, instrument.name, std::min(instrument.name.size(), kMaxNameUnits));
    }
    record.resize(instrument.recordSize, 0);
    return record;
}

ServiceMessage InstrumentDataMessage(const SimInstrument& instrument) {
    return {MessageCode::kInstrumentData, 0, 0, BuildInstrumentRecord(instrument)};
}

ServiceMessage MeasurementMessage(std::uint32_t status) {
    ServiceMessage message{MessageCode::kMeasurement, 0, 0,
                           std::vector<std::uint8_t>(kMeasurementRecordSize, 0)};
    Store(message.payload, 0, status, 4);
    return message;
}

ServiceMessage ReplyMessage(std::uint32_t answeredCode, std::uint32_t result,
                            std::vector<std::uint8_t> payload) {
    return {MessageCode::kReply, answeredCode, result, std::move(payload)};
}

ServiceMessage ShutdownMessage() {
    return {MessageCode::kServiceShutdown, 0, 0, {}};
}

std::vector<std::uint8_t> Framed(const ServiceMessage& message) {
    if (message.unframed) {
        return message.payload;
    }
    constexpr std::size_t kChunkSize = 32;
    std::vector<std::uint8_t> block(kChunkSize + message.payload.size(), 0);
    Store(block, 0, message.messageId, 4);
    Store(block, 4, message.argument1, 4);
    Store(block, 8, message.argument2, 4);
    Store(block, 12, static_cast<std::uint32_t>(message.payload.size()), 4);
    std::copy(message.payload.begin(), message.payload.end(), block.begin() + kChunkSize);
    return block;
}

}  // namespace LumoSim
