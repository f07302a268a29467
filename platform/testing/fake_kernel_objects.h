// Waitable objects shared by the fakes: the events of FakeEvents and the data-ready events
// of FakeIpcLibrary are objects here, and FakeMessageWait looks at their states.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "platform/kernel_handle.h"

namespace Orvane::Platform::Testing {

class FakeKernelObjects {
  public:
    KernelHandle Create(bool manualReset);
    bool Set(KernelHandle object);
    bool Reset(KernelHandle object);
    bool Close(KernelHandle object);

    bool IsOpen(KernelHandle object) const;
    bool IsSignalled(KernelHandle object) const;
    std::size_t OpenCount() const;

    // What a wait on the handles finds: the index of the first signalled one (an auto-reset
    // object is consumed by it), kWaitTimeout when none is, kWaitFailed when one is not open.
    std::uint32_t AcquireFirst(std::uint32_t count, const KernelHandle* handles);

  private:
    struct Object {
        bool manualReset;
        bool signalled;
    };
    Object* Find(KernelHandle object);
    const Object* Find(KernelHandle object) const;

    mutable std::mutex mutex_;
    std::map<KernelHandle, Object> objects_;
    std::uintptr_t nextValue_ = 0x100;
};

}  // namespace Orvane::Platform::Testing
