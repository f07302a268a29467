#include "helper/instrument_identification.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/service.h"
#include "platform/text_conversion.h"

namespace {

// Byte offsets in the instrument record; its numbers are little-endian.
constexpr std::size_t kVersion1MinorOffset = 0;
constexpr std::size_t kVersion2MajorOffset = 1;
constexpr std::size_t kVersion2MinorOffset = 2;
constexpr std::size_t kNameOffset = 20;
constexpr std::size_t kTypeOffset = 416;
constexpr std::size_t kVersion1MajorOffset = 524;
constexpr std::size_t kSubTypeOffset = 534;

// A name without a terminator runs on over the fields behind it up to the record's end.
constexpr std::size_t kMaxNameUnits = (kInstrumentRecordSize - kNameOffset) / 2;

std::uint32_t ReadUint32(const std::uint8_t* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

// The units up to the first zero unit; the record is bytes, and wchar_t is not 16 bits
// everywhere.
std::u16string ReadName(const std::uint8_t* record) {
    std::u16string name;
    for (std::size_t unit = 0; unit < kMaxNameUnits; ++unit) {
        const std::uint8_t* bytes = record + kNameOffset + 2 * unit;
        const auto value = static_cast<char16_t>(bytes[0] | bytes[1] << 8);
        if (value == 0) {
            break;
        }
        name.push_back(value);
    }
    return name;
}

// A service simulator identifies itself as "0".
std::u16string_view DisplayName(std::u16string_view name) {
    if (name.empty()) {
        return u"Unknown";
    }
    if (name == u"0") {
        return u"Simulator";
    }
    return name;
}

void FormatVersion(char (&text)[64], int major, int minor) {
    std::snprintf(text, sizeof text, "%d.%d", major, minor);
}

void ConvertName(std::u16string_view name, DdsInstrumentInfo& info) {
    const int length = Orvane::Platform::Get<Orvane::Platform::TextConversion>().Utf16ToUtf8(
        name, info.name, sizeof info.name);
    if (length > 0) {
        // A name of exactly 64 bytes is terminated in the field behind it, so the zero is
        // written through the bytes of the whole block, not through the name array.
        reinterpret_cast<unsigned char*>(&info)[offsetof(DdsInstrumentInfo, name) + length] = 0;
    }
}

// Null for a kind of arm that the helper does not announce.
const char* ModelName(std::int32_t type, std::uint8_t subType) {
    switch (type) {
        case 2:
        case 3:
        case 4:
        case 9:
            return "Zento";
        case 10:
        case 11:
        case 12:
            return subType == 2 ? "Zento S" : "Orlo";
        default:
            return nullptr;
    }
}

}  // namespace

InstrumentVerdict IdentifyInstrument(const std::uint8_t* record, DdsInstrumentInfo& info) {
    const std::u16string name = ReadName(record);

    // The versions are written before the name on purpose: the terminator of a 64-byte name
    // then empties version1 instead of being overwritten by it.
    FormatVersion(info.version1,
                  static_cast<std::int32_t>(ReadUint32(record + kVersion1MajorOffset)),
                  record[kVersion1MinorOffset]);
    FormatVersion(info.version2, record[kVersion2MajorOffset], record[kVersion2MinorOffset]);
    ConvertName(DisplayName(name), info);

    const auto type = static_cast<std::int32_t>(ReadUint32(record + kTypeOffset));
    const char* model = ModelName(type, record[kSubTypeOffset]);
    if (model != nullptr) {
        std::memcpy(info.model, model, std::strlen(model) + 1);
    }
    return {type, model != nullptr};
}
