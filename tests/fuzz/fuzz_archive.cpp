// The payload archive reading hostile bytes: each of the first eight input bytes picks
// what is read next, the rest is read from. A count must never drive an allocation beyond
// the bytes left, and a read past the end must throw, never read outside the input. Where
// the encoding has one form only, what was read is written again and must give back the
// very bytes it was read from.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "lumo/api/archive.h"

using namespace Quorvel::Lumo::Api;

namespace {

enum class Small : std::uint8_t {};
enum class Wide : std::uint32_t {};

struct Record {
    std::uint32_t id;
    std::wstring name;
    std::vector<std::int16_t> values;
    Wide kind;
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, name, values, kind);
    }
};

template <class T, bool kOneForm = true>
void ReadOne(InputArchive& in, const std::uint8_t* data) {
    const std::size_t start = in.Position();
    T value{};
    in(value);
    if constexpr (kOneForm) {
        OutputArchive out;
        out(value);
        const std::vector<std::uint8_t> written = out.Finish();
        if (written.size() != in.Position() - start ||
            std::memcmp(written.data(), data + start, written.size()) != 0) {
            std::abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Reader = void (*)(InputArchive&, const std::uint8_t*);
    static constexpr Reader kReaders[] = {
        ReadOne<std::uint8_t>,
        ReadOne<std::uint16_t>,
        ReadOne<std::uint32_t>,
        ReadOne<std::int64_t>,
        ReadOne<double>,
        ReadOne<bool, false>,  // any byte but 0 reads as true
        ReadOne<Small>,
        ReadOne<Wide>,
        ReadOne<std::string>,
        ReadOne<std::u16string>,
        ReadOne<std::wstring>,
        ReadOne<std::vector<std::uint32_t>>,
        ReadOne<std::vector<bool>, false>,
        ReadOne<std::vector<std::string>>,
        ReadOne<std::vector<std::wstring>>,
        ReadOne<std::vector<std::vector<std::uint16_t>>>,
        ReadOne<Record>,
        ReadOne<std::vector<Record>>,
        // A map keeps the last of equal keys, an unordered one its own order.
        ReadOne<std::map<std::uint32_t, std::string>, false>,
        ReadOne<std::map<std::wstring, std::vector<double>>, false>,
        ReadOne<std::unordered_map<std::wstring, std::wstring>, false>,
    };
    const std::size_t choices = size < 8 ? size : 8;
    InputArchive in(data + choices, size - choices);
    try {
        for (std::size_t i = 0; i < choices; ++i) {
            kReaders[data[i] % std::size(kReaders)](in, data + choices);
        }
    } catch (const ArchiveOutOfRange&) {
    }
    return 0;
}
