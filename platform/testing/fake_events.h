// Auto-reset events as objects of a FakeKernelObjects, with a switch to make creation fail.
#pragma once

#include <atomic>

#include "platform/events.h"
#include "platform/testing/fake_kernel_objects.h"

namespace Orvane::Platform::Testing {

class FakeEvents final : public Events {
  public:
    explicit FakeEvents(FakeKernelObjects& objects) : objects_(objects) {}

    KernelHandle CreateAutoResetEvent() override;
    bool Set(KernelHandle event) override;
    bool Close(KernelHandle event) override;

    void FailCreation(bool fail) { failCreation_ = fail; }
    int ClosedCount() const { return closed_; }

  private:
    FakeKernelObjects& objects_;
    std::atomic<bool> failCreation_{false};
    std::atomic<int> closed_{0};
};

}  // namespace Orvane::Platform::Testing
