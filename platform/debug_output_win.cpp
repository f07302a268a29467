#include "platform/debug_output.h"

#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

class Win32DebugOutput final : public DebugOutput {
  public:
    void Write(const char* text) override { OutputDebugStringA(text); }
    void Write(const wchar_t* text) override { OutputDebugStringW(text); }
};

}  // namespace

template <>
DebugOutput& DefaultService<DebugOutput>() {
    static Win32DebugOutput service;
    return service;
}

}  // namespace Orvane::Platform
