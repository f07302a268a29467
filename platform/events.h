// Unnamed auto-reset events: one waiter is released per signal.
#pragma once

#include "platform/kernel_handle.h"

namespace Orvane::Platform {

class Events {
  public:
    virtual ~Events() = default;

    // A new event, not signalled; null when it could not be made.
    virtual KernelHandle CreateAutoResetEvent() = 0;
    virtual bool Set(KernelHandle event) = 0;
    virtual bool Close(KernelHandle event) = 0;
};

}  // namespace Orvane::Platform
