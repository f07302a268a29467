#include "platform/testing/fake_debug_output.h"

namespace Orvane::Platform::Testing {

void FakeDebugOutput::Write(const char* text) {
    std::lock_guard lock(mutex_);
    texts_.push_back({false, text, {}});
}

void FakeDebugOutput::Write(const wchar_t* text) {
    std::lock_guard lock(mutex_);
    texts_.push_back({true, {}, text});
}

std::vector<FakeDebugOutput::Text> FakeDebugOutput::Texts() const {
    std::lock_guard lock(mutex_);
    return texts_;
}

std::vector<std::string> FakeDebugOutput::NarrowTexts() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> result;
    for (const Text& text : texts_) {
        if (!text.wide) {
            result.push_back(text.narrow);
        }
    }
    return result;
}

std::vector<std::wstring> FakeDebugOutput::WideTexts() const {
    std::lock_guard lock(mutex_);
    std::vector<std::wstring> result;
    for (const Text& text : texts_) {
        if (text.wide) {
            result.push_back(text.wideText);
        }
    }
    return result;
}

}  // namespace Orvane::Platform::Testing
