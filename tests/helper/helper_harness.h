// One helper object over fakes of every platform service it touches, with the simulated
// clock moved on by each wait that times out: a loop of minutes runs in microseconds.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "helper/lumo_discovery_plugin_helper.h"
#include "helper/plugin_messages.h"
#include "network/socket_system.h"
#include "network/testing/fake_socket_system.h"
#include "platform/service.h"
#include "platform/testing/fake_console_control.h"
#include "platform/testing/fake_debug_output.h"
#include "platform/testing/fake_events.h"
#include "platform/testing/fake_ipc_library.h"
#include "platform/testing/fake_message_wait.h"
#include "platform/testing/fake_message_window.h"
#include "platform/testing/fake_monotonic_clock.h"

namespace HelperTesting {

namespace Fakes = Orvane::Platform::Testing;
constexpr std::uint16_t kAnnounce = 5009;
constexpr std::uint16_t kWithdraw = 5010;
using Orvane::Platform::ScopedOverride;
using Call = Fakes::FakeIpcLibrary::Call;

// Construct one per test (or per case of a table): it installs its fakes for its lifetime.
struct HelperHarness {
    HelperHarness() {
        wait.SetWaitBudget(1000);
        helper.emplace();
    }

    void PluginPresent() { ipc.AddPeerChannel(kPluginChannelName); }

    void InitializeWithPlugin() {
        PluginPresent();
        ASSERT_EQ(helper->Initialize(false), 0);
    }

    // Runs `action` just before the wait with that number (0 = the first).
    void BeforeWait(std::size_t number, std::function<void()> action) {
        actions.push_back({number, std::move(action)});
        wait.BeforeEachWait([this](std::size_t waitNumber) {
            for (const auto& [at, scheduled] : actions) {
                if (at == waitNumber) {
                    scheduled();
                }
            }
        });
    }

    // The plug-in's exit message is waiting for the wait with that number.
    void ExitBeforeWait(std::size_t number) {
        BeforeWait(number, [this] { ipc.Deliver(kHelperChannelName, PluginMsgExit); });
    }

    int Run() {
        const int result = helper->Run();
        EXPECT_FALSE(wait.BudgetSpent()) << "the loop did not end by itself";
        return result;
    }

    std::vector<std::uint32_t> SentCodes() const {
        std::vector<std::uint32_t> codes;
        for (const auto& message : ipc.Sent()) {
            codes.push_back(message.code);
        }
        return codes;
    }

    // The message type of every datagram sent, in order.
    std::vector<std::uint16_t> DatagramTypes() const {
        std::vector<std::uint16_t> types;
        for (const auto& datagram : sockets.sent) {
            types.push_back(
                static_cast<std::uint16_t>(datagram.bytes.at(4) | datagram.bytes.at(5) << 8));
        }
        return types;
    }

    std::size_t CallCount(Call call) const {
        const auto calls = ipc.Calls();
        return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), call));
    }

    Fakes::FakeKernelObjects objects;
    Fakes::FakeMonotonicClock clock;
    Fakes::FakeIpcLibrary ipc{objects};
    Fakes::FakeEvents events{objects};
    Fakes::FakeMessageWait wait{objects, &clock};
    Fakes::FakeConsoleControl console;
    Fakes::FakeDebugOutput debug;
    Orvane::Network::Testing::FakeSocketSystem sockets;
    Orvane::Platform::FakeMessageWindow windows;
    ScopedOverride<Orvane::Platform::IpcLibrary> useIpc{ipc};
    ScopedOverride<Orvane::Platform::Events> useEvents{events};
    ScopedOverride<Orvane::Platform::MessageWait> useWait{wait};
    ScopedOverride<Orvane::Platform::MonotonicClock> useClock{clock};
    ScopedOverride<Orvane::Platform::ConsoleControl> useConsole{console};
    ScopedOverride<Orvane::Platform::DebugOutput> useDebug{debug};
    ScopedOverride<Orvane::Network::SocketSystem> useSockets{sockets};
    ScopedOverride<Orvane::Platform::MessageWindowService> useWindows{windows};
    std::vector<std::pair<std::size_t, std::function<void()>>> actions;
    std::optional<LumoDiscoveryPluginHelper> helper;
};

}  // namespace HelperTesting
