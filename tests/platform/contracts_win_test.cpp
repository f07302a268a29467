// Every contract against the Win32 backends.
#include <string>

#include "platform/service.h"
#include "platform/windows_api.h"
#include "tests/platform/ipc_contract.h"
#include "tests/platform/message_window_contract.h"
#include "tests/platform/registry_contract.h"
#include "tests/platform/text_conversion_contract.h"
#include "tests/platform/wait_contract.h"

namespace Orvane::Platform {
namespace {

// Waits briefly for input, then dispatches everything that is there, as the helper's loop
// does.
struct Win32Windows {
    void Pump() {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 20, QS_ALLINPUT);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Win32, MessageWindowContract, ::testing::Types<Win32Windows>);

struct Win32Ipc {
    IpcLibrary& ipc() { return Get<IpcLibrary>(); }
    MessageWait& wait() { return Get<MessageWait>(); }
    std::string Name(const char* base) {
        return "IpcContract." + std::to_string(GetCurrentProcessId()) + "." + base;
    }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Win32, IpcContract, Win32Ipc);

struct Win32Waits {
    ~Win32Waits() {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        }
    }
    Events& events() { return Get<Events>(); }
    MessageWait& wait() { return Get<MessageWait>(); }
    void PostInput() { PostThreadMessageW(GetCurrentThreadId(), WM_USER, 0, 0); }
    void LookAtInputWithoutRemoving() {
        MSG message;
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
    }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Win32, WaitContract, Win32Waits);

// Values in a machine key of its own, removed with everything under it at the end.
struct Win32Registry {
    ~Win32Registry() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, SubKey()); }
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
INSTANTIATE_TYPED_TEST_SUITE_P(Win32, RegistryContract, Win32Registry);

INSTANTIATE_TYPED_TEST_SUITE_P(Win32, TextConversionContract, DefaultTextConversion);

}  // namespace
}  // namespace Orvane::Platform
