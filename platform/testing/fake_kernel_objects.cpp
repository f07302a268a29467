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

bool FakeKernelObjects::Set(KernelHandle object) {
    std::lock_guard lock(mutex_);
    Object* found = Find(object);
    if (found != nullptr) {
        found->signalled = true;
    }
    return found != nullptr;
}

bool FakeKernelObjects::Reset(KernelHandle object) {
    std::lock_guard lock(mutex_);
    Object* found = Find(object);
    if (found != nullptr) {
        found->signalled = false;
    }
    return found != nullptr;
}

bool FakeKernelObjects::Close(KernelHandle object) {
    std::lock_guard lock(mutex_);
    return objects_.erase(object) == 1;
}

bool FakeKernelObjects::IsOpen(KernelHandle object) const {
    std::lock_guard lock(mutex_);
    return Find(object) != nullptr;
}

bool FakeKernelObjects::IsSignalled(KernelHandle object) const {
    std::lock_guard lock(mutex_);
    const Object* found = Find(object);
    return found != nullptr && found->signalled;
}

std::size_t FakeKernelObjects::OpenCount() const {
    std::lock_guard lock(mutex_);
    return objects_.size();
}

std::uint32_t FakeKernelObjects::AcquireFirst(std::uint32_t count, const KernelHandle* handles) {
    std::lock_guard lock(mutex_);
    for (std::uint32_t i = 0; i < count; ++i) {
        if (Find(handles[i]) == nullptr) {
            return kWaitFailed;
        }
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        Object* object = Find(handles[i]);
        if (object->signalled) {
            if (!object->manualReset) {
                object->signalled = false;
            }
            return kWaitObject0 + i;
        }
    }
    return kWaitTimeout;
}

FakeKernelObjects::Object* FakeKernelObjects::Find(KernelHandle object) {
    const auto found = objects_.find(object);
    return found == objects_.end() ? nullptr : &found->second;
}

const FakeKernelObjects::Object* FakeKernelObjects::Find(KernelHandle object) const {
    const auto found = objects_.find(object);
    return found == objects_.end() ? nullptr : &found->second;
}

}  // namespace Orvane::Platform::Testing
