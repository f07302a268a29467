/// @file
/// Records of the commands whose payload is encoded with the payload archive. The service
/// defines what the fields mean; the client sends them in this order (OutputArchive).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api {

/// The payload of request 2203 (Client::SendRequest2203): u32 id, u32 value.
struct sLUMORequest2203 {
    std::uint32_t id = 0;     ///< first field
    std::uint32_t value = 0;  ///< second field
    /// Hands the fields to `archive` in their order (see archive.h).
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, value);
    }
};

/// The payload of request 2204 (Client::SendRequest2204): u32 id, wide text.
struct sLUMORequest2204 {
    std::uint32_t id = 0;  ///< first field
    std::wstring text;     ///< second field
    /// Hands the fields to `archive` in their order (see archive.h).
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, text);
    }
};

/// The payload of request 2205 (Client::SendRequest2205): u32 id, list of u32.
struct sLUMORequest2205 {
    std::uint32_t id = 0;               ///< first field
    std::vector<std::uint32_t> values;  ///< second field
    /// Hands the fields to `archive` in their order (see archive.h).
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, values);
    }
};

/// The payload of request 2207 (Client::SendRequest2207): u32 id, s32 first, s32 second.
struct sLUMORequest2207 {
    std::uint32_t id = 0;     ///< first field
    std::int32_t first = 0;   ///< second field
    std::int32_t second = 0;  ///< third field
    /// Hands the fields to `archive` in their order (see archive.h).
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, first, second);
    }
};

/// The payload of request 2212 (Client::SendRequest2212): u32 id, narrow text.
struct sLUMORequest2212 {
    std::uint32_t id = 0;  ///< first field
    std::string text;      ///< second field
    /// Hands the fields to `archive` in their order (see archive.h).
    template <class Archive>
    void Serialize(Archive& archive) {
        archive(id, text);
    }
};

}  // namespace Quorvel::Lumo::Api
