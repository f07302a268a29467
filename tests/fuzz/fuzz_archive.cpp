// The payload archive reading hostile bytes: each input byte picks what is read next, the
// rest is read from. A count must never drive an allocation beyond the bytes left, and a
// read past the end must throw, never read outside the input.
#include <cstddef>
#include <cstdint>
#include <iterator>
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
    using Reader = void (*)(InputArchive&);
    static constexpr Reader kReaders[] = {
        ReadOne<std::uint8_t>,
        ReadOne<std::uint16_t>,
        ReadOne<std::uint32_t>,
        ReadOne<std::int64_t>,
        ReadOne<double>,
        ReadOne<bool>,
        ReadOne<std::string>,
        ReadOne<std::u16string>,
        ReadOne<std::wstring>,
        ReadOne<std::vector<std::uint32_t>>,
        ReadOne<std::vector<std::wstring>>,
        ReadOne<std::unordered_map<std::wstring, std::wstring>>,
    };
    const std::size_t choices = size < 8 ? size : 8;
    InputArchive in(data + choices, size - choices);
    try {
        for (std::size_t i = 0; i < choices; ++i) {
            kReaders[data[i] % std::size(kReaders)](in);
        }
    } catch (const ArchiveOutOfRange&) {
    }
    return 0;
}
