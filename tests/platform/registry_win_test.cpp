#include "platform/service.h"
#include "platform/windows_api.h"
#include "tests/platform/registry_contract.h"

namespace Orvane::Platform {
namespace {

// Values in a machine key of its own, removed with everything under it at the end.
struct Win32RegistryEnvironment {
    ~Win32RegistryEnvironment() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, SubKey()); }

    Registry& registry() { return Get<Registry>(); }
    void SetDword(const std::wstring& key, const wchar_t* name, DWORD value) {
        Set(key, name, REG_DWORD, &value, sizeof value);
    }
    void SetText(const std::wstring& key, const wchar_t* name) {
        const wchar_t text[] = L"1";
        Set(key, name, REG_SZ, text, sizeof text);
    }
    const wchar_t* SubKey() { return L"Software\\Orvane\\LumoRegistryContractTest"; }

    void Set(const std::wstring& key, const wchar_t* name, DWORD type, const void* data,
             DWORD size) {
        HKEY handle = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_WRITE,
                                  nullptr, &handle, nullptr),
                  ERROR_SUCCESS);
        EXPECT_EQ(RegSetValueExW(handle, name, 0, type, static_cast<const BYTE*>(data), size),
                  ERROR_SUCCESS);
        RegCloseKey(handle);
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Win32, RegistryContract, Win32RegistryEnvironment);

}  // namespace
}  // namespace Orvane::Platform
