#include "tests/platform/ipc_contract.h"
#include "platform/testing/fake_ipc_library.h"
#include "platform/testing/fake_message_wait.h"

namespace Orvane::Platform {
namespace {

struct FakeIpcEnvironment {
    Testing::FakeKernelObjects objects;
    Testing::FakeIpcLibrary fakeIpc{objects};
    Testing::FakeMessageWait fakeWait{objects};

    IpcLibrary& ipc() { return fakeIpc; }
    MessageWait& wait() { return fakeWait; }
    std::string Name(const char* base) { return base; }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, IpcContract, FakeIpcEnvironment);

}  // namespace
}  // namespace Orvane::Platform
