// Reading machine-wide settings from the registry. Keys are opened for reading only and
// never created.
#pragma once

#include <cstdint>
#include <optional>

namespace Orvane::Platform {

struct Registry {
    virtual ~Registry() = default;

    // The REG_DWORD value `valueName` under HKEY_LOCAL_MACHINE\`subKey` (the process's own
    // registry view). Empty when the key or the value is missing, the value has another type,
    // or the registry cannot be read.
    virtual std::optional<std::uint32_t> ReadMachineDword(const wchar_t* subKey,
                                                          const wchar_t* valueName) = 0;
};

}  // namespace Orvane::Platform
