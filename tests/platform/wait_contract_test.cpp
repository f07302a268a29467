#include "tests/platform/wait_contract.h"
#include "platform/testing/fake_console_control.h"
#include "platform/testing/fake_events.h"
#include "platform/testing/fake_message_wait.h"

namespace Orvane::Platform {
namespace {

struct FakeWaitEnvironment {
    Testing::FakeKernelObjects objects;
    Testing::FakeEvents fakeEvents{objects};
    Testing::FakeMessageWait fakeWait{objects};
    Testing::FakeConsoleControl fakeConsole;

    Events& events() { return fakeEvents; }
    MessageWait& wait() { return fakeWait; }
    ConsoleControl& console() { return fakeConsole; }
    void PostInput() { fakeWait.PostInput(); }
    void LookAtInputWithoutRemoving() {}
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, WaitContract, FakeWaitEnvironment);

}  // namespace
}  // namespace Orvane::Platform
