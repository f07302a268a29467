// Every contract against the fakes, and the portable text conversion.
#include "platform/testing/fake_events.h"
#include "platform/testing/fake_ipc_library.h"
#include "platform/testing/fake_message_wait.h"
#include "platform/testing/fake_message_window.h"
#include "platform/testing/fake_registry.h"
#include "tests/platform/ipc_contract.h"
#include "tests/platform/message_window_contract.h"
#include "tests/platform/registry_contract.h"
#include "tests/platform/text_conversion_contract.h"
#include "tests/platform/wait_contract.h"

namespace Orvane::Platform {
namespace {

struct FakeWindows {
    FakeMessageWindow fake;
    ScopedOverride<MessageWindowService> installed{fake};
    void Pump() { fake.TickTimers(); }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Fake, MessageWindowContract, ::testing::Types<FakeWindows>);

struct FakeIpc {
    Testing::FakeKernelObjects objects;
    Testing::FakeIpcLibrary fakeIpc{objects};
    Testing::FakeMessageWait fakeWait{objects};
    IpcLibrary& ipc() { return fakeIpc; }
    MessageWait& wait() { return fakeWait; }
    std::string Name(const char* base) { return base; }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Fake, IpcContract, FakeIpc);

struct FakeWaits {
    Testing::FakeKernelObjects objects;
    Testing::FakeEvents fakeEvents{objects};
    Testing::FakeMessageWait fakeWait{objects};
    Events& events() { return fakeEvents; }
    MessageWait& wait() { return fakeWait; }
    void PostInput() { fakeWait.PostInput(); }
    void LookAtInputWithoutRemoving() {}
};
INSTANTIATE_TYPED_TEST_SUITE_P(Fake, WaitContract, FakeWaits);

struct FakeRegistryValues {
    Testing::FakeRegistry fake;
    Registry& registry() { return fake; }
    void SetDword(const std::wstring& key, const wchar_t* name, std::uint32_t value) {
        fake.SetMachineDword(key, name, value);
    }
    void SetText(const std::wstring& key, const wchar_t* name) { fake.SetMachineText(key, name); }
    const wchar_t* SubKey() { return L"Software\\Orvane\\Test"; }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Fake, RegistryContract, FakeRegistryValues);

INSTANTIATE_TYPED_TEST_SUITE_P(Portable, TextConversionContract, DefaultTextConversion);

}  // namespace
}  // namespace Orvane::Platform
