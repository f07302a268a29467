// Special folders as the test sets them; none until then.
#pragma once

#include "platform/special_folders.h"

namespace Orvane::Platform::Testing {

class FakeSpecialFolders final : public SpecialFolders {
  public:
    std::optional<std::wstring> CommonAppData() override { return commonAppData_; }

    void SetCommonAppData(std::optional<std::wstring> folder) {
        commonAppData_ = std::move(folder);
    }

  private:
    std::optional<std::wstring> commonAppData_;
};

}  // namespace Orvane::Platform::Testing
