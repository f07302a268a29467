#include "service_api/client/payload_decoders.h"

#include <algorithm>
#include <cstring>

namespace Quorvel::Lumo::Api {

XeLUMOResult ResultOf(const sLUMOChunk& header) {
    return static_cast<XeLUMOResult>(header.argument2);
}

bool FlagOf(const sLUMOChunk& header) {
    return header.argument1 != 0;
}

FixedRecord::FixedRecord(std::size_t recordSize, const std::uint8_t* payload,
                         std::uint64_t payloadSize) {
    if (payloadSize >= recordSize && payload != nullptr) {
        m_data = payload;
        return;
    }
    if (recordSize > kLargest || (payload == nullptr && payloadSize != 0)) {
        return;
    }
    std::fill_n(m_padded.begin(), recordSize, std::uint8_t{0});
    if (payloadSize != 0) {
        std::memcpy(m_padded.data(), payload, payloadSize);
    }
    m_data = m_padded.data();
}

DataReply DecodeDataReply(const sLUMOChunk& header, const std::uint8_t* payload,
                          std::uint64_t payloadSize) {
    DataReply reply{ResultOf(header), {}, nullptr, 0};
    if (reply.result != LUMO_SUCCESS) {
        return reply;
    }
    if (payloadSize < DataReply::kHeaderSize) {
        reply.result = LUMO_SERVICE_INTERNAL_ERROR;
        return reply;
    }
    std::memcpy(reply.header.data(), payload, DataReply::kHeaderSize);
    reply.dataSize = static_cast<std::uint32_t>(payloadSize - DataReply::kHeaderSize);
    reply.data = reply.dataSize != 0 ? payload + DataReply::kHeaderSize : nullptr;
    return reply;
}

MeasurementKind ClassifyMeasurement(const std::uint8_t* payload, std::uint64_t payloadSize) {
    std::uint32_t status;
    if (payloadSize < sizeof(status)) {
        return MeasurementKind::NoStatusWord;
    }
    std::memcpy(&status, payload, sizeof(status));
    return (status & kReliableMeasurementBit) != 0 ? MeasurementKind::Reliable
                                                   : MeasurementKind::Unreliable;
}

}  // namespace Quorvel::Lumo::Api
