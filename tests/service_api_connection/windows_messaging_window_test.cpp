#include "service_api/core/windows_messaging_window.h"

#include "platform/service.h"
#include "tests/service_api_connection/service_peer.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Quorvel::Lumo::Api::testing {
namespace {

using Orvane::Platform::CopyDataBlock;
using Orvane::Platform::MessageWindowService;
using Orvane::Platform::ScopedOverride;

constexpr LumoTransportOptions kAutoRegister{1, 0xA1B2C3D4, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr LumoTransportOptions kManualRegister{0, 7, {}};

// The test listens to the window itself: what it hears goes into the log.
class WindowsMessagingWindowTest : public ServiceDesktopTest, public Listener {
  protected:
    void OnMessage(const CopyDataBlock& received) override {
        const auto* bytes = static_cast<const std::uint8_t*>(received.lpData);
        Heard("message:" + std::to_string(U32At({bytes, bytes + received.cbData}, 0)) + "/" +
              std::to_string(received.cbData));
    }
    void OnServerAvailable() override { Heard("available"); }
    void OnRegistered() override { Heard("registered"); }
    void OnUnregistered() override { Heard("unregistered"); }
    void OnServerDown() override { Heard("down"); }
    void Heard(const std::string& call) { m_log.push_back(call); }

    void Open(LumoTransportOptions options, std::uint32_t alternate = 0) {
        m_window = std::make_unique<WindowsMessagingWindow>(*this, options, alternate);
    }
    // Every block a peer receives goes into the log too, in order with the listener's calls.
    void Watch(ServicePeer& peer, const std::string& name) {
        m_desktop.SetPeerHandler(peer.Window(), [this, name](const std::vector<std::uint8_t>& b) {
            m_log.push_back(name + ":" + std::to_string(U32At(b, 0)));
        });
    }
    std::string Log() const {
        std::ostringstream joined;
        for (const std::string& entry : m_log) {
            joined << (joined.tellp() > 0 ? " " : "") << entry;
        }
        return joined.str();
    }

    std::vector<std::string> m_log;
    std::unique_ptr<WindowsMessagingWindow> m_window;
};

// The window's surface below the core: each scenario drives it through a list of steps and
// compares, in order, what the listener heard and what each service window received
// ("first:2000"). What the core reaches of it, and its raw send, the re-entrant fuzz target
// judges by its model.
struct Scenario {
    const char* name;
    LumoTransportOptions options;
    const char* steps;
    const char* expected;
};

class WindowStateMachine : public WindowsMessagingWindowTest,
                           public ::testing::WithParamInterface<Scenario> {};

TEST_P(WindowStateMachine, WalksItsTransitions) {
    const Scenario& scenario = GetParam();
    ServicePeer first(m_desktop), other(m_desktop);
    Watch(first, "first");
    Watch(other, "other");
    Open(scenario.options);

    const std::map<std::string, std::function<void()>> actions = {
        {"announce", [&] { first.Announce(); }},
        {"announce-other", [&] { other.Announce(); }},
        {"tick", [&] { m_desktop.TickTimers(); }},
        {"reset", [&] { m_window->Reset(); }},
        // The service says goodbye from inside whatever it is sent next, and another one
        // announces itself before that send returns.
        {"leave-for-other-on-send",
         [&] {
             m_desktop.SetPeerHandler(first.Window(), [&](const auto&) {
                 first.Tell(m_window->Handle(), 1005);
                 other.Announce();
             });
         }},
        {"by-handle", [&] { m_window->ServerAvailable(first.Window()); }},
        {"by-handle-other", [&] { m_window->ServerAvailable(other.Window()); }},
        {"close", [&] { m_window.reset(); }},
    };
    std::istringstream steps(scenario.steps);
    for (std::string step; steps >> step;) {
        actions.at(step)();
    }
    EXPECT_EQ(Log(), scenario.expected);
}

const Scenario kScenarios[] = {
    // clang-format off
    {"ResetForgetsSilentlyAndAcceptsTheNextAnnouncement", kAutoRegister, "announce reset announce-other", "available first:2000 registered available other:2000 registered"},
    {"ResetLeavesTheTimerRunning", kManualRegister, "announce reset tick", "available down"},
    {"AServerLostDuringTheRegistrationForAnotherOneCountsOnlyTheOther", kAutoRegister, "leave-for-other-on-send announce", "available down message:1005/32 available other:2000 registered"},
    {"AServerByHandleActsAsTheAnnouncementAndClosingDoesNotUnregister", kAutoRegister, "by-handle by-handle-other close", "available first:2000 registered"},
    // clang-format on
};

INSTANTIATE_TEST_SUITE_P(Scenarios, WindowStateMachine, ::testing::ValuesIn(kScenarios),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(WindowsMessagingWindowTest, CreatesTheNamedWindowAndTriesItsFilterSixTimesAtMost) {
    for (const auto& [failures, attempts, set] :
         {std::tuple{0, 1, true}, {5, 6, true}, {6, 6, false}, {9, 6, false}}) {
        FakeMessageWindow desktop;
        ScopedOverride<MessageWindowService> installed(desktop);
        desktop.FailFilterAttempts(failures);
        WindowsMessagingWindow window(*this, kAutoRegister, 0);
        EXPECT_EQ(desktop.FilterAttempts(), attempts) << failures << " failures";
        EXPECT_EQ(window.IsMessageFilterSet(), set) << failures << " failures";
        EXPECT_EQ(desktop.ClassName(window.Handle()), L"WindowsMessagingWindow");
        EXPECT_EQ(desktop.WindowName(window.Handle()), L"LUMO_SERVICEMESSAGEWINDOW");
        if (set) {
            EXPECT_EQ(
                desktop.AllowedMessages(window.Handle()),
                (std::vector<std::uint32_t>{74, desktop.RegisterMessage(L"LUMO_SERVERAVAILABLE")}));
        }
    }
}

TEST_F(WindowsMessagingWindowTest, RegistrationMessageIsByteExact) {
    Open(kAutoRegister);
    const Orvane::Platform::LocalTime before = Orvane::Platform::CurrentLocalTime();
    m_service.Announce();
    ASSERT_EQ(m_service.Received().size(), 1u);
    const std::vector<std::uint8_t>& sent = m_service.Received()[0];
    // Only the low half of the window handle travels.
    ASSERT_NE(m_window->Handle() >> 32, 0u) << "the fake's handles must be wider than 32 bits";
    std::vector<std::uint8_t> header;
    for (std::uint32_t field : {2000u, 0u, 0u, 272u + 28u, 0u, 0u, 0u, 0u,
                                static_cast<std::uint32_t>(m_window->Handle())}) {
        PutU32(header, field);
    }
    header.resize(60, 0);
    PutU32(header, 0x06030000);
    EXPECT_EQ(std::vector<std::uint8_t>(sent.begin(), sent.begin() + 64), header);
    EXPECT_EQ(U32At(sent, 72), 0xA1B2C3D4u);
    EXPECT_EQ(std::vector<std::uint8_t>(sent.begin() + 76, sent.end()), [] {
        std::vector<std::uint8_t> b(256, 0);
        b[0] = 1;
        return b;
    }());
    EXPECT_TRUE(TokenMadeBetween(sent, kAutoRegister.clientKey, before,
                                 Orvane::Platform::CurrentLocalTime()));
}

TEST_F(WindowsMessagingWindowTest, SendFramesThePayloadAndReportsTheTransport) {
    Open(kManualRegister);
    const std::uint8_t payload[] = {0xDE, 0xAD, 0xBE};
    EXPECT_EQ(m_window->Send(2005, payload, 3, 11, 22), LUMO_INVALID_HANDLE);
    m_service.Announce();
    EXPECT_EQ(m_window->Send(2005, payload, 3, 11, 22), LUMO_SUCCESS);
    ASSERT_EQ(m_service.Received().size(), 1u);
    EXPECT_EQ(U32At(m_service.Received()[0], 4), 11u);
    EXPECT_EQ(m_service.Received()[0].size(), 63u);
    // A message says its size in 32 bits: one too large for that is refused, not cut.
    EXPECT_EQ(m_window->Send(2005, payload, UINT32_MAX - 59, 0, 0), LUMO_BAD_PARAMETER);
    EXPECT_EQ(m_service.Received().size(), 1u);
    m_service.Refuse();
    EXPECT_EQ(m_window->Send(2005, nullptr, 0, 0, 0), LUMO_EXECUTION_FAILED);
}

TEST_F(WindowsMessagingWindowTest, SendRawConcatenatesWithoutHeader) {
    Open(kManualRegister);
    const std::uint8_t a[] = {1, 2}, b[] = {3}, c[] = {4, 5, 6};
    const WindowHandle to = m_service.Window();
    EXPECT_EQ(m_window->SendRaw(0, a, 2, b, 1, c, 3), LUMO_INVALID_HANDLE);
    EXPECT_EQ(m_window->SendRaw(to, nullptr, 2, b, 1, c, 3), LUMO_BAD_PARAMETER);
    EXPECT_EQ(m_window->SendRaw(to, a, 0, b, 1, c, 3), LUMO_BAD_PARAMETER);
    EXPECT_EQ(m_window->SendRaw(to, a, 0xFFFFFFFF, b, 1, nullptr, 0), LUMO_BAD_PARAMETER);
    EXPECT_TRUE(m_service.Received().empty());
    EXPECT_EQ(m_window->SendRaw(to, a, 2, b, 1, c, 3), LUMO_SUCCESS);
    EXPECT_EQ(m_service.Received().back(), (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(m_window->SendRaw(to, a, 2, b, 1, nullptr, 0), LUMO_SUCCESS);
    EXPECT_EQ(m_service.Received().back(), (std::vector<std::uint8_t>{1, 2, 3}));
    // Without a second part the third is skipped too, but the block keeps the summed size.
    EXPECT_EQ(m_window->SendRaw(to, a, 2, nullptr, 1, c, 3), LUMO_SUCCESS);
    ASSERT_EQ(m_service.Received().back().size(), 6u);
    EXPECT_EQ(m_service.Received().back()[1], 2);
    m_service.Refuse();
    EXPECT_EQ(m_window->SendRaw(to, a, 2, nullptr, 0, nullptr, 0), LUMO_EXECUTION_FAILED);
}

}  // namespace
}  // namespace Quorvel::Lumo::Api::testing
