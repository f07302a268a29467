// Waitable objects shared by the fakes: the events of FakeEvents and the data-ready events
// of FakeIpcLibrary are objects here, and FakeMessageWait looks at their states.
#pragma once

#include <cstdint>
#include <map>

#include "platform/kernel_handle.h"
#include "platform/testing/lockable.h"

namespace Orvane::Platform::Testing {

class FakeKernelObjects : private Lockable {
  public:
    KernelHandle Create(bool manualReset);
    bool Set(KernelHandle object) { return SetState(object, true); }
    bool Reset(KernelHandle object) { return SetState(object, false); }
    bool Close(KernelHandle object) {
        return Locked([&] { return objects_.erase(object) == 1; });
    }

    bool IsSignalled(KernelHandle object) const {
        std::lock_guard lock(mutex_);
        const auto found = objects_.find(object);
        return found != objects_.end() && found->second.signalled;
    }
    std::size_t OpenCount() const {
        return Locked([&] { return objects_.size(); });
    }

    // What a wait on the handles finds: the index of the first signalled one (an auto-reset
    // object is consumed by it), kWaitTimeout when none is, kWaitFailed when one is not open.
    std::uint32_t AcquireFirst(std::uint32_t count, const KernelHandle* handles);

  private:
    struct Object {
        bool manualReset;
        bool signalled;
    };
    bool SetState(KernelHandle object, bool signalled);

    std::map<KernelHandle, Object> objects_;
    std::uintptr_t nextValue_ = 0x100;
};

}  // namespace Orvane::Platform::Testing
