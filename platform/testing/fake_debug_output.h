// Keeps every debugger text in the order written, narrow and wide apart.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/debug_output.h"

namespace Orvane::Platform::Testing {

class FakeDebugOutput final : public DebugOutput {
  public:
    struct Text {
        bool wide;
        std::string narrow;
        std::wstring wideText;
    };

    void Write(const char* text) override;
    void Write(const wchar_t* text) override;

    std::vector<Text> Texts() const;
    std::vector<std::string> NarrowTexts() const;
    std::vector<std::wstring> WideTexts() const;

  private:
    mutable std::mutex mutex_;
    std::vector<Text> texts_;
};

}  // namespace Orvane::Platform::Testing
