// A wait that never sleeps. Unless a result is scripted, it answers from the states of the
// FakeKernelObjects and its own queue of posted window input, the way the system would:
// the first signalled handle, else input, else a time-out, which moves the attached clock
// on by the whole time-out. A budget of waits keeps a loop that never ends from hanging a
// test: once it is spent every wait fails.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include "platform/message_wait.h"
#include "platform/testing/fake_kernel_objects.h"
#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/lockable.h"

namespace Orvane::Platform::Testing {

class FakeMessageWait final : public MessageWait, private Lockable {
  public:
    struct Wait {
        std::vector<KernelHandle> handles;
        std::uint32_t timeoutMs;
    };
    // LastError() after the budget ran out.
    static constexpr std::uint32_t kBudgetSpentError = 0xB0D6E7;

    FakeMessageWait(FakeKernelObjects& objects, FakeMonotonicClock* clock = nullptr)
        : objects_(objects), clock_(clock) {}

    std::uint32_t WaitForObjectsOrInput(std::uint32_t count, const KernelHandle* handles,
                                        std::uint32_t timeoutMs) override;
    bool DispatchOneMessage() override;
    std::uint32_t PollObjects(std::uint32_t count, const KernelHandle* handles) override;
    std::uint32_t LastError() override {
        return Locked([&] { return lastError_; });
    }

    // The next waits (or polls) return these results, in order, whatever the states are.
    void ScriptWait(std::uint32_t result) {
        Locked([&] { scriptedWaits_.push_back(result); });
    }
    void ScriptPoll(std::uint32_t result) {
        Locked([&] { scriptedPolls_.push_back(result); });
    }
    // A window message for the thread; dispatching it runs the action.
    void PostInput(std::function<void()> onDispatch = {}) {
        Locked([&] { input_.push_back(std::move(onDispatch)); });
    }
    // Runs at the start of every WaitForObjectsOrInput, with the number of waits before it.
    void BeforeEachWait(std::function<void(std::size_t)> hook) {
        Locked([&] { beforeEachWait_ = std::move(hook); });
    }
    void SetWaitBudget(std::size_t waits) {
        Locked([&] { budget_ = waits; });
    }

    bool BudgetSpent() const {
        return Locked([&] { return budgetSpent_; });
    }
    std::size_t WaitCount() const {
        return Locked([&] { return madeWaits_.size(); });
    }
    std::vector<Wait> Waits() const {
        return Locked([&] { return madeWaits_; });
    }

  private:
    // A scripted result if one is queued, else what the objects' states give.
    std::uint32_t Acquire(std::deque<std::uint32_t>& scripted, std::uint32_t count,
                          const KernelHandle* handles);

    FakeKernelObjects& objects_;
    FakeMonotonicClock* clock_;
    std::deque<std::uint32_t> scriptedWaits_;
    std::deque<std::uint32_t> scriptedPolls_;
    std::deque<std::function<void()>> input_;
    std::function<void(std::size_t)> beforeEachWait_;
    std::size_t budget_ = 100000;
    bool budgetSpent_ = false;
    std::uint32_t lastError_ = 0;
    std::vector<Wait> madeWaits_;
};

}  // namespace Orvane::Platform::Testing
