#include "platform/ipc_library.h"

#include "kxipc/KxIpcDll.h"
#include "platform/service.h"

namespace Orvane::Platform {
namespace {

// Linked by the DLL's name, so the maker's KxIpcDll.dll, where present, serves it.
class KxIpcDllLibrary final : public IpcLibrary {
  public:
    std::uint32_t Initialize() override { return kxipcInitialize(); }
    std::uint32_t CreateChannel(const char* name, std::uint32_t* channel) override {
        return kxipcCreateChannel(name, channel);
    }
    std::uint32_t OpenChannel(const char* name, std::uint32_t* channel) override {
        return kxipcOpenChannel(name, channel);
    }
    std::uint32_t GetDataReadyEvent(std::uint32_t channel, KernelHandle* event) override {
        return kxipcGetDataReadyEvent(channel, event);
    }
    std::uint32_t ReadChannel(void* buffer, std::uint32_t channel, std::uint32_t size,
                              std::uint32_t* bytesRead, std::uint32_t flags) override {
        return kxipcReadChannel(buffer, channel, size, bytesRead, flags);
    }
    std::uint32_t WriteChannelWithDataBuffer(std::uint32_t target, const char* senderName,
                                             const char* targetName, const void* data,
                                             std::uint32_t length, std::uint32_t code) override {
        return kxipcWriteChannelWithDataBuffer(target, senderName, targetName, data, length, code);
    }
    std::uint32_t CloseChannel(std::uint32_t channel) override {
        return kxipcCloseChannel(channel);
    }
};

}  // namespace

template <>
IpcLibrary& DefaultService<IpcLibrary>() {
    static KxIpcDllLibrary service;
    return service;
}

}  // namespace Orvane::Platform
