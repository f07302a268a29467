// The message window against the real Win32 window service, with a stand-in service
// window in the same process: the broadcast, registration, a re-entrant reply and the
// loss of the service all travel as real window messages.
#include "platform/message_wait.h"
#include "platform/service.h"
#include "service_api/core/windows_messaging_window.h"
#include "tests/service_api_connection/service_peer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api::testing {
namespace {

using Orvane::Platform::CopyDataBlock;
using Orvane::Platform::Get;
using Orvane::Platform::MessageWindowEvents;
using Orvane::Platform::MessageWindowService;

class Log final : public Listener {
  public:
    void OnMessage(const CopyDataBlock& received) override {
        std::uint32_t code;
        std::memcpy(&code, received.lpData, sizeof(code));
        entries.push_back("message:" + std::to_string(code));
    }
    void OnServerAvailable() override { entries.push_back("available"); }
    void OnRegistered() override { entries.push_back("registered"); }
    void OnUnregistered() override { entries.push_back("unregistered"); }
    void OnServerDown() override { entries.push_back("down"); }
    std::vector<std::string> entries;
};

// Takes every block, keeps it, and answers requests of code 2005 at once with a reply to
// the window named in the request's sender block.
class StandInService final : public MessageWindowEvents {
  public:
    bool OnRegisteredMessage(std::uint32_t, std::uintptr_t, std::intptr_t) override {
        return false;
    }
    bool OnCopyData(const CopyDataBlock& block) override {
        const auto* bytes = static_cast<const std::uint8_t*>(block.lpData);
        received.emplace_back(bytes, bytes + block.cbData);
        if (U32At(received.back(), 0) == 2005) {
            const auto client =
                static_cast<Orvane::Platform::WindowHandle>(U32At(received.back(), 32));
            const std::vector<std::uint8_t> reply = ServiceMessage(1004, 2005, 0);
            Get<MessageWindowService>().SendCopyData(
                client, {0, static_cast<std::uint32_t>(reply.size()), reply.data()});
        }
        return true;
    }
    bool OnTimer(std::uintptr_t) override { return false; }
    std::vector<std::vector<std::uint8_t>> received;
};

// Waits for window input and dispatches it, as the helper's loop does, until `done`.
bool PumpUntil(const std::function<bool()>& done) {
    Orvane::Platform::MessageWait& wait = Get<Orvane::Platform::MessageWait>();
    for (int round = 0; round < 250 && !done(); ++round) {
        wait.WaitForObjectsOrInput(0, nullptr, 20);
        while (wait.DispatchOneMessage()) {
        }
    }
    return done();
}

TEST(Win32WindowsMessagingWindow, FindsRegistersWithAndLosesARealServiceWindow) {
    MessageWindowService& windows = Get<MessageWindowService>();
    StandInService standIn;
    const auto service = windows.Create(L"LumoStandInService", L"LUMO_STAND_IN_SERVICE", standIn);
    ASSERT_NE(service, 0u);
    Log log;
    WindowsMessagingWindow window(log, {1, 0, {}}, 0);
    EXPECT_TRUE(window.IsMessageFilterSet());

    windows.Broadcast(windows.RegisterMessage(L"LUMO_SERVERAVAILABLE"), 0,
                      static_cast<std::intptr_t>(service));
    ASSERT_TRUE(PumpUntil([&] { return window.IsRegistered(); }));
    ASSERT_EQ(standIn.received.size(), 1u);
    EXPECT_EQ(U32At(standIn.received[0], 0), 2000u);
    EXPECT_EQ(standIn.received[0].size(), 332u);

    // The reply comes in through the window while the request is still being sent.
    EXPECT_EQ(window.Send(2005, nullptr, 0, 0, 0), LUMO_SUCCESS);
    EXPECT_EQ(log.entries, (std::vector<std::string>{"available", "registered", "message:1004"}));

    windows.Destroy(service);
    EXPECT_TRUE(PumpUntil([&] { return !window.IsServerAvailable(); }))
        << "the liveness timer must notice the service window is gone";
    EXPECT_EQ(log.entries.back(), "down");
    EXPECT_EQ(window.Send(2005, nullptr, 0, 0, 0), LUMO_INVALID_HANDLE);
}

}  // namespace
}  // namespace Quorvel::Lumo::Api::testing
