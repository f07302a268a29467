#include "platform/testing/fake_console_control.h"

#include <algorithm>
#include <utility>

namespace Orvane::Platform::Testing {
namespace {

constexpr std::uint32_t kErrorInvalidParameter = 87;

}  // namespace

std::uint32_t FakeConsoleControl::AddHandler(Handler handler) {
    std::lock_guard lock(mutex_);
    std::uint32_t result = 0;
    if (failNextAdd_) {
        result = *std::exchange(failNextAdd_, std::nullopt);
    } else {
        installed_.push_back(handler);
    }
    calls_.push_back({true, handler, result});
    return result;
}

std::uint32_t FakeConsoleControl::RemoveHandler(Handler handler) {
    std::lock_guard lock(mutex_);
    std::uint32_t result = 0;
    const auto found = std::find(installed_.rbegin(), installed_.rend(), handler);
    if (found == installed_.rend()) {
        result = kErrorInvalidParameter;
    } else {
        installed_.erase(std::next(found).base());
    }
    calls_.push_back({false, handler, result});
    return result;
}

std::vector<ConsoleControl::Handler> FakeConsoleControl::Installed() const {
    std::lock_guard lock(mutex_);
    return installed_;
}

std::vector<FakeConsoleControl::Call> FakeConsoleControl::Calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
}

bool FakeConsoleControl::Raise(std::uint32_t eventType) const {
    const std::vector<Handler> handlers = Installed();
    for (auto it = handlers.rbegin(); it != handlers.rend(); ++it) {
        if ((*it)(eventType) != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace Orvane::Platform::Testing
