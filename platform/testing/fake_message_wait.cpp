#include "platform/testing/fake_message_wait.h"

#include <utility>

namespace Orvane::Platform::Testing {
namespace {

constexpr std::uint32_t kErrorInvalidHandle = 6;

}  // namespace

std::uint32_t FakeMessageWait::WaitForObjectsOrInput(std::uint32_t count,
                                                     const KernelHandle* handles,
                                                     std::uint32_t timeoutMs) {
    std::function<void(std::size_t)> hook;
    std::size_t waitsBefore = 0;
    {
        std::lock_guard lock(mutex_);
        hook = beforeEachWait_;
        waitsBefore = madeWaits_.size();
    }
    // Outside the lock: the hook usually posts input or scripts results.
    if (hook) {
        hook(waitsBefore);
    }

    std::lock_guard lock(mutex_);
    std::uint32_t result;
    if (waitsBefore >= budget_) {
        budgetSpent_ = true;
        lastError_ = kBudgetSpentError;
        result = kWaitFailed;
    } else {
        const bool scripted = !scriptedWaits_.empty();
        result = Acquire(scriptedWaits_, count, handles);
        if (!scripted && result == kWaitTimeout && !input_.empty()) {
            result = count;
        }
    }
    if (result == kWaitTimeout && clock_ != nullptr) {
        clock_->Advance(timeoutMs);
    }
    madeWaits_.push_back({{handles, handles + count}, timeoutMs});
    return result;
}

bool FakeMessageWait::DispatchOneMessage() {
    std::function<void()> action;
    bool dispatched = false;
    {
        std::lock_guard lock(mutex_);
        if (!input_.empty()) {
            action = std::move(input_.front());
            input_.pop_front();
            dispatched = true;
        }
    }
    // A window procedure may well post more input or signal objects.
    if (action) {
        action();
    }
    return dispatched;
}

std::uint32_t FakeMessageWait::PollObjects(std::uint32_t count, const KernelHandle* handles) {
    std::lock_guard lock(mutex_);
    return Acquire(scriptedPolls_, count, handles);
}

std::uint32_t FakeMessageWait::Acquire(std::deque<std::uint32_t>& scripted, std::uint32_t count,
                                       const KernelHandle* handles) {
    if (!scripted.empty()) {
        const std::uint32_t result = scripted.front();
        scripted.pop_front();
        return result;
    }
    const std::uint32_t result = objects_.AcquireFirst(count, handles);
    if (result == kWaitFailed) {
        lastError_ = kErrorInvalidHandle;
    }
    return result;
}

}  // namespace Orvane::Platform::Testing
