// How every command of the clients reaches the service: one synchronous send through the
// core, whose result is the command's result. A command carries either nothing (perhaps
// one small value in the chunk), a fixed record sent as it lies, or fields encoded with
// the payload archive.
#pragma once

#include "lumo/api/archive.h"
#include "service_api/core/icore.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Quorvel::Lumo::Api {

// No payload; `chunkValue` travels in the chunk's argument1.
XeLUMOResult SendWithoutPayload(ICore& core, std::uint32_t messageId, std::uint32_t chunkValue = 0);

// 5 without sending for a record above kLargestPayload.
XeLUMOResult SendRecord(ICore& core, std::uint32_t messageId, std::span<const std::uint8_t> record);

// The fields in order, encoded into a buffer that lives for this send only. 21 without
// sending when a container holds more elements than a count can say.
template <class... Fields>
XeLUMOResult SendSerialized(ICore& core, std::uint32_t messageId, const Fields&... fields) {
    OutputArchive archive;
    archive(fields...);
    if (archive.TooLarge()) {
        return LUMO_TOO_MANY_ELEMENTS;
    }
    const std::vector<std::uint8_t> payload = archive.Finish();
    return SendRecord(core, messageId, payload);
}

// Writes little-endian fields into a record that starts all zero.
class RecordWriter {
  public:
    explicit RecordWriter(std::span<std::uint8_t> record) : m_record(record) {}

    RecordWriter& U16(std::size_t offset, std::uint16_t value) {
        return Unsigned(offset, value, 2);
    }
    RecordWriter& U32(std::size_t offset, std::uint32_t value) {
        return Unsigned(offset, value, 4);
    }
    RecordWriter& U64(std::size_t offset, std::uint64_t value) {
        return Unsigned(offset, value, 8);
    }
    RecordWriter& Bytes(std::size_t offset, const void* data, std::size_t size);

  private:
    RecordWriter& Unsigned(std::size_t offset, std::uint64_t value, std::size_t width);

    std::span<std::uint8_t> m_record;
};

}  // namespace Quorvel::Lumo::Api
