// Keeps every text it is asked to convert and converts it with the build's own backend, so
// that a test sees exactly which units a caller took from its input.
#pragma once

#include <string>
#include <vector>

#include "platform/service.h"
#include "platform/text_conversion.h"

namespace Orvane::Platform::Testing {

class FakeTextConversion final : public TextConversion {
  public:
    struct Call {
        std::u16string source;
        int destinationSize;
    };

    int Utf16ToUtf8(std::u16string_view source, char* destination, int destinationSize) override {
        calls_.push_back({std::u16string(source), destinationSize});
        return DefaultService<TextConversion>().Utf16ToUtf8(source, destination, destinationSize);
    }

    const std::vector<Call>& Calls() const { return calls_; }

  private:
    std::vector<Call> calls_;
};

}  // namespace Orvane::Platform::Testing
