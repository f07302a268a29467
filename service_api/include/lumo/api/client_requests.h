// Records of the commands whose payload is encoded with the payload archive. The service
// defines what the fields mean; the client sends them in this order.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api {

struct sLUMORequest2203 {
    std::uint32_t id = 0;
    std::uint32_t value = 0;
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, value);
    }
};

struct sLUMORequest2204 {
    std::uint32_t id = 0;
    std::wstring text;
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, text);
    }
};

struct sLUMORequest2205 {
    std::uint32_t id = 0;
    std::vector<std::uint32_t> values;
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, values);
    }
};

struct sLUMORequest2207 {
    std::uint32_t id = 0;
    std::int32_t first = 0;
    std::int32_t second = 0;
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, first, second);
    }
};

struct sLUMORequest2212 {
    std::uint32_t id = 0;
    std::string text;
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, text);
    }
};

}  // namespace Quorvel::Lumo::Api
