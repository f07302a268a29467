// Keeps every debugger text, narrow and wide apart, each in the order written.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/debug_output.h"

namespace Orvane::Platform::Testing {

class FakeDebugOutput final : public DebugOutput {
  public:
    void Write(const char* text) override {
        std::lock_guard lock(mutex_);
        narrow_.push_back(text);
    }
    void Write(const wchar_t* text) override {
        std::lock_guard lock(mutex_);
        wide_.push_back(text);
    }

    std::size_t Count() const {
        std::lock_guard lock(mutex_);
        return narrow_.size() + wide_.size();
    }
    std::vector<std::string> NarrowTexts() const {
        std::lock_guard lock(mutex_);
        return narrow_;
    }
    std::vector<std::wstring> WideTexts() const {
        std::lock_guard lock(mutex_);
        return wide_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> narrow_;
    std::vector<std::wstring> wide_;
};

}  // namespace Orvane::Platform::Testing
