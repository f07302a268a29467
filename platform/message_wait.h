// The one place where the helper's thread sleeps: waiting for kernel objects and for window
// messages of the thread at the same time, and handing a waiting message to its window.
#pragma once

#include <cstdint>

#include "platform/kernel_handle.h"

namespace Orvane::Platform {

// Results of the waits, with the values the system gives them.
inline constexpr std::uint32_t kWaitObject0 = 0;  // + index of the signalled handle
inline constexpr std::uint32_t kWaitAbandoned0 = 0x80;
inline constexpr std::uint32_t kWaitTimeout = 258;
inline constexpr std::uint32_t kWaitFailed = 0xFFFFFFFF;

class MessageWait {
  public:
    virtual ~MessageWait() = default;

    // Sleeps until one of the handles is signalled (result: its index, the lowest one when
    // several are), until window input is available to the thread (result: count) or until
    // the time-out passes (kWaitTimeout). Input that arrived before the call and has been
    // looked at but not removed still counts as available.
    virtual std::uint32_t WaitForObjectsOrInput(std::uint32_t count, const KernelHandle* handles,
                                                std::uint32_t timeoutMs) = 0;
    // Removes one waiting message of the thread, if there is one, and has it translated and
    // dispatched to its window. Returns whether there was one. This and the wait above
    // throw what a window threw while the system had messages handled.
    virtual bool DispatchOneMessage() = 0;
    // Looks at the handles without sleeping: index of the first signalled one, or
    // kWaitTimeout, or kWaitFailed.
    virtual std::uint32_t PollObjects(std::uint32_t count, const KernelHandle* handles) = 0;
    // The system's error code of the calling thread's last failed call.
    virtual std::uint32_t LastError() = 0;
};

}  // namespace Orvane::Platform
