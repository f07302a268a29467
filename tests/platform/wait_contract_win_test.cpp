#include "platform/service.h"
#include "platform/windows_api.h"
#include "tests/platform/wait_contract.h"

namespace Orvane::Platform {
namespace {

struct Win32WaitEnvironment {
    ~Win32WaitEnvironment() {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        }
    }

    Events& events() { return Get<Events>(); }
    MessageWait& wait() { return Get<MessageWait>(); }
    ConsoleControl& console() { return Get<ConsoleControl>(); }
    void PostInput() { PostThreadMessageW(GetCurrentThreadId(), WM_USER, 0, 0); }
    void LookAtInputWithoutRemoving() {
        MSG message;
        PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Win32, WaitContract, Win32WaitEnvironment);

}  // namespace
}  // namespace Orvane::Platform
