#include "platform/message_wait.h"

#include "platform/service.h"

namespace Orvane::Platform {
namespace {

// The system's ERROR_CALL_NOT_IMPLEMENTED, so that callers see the code they know.
constexpr std::uint32_t kCallNotImplemented = 120;

class UnavailableMessageWait final : public MessageWait {
  public:
    std::uint32_t WaitForObjectsOrInput(std::uint32_t, const KernelHandle*,
                                        std::uint32_t) override {
        return kWaitFailed;
    }
    bool DispatchOneMessage() override { return false; }
    std::uint32_t PollObjects(std::uint32_t, const KernelHandle*) override { return kWaitFailed; }
    std::uint32_t LastError() override { return kCallNotImplemented; }
};

}  // namespace

template <>
MessageWait& DefaultService<MessageWait>() {
    static UnavailableMessageWait service;
    return service;
}

}  // namespace Orvane::Platform
