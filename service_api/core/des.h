// One-block DES (FIPS 46) in ECB mode, the enciphering direction: the client only makes
// tokens; the service deciphers them. Blocks and keys are 8 bytes loaded big-endian, as the
// standard numbers its bits; the key's parity bits (the low bit of each byte) are ignored.
#pragma once

#include <array>
#include <cstdint>

namespace Quorvel::Lumo::Api {

using DesBlock = std::array<std::uint8_t, 8>;
using DesKey = std::array<std::uint8_t, 8>;

class DesKeySchedule {
  public:
    explicit DesKeySchedule(const DesKey& key);

    DesBlock Encipher(const DesBlock& plain) const;

  private:
    std::array<std::uint64_t, 16> subkeys_;  // 48 bits each, in round order
};

}  // namespace Quorvel::Lumo::Api
