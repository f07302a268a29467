// How the client turns a service message into the arguments of its callbacks.
#pragma once

#include "lumo/api/chunk.h"
#include "lumo/api/result_codes.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace Quorvel::Lumo::Api {

// The largest of the service's fixed records in this API version (the others are in the
// client's message table).
inline constexpr std::size_t kInstrumentDataRecordSize = 700;

// The service's verdict on a command the application sent: the chunk's argument2.
XeLUMOResult ResultOf(const sLUMOChunk& header);

// A yes/no that travels in the chunk's argument1.
bool FlagOf(const sLUMOChunk& header);

// A payload seen as a record of a fixed size. A payload at least that long is used where
// it lies (bytes beyond the record are ignored); a shorter one, from an older service, is
// copied into a zero-filled record of its own, so that its missing tail reads as zero.
class FixedRecord {
  public:
    static constexpr std::size_t kLargest = kInstrumentDataRecordSize;

    FixedRecord(std::size_t recordSize, const std::uint8_t* payload, std::uint64_t payloadSize);
    FixedRecord(const FixedRecord&) = delete;
    FixedRecord& operator=(const FixedRecord&) = delete;

    // The record, or null when the payload could not be brought to its size (a size
    // without bytes behind it, or a record larger than kLargest).
    const std::uint8_t* Data() const { return m_data; }

  private:
    std::array<std::uint8_t, kLargest> m_padded;
    const std::uint8_t* m_data = nullptr;
};

// A data reply: a 48-byte header, then the data.
struct DataReply {
    static constexpr std::size_t kHeaderSize = 48;

    XeLUMOResult result;
    std::array<std::uint8_t, kHeaderSize> header;  // zero unless the reply succeeded
    const std::uint8_t* data;                      // null when there is none
    std::uint32_t dataSize;
};

// A successful reply shorter than its header counts as the service's internal error (7).
DataReply DecodeDataReply(const sLUMOChunk& header, const std::uint8_t* payload,
                          std::uint64_t payloadSize);

// The status bit of a measurement that the instrument vouches for.
inline constexpr std::uint32_t kReliableMeasurementBit = 0x00200000;

enum class MeasurementKind { Reliable, Unreliable, NoStatusWord };

// By the status word that opens the measurement record.
MeasurementKind ClassifyMeasurement(const std::uint8_t* payload, std::uint64_t payloadSize);

}  // namespace Quorvel::Lumo::Api
