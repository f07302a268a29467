#include "tests/platform/registry_contract.h"
#include "platform/testing/fake_registry.h"

namespace Orvane::Platform {
namespace {

struct FakeRegistryEnvironment {
    Testing::FakeRegistry fake;

    Registry& registry() { return fake; }
    void SetDword(const std::wstring& key, const wchar_t* name, std::uint32_t value) {
        fake.SetMachineDword(key, name, value);
    }
    void SetText(const std::wstring& key, const wchar_t* name) { fake.SetMachineText(key, name); }
    const wchar_t* SubKey() { return L"Software\\Orvane\\Test"; }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, RegistryContract, FakeRegistryEnvironment);

}  // namespace
}  // namespace Orvane::Platform
