#include "platform/testing/fake_registry.h"

namespace Orvane::Platform::Testing {

std::optional<std::uint32_t> FakeRegistry::ReadMachineDword(const wchar_t* subKey,
                                                            const wchar_t* valueName) {
    std::lock_guard lock(mutex_);
    ++reads_;
    const auto found = values_.find({subKey, valueName});
    return found == values_.end() ? std::nullopt : found->second;
}

void FakeRegistry::SetMachineDword(const std::wstring& subKey, const std::wstring& valueName,
                                   std::uint32_t value) {
    std::lock_guard lock(mutex_);
    values_[{subKey, valueName}] = value;
}

void FakeRegistry::SetMachineText(const std::wstring& subKey, const std::wstring& valueName) {
    std::lock_guard lock(mutex_);
    values_[{subKey, valueName}] = std::nullopt;
}

int FakeRegistry::Reads() const {
    std::lock_guard lock(mutex_);
    return reads_;
}

}  // namespace Orvane::Platform::Testing
