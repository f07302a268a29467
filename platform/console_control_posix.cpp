#include "platform/console_control.h"

#include "platform/service.h"

namespace Orvane::Platform {
namespace {

// The system's ERROR_CALL_NOT_IMPLEMENTED: Linux has no console control events.
constexpr std::uint32_t kCallNotImplemented = 120;

class UnavailableConsoleControl final : public ConsoleControl {
  public:
    std::uint32_t AddHandler(Handler) override { return kCallNotImplemented; }
    std::uint32_t RemoveHandler(Handler) override { return kCallNotImplemented; }
};

}  // namespace

template <>
ConsoleControl& DefaultService<ConsoleControl>() {
    static UnavailableConsoleControl service;
    return service;
}

}  // namespace Orvane::Platform
