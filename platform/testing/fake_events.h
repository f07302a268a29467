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
    bool Close(KernelHandle event) override { return objects_.Close(event); }

    void FailCreation(bool fail) { failCreation_ = fail; }

  private:
    FakeKernelObjects& objects_;
    std::atomic<bool> failCreation_{false};
};

}  // namespace Orvane::Platform::Testing
