#include "lumo/api/archive.h"

#include <cstring>
#include <utility>

namespace Quorvel::Lumo::Api {

ArchiveOutOfRange::ArchiveOutOfRange()
    : std::out_of_range("Input vector was not large enough to contain the requested item") {}

void OutputArchive::WriteBytes(const void* data, std::size_t size) {
    const std::size_t end = buffer_.size() + size;
    if (end > buffer_.capacity()) {
        buffer_.reserve((3 * end) / 2);
    }
    if (size != 0) {
        const auto* bytes = static_cast<const std::uint8_t*>(data);
        buffer_.insert(buffer_.end(), bytes, bytes + size);
    }
}

bool OutputArchive::WriteCount(std::size_t size) {
    if (size > UINT32_MAX) {
        tooLarge_ = true;
        return false;
    }
    Write(*this, static_cast<std::uint32_t>(size));
    return true;
}

std::vector<std::uint8_t> OutputArchive::Finish() {
    return std::exchange(buffer_, {});
}

InputArchive::InputArchive(const void* data, std::size_t size)
    : data_(static_cast<const std::uint8_t*>(data)), size_(data == nullptr ? 0 : size) {}

void InputArchive::Require(std::size_t size) const {
    if (size > size_ - position_) {
        throw ArchiveOutOfRange();
    }
}

void InputArchive::ReadBytes(void* out, std::size_t size) {
    Require(size);
    if (size != 0) {
        std::memcpy(out, data_ + position_, size);
    }
    position_ += size;
}

namespace {

// Strings are sized from their count only once the body is known to be there, so a forged
// count cannot ask for a huge allocation.
template <class Text>
void ReadCountedText(InputArchive& archive, Text& text) {
    std::uint32_t count = 0;
    Read(archive, count);
    archive.Require(std::size_t{count} * sizeof(typename Text::value_type));
    text.resize(count);
    for (auto& unit : text) {
        Read(archive, unit);
    }
}

template <class Text>
void WriteCountedText(OutputArchive& archive, const Text& text) {
    if (!archive.WriteCount(text.size())) {
        return;
    }
    for (const auto unit : text) {
        Write(archive, unit);
    }
}

}  // namespace

void Write(OutputArchive& archive, const std::string& text) {
    WriteCountedText(archive, text);
}
void Read(InputArchive& archive, std::string& text) {
    ReadCountedText(archive, text);
}
void Write(OutputArchive& archive, const std::u16string& text) {
    WriteCountedText(archive, text);
}
void Read(InputArchive& archive, std::u16string& text) {
    ReadCountedText(archive, text);
}

void Write(OutputArchive& archive, const std::wstring& text) {
    Write(archive, detail::ToUtf16(text));
}

void Read(InputArchive& archive, std::wstring& text) {
    std::u16string units;
    Read(archive, units);
    text = detail::FromUtf16(units);
}

namespace detail {

std::u16string ToUtf16(const std::wstring& text) {
    std::u16string units;
    units.reserve(text.size());
    for (wchar_t c : text) {
        const auto code = static_cast<std::uint32_t>(c);
        if (code > 0xFFFF && code <= 0x10FFFF) {
            const std::uint32_t offset = code - 0x10000;
            units.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
            units.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
        } else {
            units.push_back(static_cast<char16_t>(code));
        }
    }
    return units;
}

std::wstring FromUtf16(const std::u16string& units) {
    std::wstring text;
    text.reserve(units.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        const char16_t unit = units[i];
        const bool pairs = sizeof(wchar_t) > 2 && unit >= 0xD800 && unit <= 0xDBFF &&
                           i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF;
        if (pairs) {
            const std::uint32_t code =
                0x10000 + ((std::uint32_t{unit} - 0xD800) << 10) + (units[++i] - 0xDC00);
            text.push_back(static_cast<wchar_t>(code));
        } else {
            text.push_back(static_cast<wchar_t>(unit));
        }
    }
    return text;
}

}  // namespace detail
}  // namespace Quorvel::Lumo::Api
