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
        waitsBefore = waits_++;
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
    } else if (!scriptedWaits_.empty()) {
        result = scriptedWaits_.front();
        scriptedWaits_.pop_front();
    } else {
        result = objects_.AcquireFirst(count, handles);
        if (result == kWaitFailed) {
            lastError_ = kErrorInvalidHandle;
        } else if (result == kWaitTimeout && !input_.empty()) {
            result = count;
        }
    }
    if (result == kWaitTimeout && clock_ != nullptr) {
        clock_->Advance(timeoutMs);
    }
    calls_.push_back({CallKind::Wait, {handles, handles + count}, timeoutMs, result});
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
        calls_.push_back({CallKind::Dispatch, {}, 0, dispatched ? 1u : 0u});
    }
    // A window procedure may well post more input or signal objects.
    if (action) {
        action();
    }
    return dispatched;
}

std::uint32_t FakeMessageWait::PollObjects(std::uint32_t count, const KernelHandle* handles) {
    std::lock_guard lock(mutex_);
    std::uint32_t result;
    if (!scriptedPolls_.empty()) {
        result = scriptedPolls_.front();
        scriptedPolls_.pop_front();
    } else {
        result = objects_.AcquireFirst(count, handles);
        if (result == kWaitFailed) {
            lastError_ = kErrorInvalidHandle;
        }
    }
    calls_.push_back({CallKind::Poll, {handles, handles + count}, 0, result});
    return result;
}

std::uint32_t FakeMessageWait::LastError() {
    std::lock_guard lock(mutex_);
    return lastError_;
}

void FakeMessageWait::ScriptWait(std::uint32_t result) {
    std::lock_guard lock(mutex_);
    scriptedWaits_.push_back(result);
}

void FakeMessageWait::ScriptPoll(std::uint32_t result) {
    std::lock_guard lock(mutex_);
    scriptedPolls_.push_back(result);
}

void FakeMessageWait::PostInput(std::function<void()> onDispatch) {
    std::lock_guard lock(mutex_);
    input_.push_back(std::move(onDispatch));
}

void FakeMessageWait::BeforeEachWait(std::function<void(std::size_t)> hook) {
    std::lock_guard lock(mutex_);
    beforeEachWait_ = std::move(hook);
}

void FakeMessageWait::SetWaitBudget(std::size_t waits) {
    std::lock_guard lock(mutex_);
    budget_ = waits;
}

bool FakeMessageWait::BudgetSpent() const {
    std::lock_guard lock(mutex_);
    return budgetSpent_;
}

std::size_t FakeMessageWait::WaitCount() const {
    std::lock_guard lock(mutex_);
    return waits_;
}

std::vector<FakeMessageWait::Call> FakeMessageWait::Calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
}

}  // namespace Orvane::Platform::Testing
