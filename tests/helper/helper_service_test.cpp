// The helper with the real service client over a fake desktop: the service's messages
// arrive as window input that the loop pumps, and its connection events steer the loop.
#include "tests/helper/helper_harness.h"
#include "tests/service_api_connection/service_peer.h"

namespace HelperTesting {
namespace {

using Quorvel::Lumo::Api::testing::ServicePeer;

constexpr std::uint32_t kRegistration = 2000;
constexpr std::uint32_t kServiceShuttingDown = 1005;

TEST(HelperWithTheService, ConnectionAndLossOfTheServiceArriveThroughThePumpedMessages) {
    HelperHarness h;
    h.InitializeWithPlugin();
    ServicePeer service(h.windows);
    bool connectedAfterAnnounce = false;
    // The client is started at the first wake-up (the first beat); then the service turns
    // up, and later goes down, each as a window message for the loop to dispatch.
    h.BeforeWait(1, [&] {
        h.wait.PostInput([&] {
            service.Announce();
            connectedAfterAnnounce = h.helper->ConnectedToServer();
        });
    });
    h.BeforeWait(2, [&] {
        h.wait.PostInput(
            [&] { service.Tell(h.windows.CreatedWindows().at(0), kServiceShuttingDown); });
    });
    h.ExitBeforeWait(4);

    EXPECT_EQ(h.Run(), 0);
    EXPECT_TRUE(connectedAfterAnnounce);
    EXPECT_FALSE(h.helper->ConnectedToServer());
    EXPECT_EQ(service.ReceivedCodes().at(0), kRegistration);
    // beat; input, nothing after it; input, then the stop event it set; beat; exit
    EXPECT_EQ(h.WaitResults(), (std::vector<std::uint32_t>{258, 2, 258, 2, 1, 258, 0}));
    EXPECT_EQ(h.SentCodes(), std::vector<std::uint32_t>(2, PluginMsgHeartbeat));
    EXPECT_EQ(h.debug.WideTexts(),
              (std::vector<std::wstring>{
                  L"LumoDiscoveryPluginHelper using LUMO API v6.3.0.0 (2022-01-12)\n",
                  L"LumoDiscoveryPluginHelper::OnConnectedToServer\n",
                  L"LumoDiscoveryPluginHelper::OnServerDown\n"}))
        << "the client keeps its window and waits for the service again: no second start";
}

TEST(HelperWithTheService, AClientThatCannotStartIsTriedAgainAtEveryWakeUp) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.windows.FailCreate(Orvane::Platform::FakeMessageWindow::CreateFailure::OutOfMemory);
    h.BeforeWait(2, [&h] {
        h.windows.FailCreate(Orvane::Platform::FakeMessageWindow::CreateFailure::None);
    });
    h.ExitBeforeWait(3);
    EXPECT_EQ(h.Run(), 0);
    EXPECT_EQ(h.debug.WideTexts(),
              (std::vector<std::wstring>{
                  L"Cannot start the API client", L"Cannot start the API client",
                  L"LumoDiscoveryPluginHelper using LUMO API v6.3.0.0 (2022-01-12)\n"}));
    EXPECT_EQ(h.windows.CreatedWindows().size(), 1u);
}

}  // namespace
}  // namespace HelperTesting
