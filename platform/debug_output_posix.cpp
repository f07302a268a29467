#include "platform/debug_output.h"

#include "platform/service.h"

namespace Orvane::Platform {
namespace {

// Linux has no debugger-output channel, and the helper prints nothing on the console: the
// texts are dropped.
class DiscardingDebugOutput final : public DebugOutput {
  public:
    void Write(const char*) override {}
    void Write(const wchar_t*) override {}
};

}  // namespace

template <>
DebugOutput& DefaultService<DebugOutput>() {
    static DiscardingDebugOutput service;
    return service;
}

}  // namespace Orvane::Platform
