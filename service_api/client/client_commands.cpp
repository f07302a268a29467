// The Client's commands: each builds its request and hands it to the core once.
#include "lumo/api/client.h"
#include "service_api/client/access_request.h"
#include "service_api/client/command_sender.h"
#include "service_api/core/core.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <memory>
#include <span>

namespace Quorvel::Lumo::Api {
namespace {

constexpr std::size_t kRecord2002Size = 84;
constexpr std::size_t kRecord2004Size = 280;
constexpr std::size_t kRecord2007Size = 520;
constexpr std::size_t kRecord2007TextUnits = 256;
constexpr std::size_t kRecord2011Size = 72;
constexpr std::size_t kRecord2016HeaderSize = 48;
constexpr std::size_t kRecord2022Size = 260;

// Value of the chunk for each form of 2220.
constexpr std::uint32_t k2220FirstForm = 0;
constexpr std::uint32_t k2220SecondForm = 1;

std::uint32_t Bits(std::int32_t value) {
    return static_cast<std::uint32_t>(value);
}

}  // namespace

XeLUMOResult Client::SendRequest2002(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                     std::uint32_t d) {
    std::array<std::uint8_t, kRecord2002Size> record{};
    RecordWriter(record).U32(8, a).U32(12, b).U32(16, c).U32(20, d);
    return SendRecord(*m_core, 2002, record);
}

XeLUMOResult Client::SendRequest2002(std::uint32_t a, std::uint32_t b) {
    std::array<std::uint8_t, kRecord2002Size> record{};
    RecordWriter(record).U32(0, a).U32(4, 1).U32(20, b);
    return SendRecord(*m_core, 2002, record);
}

XeLUMOResult Client::SendRequest2004(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                     std::uint32_t d, std::uint32_t e) {
    std::array<std::uint8_t, kRecord2004Size> record{};
    RecordWriter(record).U32(0, a).U32(4, b).U32(8, c).U32(12, d).U32(16, e);
    return SendRecord(*m_core, 2004, record);
}

XeLUMOResult Client::SendRequest2005(std::int32_t value) {
    return SendWithoutPayload(*m_core, 2005, Bits(value));
}

XeLUMOResult Client::SendRequest2007(std::uint32_t value, const std::wstring& text) {
    std::array<std::uint8_t, kRecord2007Size> record{};
    RecordWriter writer(record);
    writer.U32(0, value);
    // The text ends at its first zero unit, and a longer one is cut: every byte after the
    // kept units stays zero, as after a short text.
    const std::u16string units = detail::ToUtf16(text);
    const std::size_t kept = std::min({units.size(), units.find(u'\0'), kRecord2007TextUnits});
    for (std::size_t i = 0; i < kept; ++i) {
        writer.U16(4 + 2 * i, units[i]);
    }
    return SendRecord(*m_core, 2007, record);
}

XeLUMOResult Client::SendRequest2008() {
    return SendWithoutPayload(*m_core, 2008);
}

XeLUMOResult Client::SendRequest2009(std::int32_t value) {
    return SendWithoutPayload(*m_core, 2009, Bits(value));
}

XeLUMOResult Client::SendRequest2010() {
    return SendWithoutPayload(*m_core, 2010);
}

XeLUMOResult Client::SendRequest2011(std::uint64_t value) {
    std::array<std::uint8_t, kRecord2011Size> record{};
    RecordWriter(record).U64(0, value);
    return SendRecord(*m_core, 2011, record);
}

XeLUMOResult Client::SendRequest2012() {
    return SendWithoutPayload(*m_core, 2012);
}

XeLUMOResult Client::SendRequest2013() {
    return SendWithoutPayload(*m_core, 2013);
}

XeLUMOResult Client::SendRequest2014() {
    return SendWithoutPayload(*m_core, 2014);
}

XeLUMOResult Client::SendRequest2016(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                     const std::uint8_t* data, std::uint32_t size) {
    if (size > kLargestPayload - kRecord2016HeaderSize || (data == nullptr && size != 0)) {
        return LUMO_BAD_PARAMETER;
    }
    // The data may be large: the record lives on the heap for this one send, and only its
    // header is cleared before it is written, since the data covers the rest.
    const std::size_t recordSize = kRecord2016HeaderSize + size;
    const auto storage = std::make_unique_for_overwrite<std::uint8_t[]>(recordSize);
    const std::span<std::uint8_t> record(storage.get(), recordSize);
    std::fill_n(record.begin(), kRecord2016HeaderSize, std::uint8_t{0});
    RecordWriter(record).U32(0, a).U32(4, b).U32(8, c).Bytes(kRecord2016HeaderSize, data, size);
    return SendRecord(*m_core, 2016, record);
}

XeLUMOResult Client::SendRequest2019(std::int32_t value) {
    return SendWithoutPayload(*m_core, 2019, Bits(value));
}

XeLUMOResult Client::SendRequest2020() {
    return SendWithoutPayload(*m_core, 2020);
}

XeLUMOResult Client::SendRequest2021() {
    return SendWithoutPayload(*m_core, 2021);
}

XeLUMOResult Client::SendRequest2022(std::uint32_t value) {
    std::array<std::uint8_t, kRecord2022Size> record{};
    RecordWriter(record).U32(0, value);
    return SendRecord(*m_core, 2022, record);
}

XeLUMOResult Client::SendRequest2023() {
    return SendWithoutPayload(*m_core, 2023);
}

XeLUMOResult Client::SendRequest2024() {
    return SendWithoutPayload(*m_core, 2024);
}

XeLUMOResult Client::SendRequest2030() {
    return SendWithoutPayload(*m_core, 2030);
}

XeLUMOResult Client::SendRequest2031() {
    return SendWithoutPayload(*m_core, 2031);
}

XeLUMOResult Client::SendRequest2080() {
    return SendWithoutPayload(*m_core, 2080);
}

XeLUMOResult Client::SendRequest2081() {
    return SendWithoutPayload(*m_core, 2081);
}

XeLUMOResult Client::SendRequest2082() {
    return SendWithoutPayload(*m_core, 2082);
}

XeLUMOResult Client::SendRequest2083() {
    return SendWithoutPayload(*m_core, 2083);
}

XeLUMOResult Client::SendRequest2100(const std::uint8_t (&bytes)[2]) {
    return SendRecord(*m_core, 2100, bytes);
}

XeLUMOResult Client::SendRequest2200() {
    return SendWithoutPayload(*m_core, 2200);
}

XeLUMOResult Client::SendRequest2201() {
    return SendWithoutPayload(*m_core, 2201);
}

XeLUMOResult Client::SendRequest2203(const sLUMORequest2203& request) {
    return SendSerialized(*m_core, 2203, request);
}

XeLUMOResult Client::SendRequest2204(const sLUMORequest2204& request) {
    return SendSerialized(*m_core, 2204, request);
}

XeLUMOResult Client::SendRequest2205(const sLUMORequest2205& request) {
    return SendSerialized(*m_core, 2205, request);
}

XeLUMOResult Client::SendRequest2206() {
    return SendWithoutPayload(*m_core, 2206);
}

XeLUMOResult Client::SendRequest2207(const sLUMORequest2207& request) {
    return SendSerialized(*m_core, 2207, request);
}

XeLUMOResult Client::SendRequest2211() {
    return SendWithoutPayload(*m_core, 2211);
}

XeLUMOResult Client::SendRequest2212(const sLUMORequest2212& request) {
    return SendSerialized(*m_core, 2212, request);
}

XeLUMOResult Client::SendRequest2214(std::uint32_t value, double number) {
    return SendSerialized(*m_core, 2214, false, value, number);
}

XeLUMOResult Client::SendRequest2216() {
    return SendWithoutPayload(*m_core, 2216);
}

XeLUMOResult Client::SendRequest2217() {
    return SendWithoutPayload(*m_core, 2217);
}

XeLUMOResult Client::SendRequest2220() {
    return SendWithoutPayload(*m_core, 2220, k2220FirstForm);
}

XeLUMOResult Client::SendRequest2220SecondForm() {
    return SendWithoutPayload(*m_core, 2220, k2220SecondForm);
}

XeLUMOResult Client::SendRequest2221() {
    return SendWithoutPayload(*m_core, 2221);
}

XeLUMOResult Client::SendRequest2222() {
    return SendWithoutPayload(*m_core, 2222);
}

XeLUMOResult Client::SendRequest2223() {
    return SendWithoutPayload(*m_core, 2223);
}

XeLUMOResult Client::SendRequest2224() {
    return SendWithoutPayload(*m_core, 2224);
}

XeLUMOResult Client::SendRequest2233() {
    return SendWithoutPayload(*m_core, 2233);
}

XeLUMOResult Client::SendRequest1021() {
    return SendWithoutPayload(*m_core, 1021);
}

XeLUMOResult Client::SendRequest1022(std::string_view text) {
    return SendRecord(*m_core, 1022, BuildAccessRecord(std::time(nullptr), text));
}

}  // namespace Quorvel::Lumo::Api
