#include "platform/registry.h"

#include "platform/service.h"

namespace Orvane::Platform {
namespace {

// Linux has no registry: every setting reads as missing, which keeps every option off.
class AbsentRegistry final : public Registry {
  public:
    std::optional<std::uint32_t> ReadMachineDword(const wchar_t*, const wchar_t*) override {
        return std::nullopt;
    }
};

}  // namespace

template <>
Registry& DefaultService<Registry>() {
    static AbsentRegistry service;
    return service;
}

}  // namespace Orvane::Platform
