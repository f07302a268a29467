#include "platform/special_folders.h"

#include "platform/service.h"
#include "platform/windows_api.h"

#include <shlobj.h>

namespace Orvane::Platform {
namespace {

class Win32SpecialFolders final : public SpecialFolders {
  public:
    std::optional<std::wstring> CommonAppData() override {
        wchar_t path[MAX_PATH] = {};
        if (FAILED(
                SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path)))
            return std::nullopt;
        return std::wstring(path);
    }
};

}  // namespace

template <>
SpecialFolders& DefaultService<SpecialFolders>() {
    static Win32SpecialFolders service;
    return service;
}

}  // namespace Orvane::Platform
