// Keeps every debugger text, narrow and wide apart, each in the order written.
#pragma once

#include <string>
#include <vector>

#include "platform/debug_output.h"
#include "platform/testing/lockable.h"

namespace Orvane::Platform::Testing {

class FakeDebugOutput final : public DebugOutput, private Lockable {
  public:
    void Write(const char* text) override {
        Locked([&] { narrow_.push_back(text); });
    }
    void Write(const wchar_t* text) override {
        Locked([&] { wide_.push_back(text); });
    }

    std::size_t Count() const {
        return Locked([&] { return narrow_.size() + wide_.size(); });
    }
    std::vector<std::string> NarrowTexts() const {
        return Locked([&] { return narrow_; });
    }
    std::vector<std::wstring> WideTexts() const {
        return Locked([&] { return wide_; });
    }

  private:
    std::vector<std::string> narrow_;
    std::vector<std::wstring> wide_;
};

}  // namespace Orvane::Platform::Testing
