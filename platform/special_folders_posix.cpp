#include "platform/special_folders.h"

#include "platform/service.h"

namespace Orvane::Platform {
namespace {

// Linux has no machine-wide application-data folder in the Windows sense; whatever would be
// written there (dumps, exit logs) is simply not written.
class AbsentSpecialFolders final : public SpecialFolders {
  public:
    std::optional<std::wstring> CommonAppData() override { return std::nullopt; }
};

}  // namespace

template <>
SpecialFolders& DefaultService<SpecialFolders>() {
    static AbsentSpecialFolders service;
    return service;
}

}  // namespace Orvane::Platform
