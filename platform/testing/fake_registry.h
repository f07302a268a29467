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
                                                  const wchar_t* valueName) override {
        std::lock_guard lock(mutex_);
        ++reads_;
        const auto found = values_.find({subKey, valueName});
        return found == values_.end() ? std::nullopt : found->second;
    }

    void SetMachineDword(const std::wstring& subKey, const std::wstring& valueName,
                         std::uint32_t value) {
        std::lock_guard lock(mutex_);
        values_[{subKey, valueName}] = value;
    }
    // A value of another type than REG_DWORD, which never reads as a number.
    void SetMachineText(const std::wstring& subKey, const std::wstring& valueName) {
        std::lock_guard lock(mutex_);
        values_[{subKey, valueName}] = std::nullopt;
    }
    int Reads() const {
        std::lock_guard lock(mutex_);
        return reads_;
    }

  private:
    mutable std::mutex mutex_;
    std::map<std::pair<std::wstring, std::wstring>, std::optional<std::uint32_t>> values_;
    int reads_ = 0;
};

}  // namespace Orvane::Platform::Testing
