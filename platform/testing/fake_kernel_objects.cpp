#include "platform/testing/fake_kernel_objects.h"

#include "platform/message_wait.h"

namespace Orvane::Platform::Testing {

KernelHandle FakeKernelObjects::Create(bool manualReset) {
    std::lock_guard lock(mutex_);
    // Values are never reused, so a closed handle stays recognisably closed.
    auto* handle = reinterpret_cast<KernelHandle>(nextValue_);
    nextValue_ += 4;
    objects_.emplace(handle, Object{manualReset, false});
    return handle;
}

bool FakeKernelObjects::SetState(KernelHandle object, bool signalled) {
    std::lock_guard lock(mutex_);
    const auto found = objects_.find(object);
    if (found != objects_.end()) {
        found->second.signalled = signalled;
    }
    return found != objects_.end();
}

std::uint32_t FakeKernelObjects::AcquireFirst(std::uint32_t count, const KernelHandle* handles) {
    std::lock_guard lock(mutex_);
    for (std::uint32_t i = 0; i < count; ++i) {
        if (objects_.count(handles[i]) == 0) {
            return kWaitFailed;
        }
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        Object& object = objects_.at(handles[i]);
        if (object.signalled) {
            object.signalled = object.manualReset;
            return kWaitObject0 + i;
        }
    }
    return kWaitTimeout;
}

}  // namespace Orvane::Platform::Testing
