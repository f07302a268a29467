#include "platform/testing/fake_text_conversion.h"

#include "platform/service.h"

namespace Orvane::Platform::Testing {

int FakeTextConversion::Utf16ToUtf8(std::u16string_view source, char* destination,
                                    int destinationSize) {
    const int result =
        DefaultService<TextConversion>().Utf16ToUtf8(source, destination, destinationSize);
    calls_.push_back({std::u16string(source), destinationSize, result});
    return result;
}

}  // namespace Orvane::Platform::Testing
