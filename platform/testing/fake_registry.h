// A registry in memory: values are set by the test, reads are answered from them and
// counted.
#pragma once

#include <map>
#include <string>
#include <utility>

#include "platform/registry.h"
#include "platform/testing/lockable.h"

namespace Orvane::Platform::Testing {

class FakeRegistry final : public Registry, private Lockable {
  public:
    std::optional<std::uint32_t> ReadMachineDword(const wchar_t* subKey,
                                                  const wchar_t* valueName) override {
        std::lock_guard lock(mutex_);
        ++reads_;
        const auto found = values_.find({subKey, valueName});
        return found == values_.end() ? std::nullopt : found->second;
    }

    void SetMachineDword(const std::wstring& subKey, const std::wstring& valueName,
                         std::uint32_t value) {
        Locked([&] { values_[{subKey, valueName}] = value; });
    }
    // A value of another type than REG_DWORD, which never reads as a number.
    void SetMachineText(const std::wstring& subKey, const std::wstring& valueName) {
        Locked([&] { values_[{subKey, valueName}] = std::nullopt; });
    }
    int Reads() const {
        return Locked([&] { return reads_; });
    }

  private:
    std::map<std::pair<std::wstring, std::wstring>, std::optional<std::uint32_t>> values_;
    int reads_ = 0;
};

}  // namespace Orvane::Platform::Testing
