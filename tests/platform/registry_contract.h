// What the exit dump relies on from registry reading, run against the fake (natively) and
// against the Win32 backend (under Wine), so that the fake cannot drift from the system.
//
// An environment type provides:
//   Registry& registry();
//   void SetDword(subKey, valueName, value);   under HKEY_LOCAL_MACHINE
//   void SetText(subKey, valueName);           a REG_SZ value
//   const wchar_t* SubKey();                   a key of this test run, created by SetDword
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "platform/registry.h"

namespace Orvane::Platform {

template <class Environment>
class RegistryContract : public ::testing::Test {
  protected:
    Environment environment;
};

TYPED_TEST_SUITE_P(RegistryContract);

TYPED_TEST_P(RegistryContract, DwordValuesReadAndEverythingElseIsMissing) {
    auto& environment = this->environment;
    const std::wstring key = environment.SubKey();
    environment.SetDword(key, L"One", 1);
    environment.SetDword(key, L"Zero", 0);
    environment.SetDword(key, L"Large", 0xFFFFFFFF);
    environment.SetText(key, L"Text");
    Registry& registry = environment.registry();

    EXPECT_EQ(registry.ReadMachineDword(key.c_str(), L"One"), 1u);
    EXPECT_EQ(registry.ReadMachineDword(key.c_str(), L"Zero"), 0u);
    EXPECT_EQ(registry.ReadMachineDword(key.c_str(), L"Large"), 0xFFFFFFFFu);
    EXPECT_EQ(registry.ReadMachineDword(key.c_str(), L"Text"), std::nullopt);
    EXPECT_EQ(registry.ReadMachineDword(key.c_str(), L"Absent"), std::nullopt);
    EXPECT_EQ(registry.ReadMachineDword((key + L"\\Absent").c_str(), L"One"), std::nullopt);
}

REGISTER_TYPED_TEST_SUITE_P(RegistryContract, DwordValuesReadAndEverythingElseIsMissing);

}  // namespace Orvane::Platform
