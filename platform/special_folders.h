// The system's well-known folders.
#pragma once

#include <optional>
#include <string>

namespace Orvane::Platform {

struct SpecialFolders {
    virtual ~SpecialFolders() = default;

    // The machine's common application-data folder (for example "C:\ProgramData"), as the
    // system gives it; empty when the system cannot name it.
    virtual std::optional<std::wstring> CommonAppData() = 0;
};

}  // namespace Orvane::Platform
