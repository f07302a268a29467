#include "platform/text_conversion.h"

#include <climits>

#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

class Win32TextConversion final : public TextConversion {
  public:
    int Utf16ToUtf8(std::u16string_view source, char* destination, int destinationSize) override {
        // A negative length would make the system look for a terminator instead.
        if (source.size() > INT_MAX) {
            return 0;
        }
        // wchar_t is the 16-bit UTF-16 unit in this build.
        return WideCharToMultiByte(CP_UTF8, 0, reinterpret_cast<const wchar_t*>(source.data()),
                                   static_cast<int>(source.size()), destination, destinationSize,
                                   nullptr, nullptr);
    }
};

}  // namespace

template <>
TextConversion& DefaultService<TextConversion>() {
    static Win32TextConversion service;
    return service;
}

}  // namespace Orvane::Platform
