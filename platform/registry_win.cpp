#include "platform/registry.h"

#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

class Win32Registry final : public Registry {
  public:
    std::optional<std::uint32_t> ReadMachineDword(const wchar_t* subKey,
                                                  const wchar_t* valueName) override {
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, subKey, 0, KEY_READ, &key) != ERROR_SUCCESS)
            return std::nullopt;
        DWORD type = 0;
        DWORD value = 0;
        DWORD size = sizeof value;
        const LSTATUS status = RegQueryValueExW(key, valueName, nullptr, &type,
                                                reinterpret_cast<BYTE*>(&value), &size);
        RegCloseKey(key);
        if (status != ERROR_SUCCESS || type != REG_DWORD || size != sizeof value)
            return std::nullopt;
        return value;
    }
};

}  // namespace

template <>
Registry& DefaultService<Registry>() {
    static Win32Registry service;
    return service;
}

}  // namespace Orvane::Platform
