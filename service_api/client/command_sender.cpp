#include "service_api/client/command_sender.h"

#include <cstring>

namespace Quorvel::Lumo::Api {

XeLUMOResult SendWithoutPayload(ICore& core, std::uint32_t messageId, std::uint32_t chunkValue) {
    return core.Send(messageId, nullptr, 0, chunkValue, 0);
}

XeLUMOResult SendRecord(ICore& core, std::uint32_t messageId,
                        std::span<const std::uint8_t> record) {
    if (record.size() > kLargestPayload) {
        return LUMO_BAD_PARAMETER;
    }
    return core.Send(messageId, record.data(), static_cast<std::uint32_t>(record.size()), 0, 0);
}

RecordWriter& RecordWriter::Unsigned(std::size_t offset, std::uint64_t value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i) {
        m_record[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
    return *this;
}

RecordWriter& RecordWriter::Bytes(std::size_t offset, const void* data, std::size_t size) {
    if (size != 0) {
        std::memcpy(m_record.subspan(offset, size).data(), data, size);
    }
    return *this;
}

}  // namespace Quorvel::Lumo::Api
