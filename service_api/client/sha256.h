// SHA-256 of a byte string, for the access request's digest. The library carries its own
// so that it needs nothing beyond the standard library.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Quorvel::Lumo::Api {

using Sha256Digest = std::array<std::uint8_t, 32>;

Sha256Digest Sha256(const void* data, std::size_t size);

// The digest as 64 lowercase hexadecimal digits, two a byte in digest order.
std::string Sha256Hex(std::string_view text);

}  // namespace Quorvel::Lumo::Api
