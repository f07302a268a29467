#include "platform/ipc_library.h"

#include "platform/service.h"

namespace Orvane::Platform {
namespace {

// The channel library exists only for Windows: every call fails with one code, and no
// channel or event is ever handed out.
constexpr std::uint32_t kIpcUnavailable = 0xFFFFFFFF;

class UnavailableIpcLibrary final : public IpcLibrary {
  public:
    std::uint32_t Initialize() override { return kIpcUnavailable; }
    std::uint32_t CreateChannel(const char*, std::uint32_t*) override { return kIpcUnavailable; }
    std::uint32_t OpenChannel(const char*, std::uint32_t*) override { return kIpcUnavailable; }
    std::uint32_t GetDataReadyEvent(std::uint32_t, KernelHandle*) override {
        return kIpcUnavailable;
    }
    std::uint32_t ReadChannel(void*, std::uint32_t, std::uint32_t, std::uint32_t*,
                              std::uint32_t) override {
        return kIpcUnavailable;
    }
    std::uint32_t WriteChannelWithDataBuffer(std::uint32_t, const char*, const char*, const void*,
                                             std::uint32_t, std::uint32_t) override {
        return kIpcUnavailable;
    }
    std::uint32_t CloseChannel(std::uint32_t) override { return kIpcUnavailable; }
};

}  // namespace

template <>
IpcLibrary& DefaultService<IpcLibrary>() {
    static UnavailableIpcLibrary service;
    return service;
}

}  // namespace Orvane::Platform
