#include "lumo/api/message_loop.h"

#include "platform/message_wait.h"
#include "platform/service.h"

namespace Quorvel::Lumo::Api {

bool PumpMessages(std::uint32_t timeoutMs) {
    using Orvane::Platform::MessageWait;
    MessageWait& wait = Orvane::Platform::Get<MessageWait>();
    wait.WaitForObjectsOrInput(0, nullptr, timeoutMs);
    bool dispatched = false;
    while (wait.DispatchOneMessage()) {
        dispatched = true;
    }
    return dispatched;
}

}  // namespace Quorvel::Lumo::Api
