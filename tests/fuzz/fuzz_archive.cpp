// The payload archive reading hostile bytes: each input byte picks what is read next, the
// rest is read from. A count must never drive an allocation beyond the bytes left, and a
// read past the end must throw, never read outside the input.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "service_api/core/archive.h"

using Quorvel::Lumo::Api::ArchiveOutOfRange;
using Quorvel::Lumo::Api::InputArchive;

namespace {

template <class T>
void ReadOne(InputArchive& in) {
    T value{};
    in(value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::size_t choices = size < 8 ? size : 8;
    InputArchive in(data + choices, size - choices);
    try {
        for (std::size_t i = 0; i < choices; ++i) {
            switch (data[i] % 12) {
                case 0:
                    ReadOne<std::uint8_t>(in);
                    break;
                case 1:
                    ReadOne<std::uint16_t>(in);
                    break;
                case 2:
                    ReadOne<std::uint32_t>(in);
                    break;
                case 3:
                    ReadOne<std::int64_t>(in);
                    break;
                case 4:
                    ReadOne<double>(in);
                    break;
                case 5:
                    ReadOne<bool>(in);
                    break;
                case 6:
                    ReadOne<std::string>(in);
                    break;
                case 7:
                    ReadOne<std::u16string>(in);
                    break;
                case 8:
                    ReadOne<std::wstring>(in);
                    break;
                case 9:
                    ReadOne<std::vector<std::uint32_t>>(in);
                    break;
                case 10:
                    ReadOne<std::vector<std::wstring>>(in);
                    break;
                default:
                    ReadOne<std::unordered_map<std::wstring, std::wstring>>(in);
                    break;
            }
        }
    } catch (const ArchiveOutOfRange&) {
    }
    return 0;
}
