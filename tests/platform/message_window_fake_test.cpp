#include "platform/testing/fake_message_window.h"

#include "message_window_contract.h"

namespace Orvane::Platform::contract {
namespace {

struct FakeBackend {
    FakeMessageWindow fake;
    ScopedOverride<MessageWindowService> installed{fake};
    void Pump() { fake.TickTimers(); }
};

using Backends = ::testing::Types<FakeBackend>;
INSTANTIATE_TYPED_TEST_SUITE_P(Fake, MessageWindowContract, Backends);

}  // namespace
}  // namespace Orvane::Platform::contract
