#include <string>

#include "platform/service.h"
#include "platform/windows_api.h"
#include "tests/platform/ipc_contract.h"

namespace Orvane::Platform {
namespace {

struct Win32IpcEnvironment {
    IpcLibrary& ipc() { return Get<IpcLibrary>(); }
    MessageWait& wait() { return Get<MessageWait>(); }
    std::string Name(const char* base) {
        return "IpcContract." + std::to_string(GetCurrentProcessId()) + "." + base;
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Win32, IpcContract, Win32IpcEnvironment);

}  // namespace
}  // namespace Orvane::Platform
