#include "platform/message_wait.h"

#include "platform/kept_exception.h"
#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

class Win32MessageWait final : public MessageWait {
  public:
    std::uint32_t WaitForObjectsOrInput(std::uint32_t count, const KernelHandle* handles,
                                        std::uint32_t timeoutMs) override {
        // Without MWMO_INPUTAVAILABLE a message that an earlier PeekMessage looked at but left
        // in the queue would not wake the wait.
        const DWORD woken = MsgWaitForMultipleObjectsEx(count, handles, timeoutMs, QS_ALLINPUT,
                                                        MWMO_INPUTAVAILABLE);
        ThrowKeptException();
        return woken;
    }

    bool DispatchOneMessage() override {
        // Messages that other threads and processes sent are handled inside the look.
        MSG message;
        const bool found = PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE;
        if (found) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        ThrowKeptException();
        return found;
    }

    std::uint32_t PollObjects(std::uint32_t count, const KernelHandle* handles) override {
        return WaitForMultipleObjects(count, handles, FALSE, 0);
    }

    std::uint32_t LastError() override { return GetLastError(); }
};

}  // namespace

template <>
MessageWait& DefaultService<MessageWait>() {
    static Win32MessageWait service;
    return service;
}

}  // namespace Orvane::Platform
