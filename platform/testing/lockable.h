// The state of a fake that the code under test may reach from several threads (a console
// handler, a fault inside a dump, the flow log's writers): every access runs under one mutex.
#pragma once

#include <mutex>

namespace Orvane::Platform::Testing {

class Lockable {
  protected:
    // Runs `action` under the mutex and returns what it returns.
    template <class Action>
    auto Locked(Action action) const {
        std::lock_guard lock(mutex_);
        return action();
    }

    mutable std::mutex mutex_;
};

}  // namespace Orvane::Platform::Testing
