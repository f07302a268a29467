// A registry in memory: values are set by the test, reads are answered from them and
// counted.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "platform/registry.h"

namespace Orvane::Platform::Testing {

class FakeRegistry final : public Registry {
  public:
    std::optional<std::uint32_t> ReadMachineDword(const wchar_t* subKey,
                                                  const wchar_t* valueName) override;

    void SetMachineDword(const std::wstring& subKey, const std::wstring& valueName,
                         std::uint32_t value);
    // A value of another type than REG_DWORD, which never reads as a number.
    void SetMachineText(const std::wstring& subKey, const std::wstring& valueName);

    int Reads() const;

  private:
    using Name = std::pair<std::wstring, std::wstring>;
    mutable std::mutex mutex_;
    std::map<Name, std::optional<std::uint32_t>> values_;
    int reads_ = 0;
};

}  // namespace Orvane::Platform::Testing
