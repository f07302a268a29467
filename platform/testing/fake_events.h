// Auto-reset events as objects of a FakeKernelObjects, with a switch to make creation fail.
#pragma once

#include <atomic>

#include "platform/events.h"
#include "platform/testing/fake_kernel_objects.h"

namespace Orvane::Platform::Testing {

class FakeEvents final : public Events {
  public:
    explicit FakeEvents(FakeKernelObjects& objects) : objects_(objects) {}

    KernelHandle CreateAutoResetEvent() override {
        return failCreation_ ? nullptr : objects_.Create(false);
    }
    bool Set(KernelHandle event) override { return objects_.Set(event); }
    bool Close(KernelHandle event) override {
        const bool closed = objects_.Close(event);
        closed_ += closed ? 1 : 0;
        return closed;
    }

    void FailCreation(bool fail) { failCreation_ = fail; }
    int ClosedCount() const { return closed_; }

  private:
    FakeKernelObjects& objects_;
    std::atomic<bool> failCreation_{false};
    std::atomic<int> closed_{0};
};

}  // namespace Orvane::Platform::Testing
