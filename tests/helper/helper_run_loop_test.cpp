#include <cstring>

#include "platform/message_wait.h"
#include "tests/helper/helper_harness.h"

namespace HelperTesting {
namespace {

using Orvane::Platform::kWaitAbandoned0;
using Orvane::Platform::kWaitFailed;
using Orvane::Platform::kWaitTimeout;

// The bytes of an error message as the plug-in receives them, spelt out here.
std::vector<std::uint8_t> TextWithTerminator(const char* text) {
    std::vector<std::uint8_t> bytes(text, text + std::strlen(text));
    bytes.push_back(0);
    return bytes;
}

TEST(HelperRun, BeatsEveryIntervalUntilThePlugInAsksToEnd) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.ExitBeforeWait(5);

    EXPECT_EQ(h.Run(), 0);
    EXPECT_EQ(h.SentCodes(), std::vector<std::uint32_t>(5, PluginMsgHeartbeat));
    for (const auto& message : h.ipc.Sent()) {
        EXPECT_EQ(message.target, h.helper->PluginChannel());
        EXPECT_EQ(message.senderName, "LumoDiscoveryPluginHelper");
        EXPECT_EQ(message.targetName, "LumoDiscoveryPluginIpcChannel");
        EXPECT_TRUE(message.data.empty());
    }
    const auto narrow = h.debug.NarrowTexts();
    EXPECT_EQ(narrow, std::vector<std::string>{"LumoDiscoveryPluginHelper EXIT\n"});

    // Every wait is on [data ready, stop event] with the beat as its time-out.
    for (const auto& call : h.wait.Calls()) {
        ASSERT_EQ(call.kind, WaitKind::Wait);
        ASSERT_EQ(call.handles.size(), 2u);
        EXPECT_EQ(call.handles[1], h.helper->StopEvent());
        EXPECT_TRUE(call.handles[0] != h.helper->StopEvent() && call.handles[0] != nullptr);
        EXPECT_EQ(call.timeoutMs, 2000u);
    }
}

TEST(HelperRun, StartsEachRunFromAKnownState) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.ExitBeforeWait(0);
    EXPECT_EQ(h.Run(), 0);
    const DdsInstrumentInfo& info = h.helper->InstrumentInfo();
    EXPECT_STREQ(info.name, "Unknown");
    EXPECT_EQ(info.intervalMs, 2000u);
    EXPECT_EQ(info.state, 0);
    EXPECT_EQ(info.reserved1, 0);
    EXPECT_FALSE(h.helper->ConnectedToServer());
}

TEST(HelperRun, WindowMessagesDoNotPushTheBeatBack) {
    HelperHarness h;
    h.InitializeWithPlugin();
    // A window message every 500 ms of simulated time: each wake-up pumps one and then looks
    // at the handles, finding nothing. The beat must still come every 2000 ms.
    constexpr std::size_t kWakeUps = 16;
    for (std::size_t i = 0; i < kWakeUps; ++i) {
        h.BeforeWait(i, [&h] {
            h.clock.Advance(500);
            h.wait.PostInput();
        });
    }
    h.ExitBeforeWait(kWakeUps);
    EXPECT_EQ(h.Run(), 0);
    EXPECT_EQ(h.SentCodes(), std::vector<std::uint32_t>(kWakeUps / 4, PluginMsgHeartbeat));
}

TEST(HelperRun, APumpedMessageIsFollowedByAZeroTimeLookAtTheHandles) {
    HelperHarness h;
    h.InitializeWithPlugin();
    bool dispatched = false;
    h.BeforeWait(0, [&] {
        // The message's window procedure makes the exit message arrive meanwhile.
        h.wait.PostInput([&] {
            dispatched = true;
            h.ipc.Deliver(kHelperChannelName, PluginMsgExit);
        });
    });
    EXPECT_EQ(h.Run(), 0);
    EXPECT_TRUE(dispatched);
    const auto calls = h.wait.Calls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].kind, WaitKind::Wait);
    EXPECT_EQ(calls[0].result, 2u) << "input is waiting";
    EXPECT_EQ(calls[1].kind, WaitKind::Dispatch);
    EXPECT_EQ(calls[1].result, 1u);
    EXPECT_EQ(calls[2].kind, WaitKind::Poll);
    EXPECT_EQ(calls[2].handles, calls[0].handles);
    EXPECT_EQ(calls[2].result, 0u) << "the exit message found without waiting";
}

TEST(HelperRun, ChannelDataWinsOverTheStopEventWhichIsSeenNext) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.BeforeWait(0, [&h] {
        h.ipc.Deliver(kHelperChannelName, 7);
        h.helper->OnServerDown();
    });
    h.ExitBeforeWait(2);
    EXPECT_EQ(h.Run(), 0);
    EXPECT_EQ(h.WaitResults(), (std::vector<std::uint32_t>{0, 1, 0}));
    EXPECT_EQ(h.CallCount(Call::Read), 2u);
    EXPECT_FALSE(h.helper->InstrumentAnnounced());
}

TEST(HelperRun, OnlyMessagesWhoseFirstFourBytesMake1002EndTheLoop) {
    const struct {
        const char* what;
        std::vector<std::vector<std::uint8_t>> messages;  // as read, in order
        bool exits;
    } cases[] = {
        {"exit", {{0xEA, 0x03, 0, 0}}, true},
        {"exit with data behind it", {{0xEA, 0x03, 0, 0, 'x', 'y', 0}}, true},
        {"heartbeat code", {{0xE9, 0x03, 0, 0}}, false},
        {"1002 in the wrong byte order", {{0, 0, 0x03, 0xEA}}, false},
        {"1002 shifted by a byte", {{0, 0xEA, 0x03, 0, 0}}, false},
        {"one byte over the initial buffer", {{0xEA}}, false},
        {"one byte completing an earlier message's code", {{0x11, 0x03, 0, 0}, {0xEA}}, true},
        {"two bytes over an earlier message's high bytes",
         {{0x11, 0x22, 0x33, 0x44}, {0xEA, 0x03}},
         false},
        {"two bytes over the initial buffer", {{0xEA, 0x03}}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HelperHarness h;
        h.InitializeWithPlugin();
        for (std::size_t i = 0; i < c.messages.size(); ++i) {
            h.BeforeWait(i, [&h, message = c.messages[i]] {
                h.ipc.DeliverRaw(kHelperChannelName, message);
            });
        }
        // Otherwise a real exit message ends the loop after one more beat.
        h.ExitBeforeWait(c.messages.size() + 1);
        EXPECT_EQ(h.Run(), 0);
        EXPECT_EQ(h.CallCount(Call::Read), c.messages.size() + (c.exits ? 0 : 1));
    }
}

TEST(HelperRun, FailedWaitsAndReadsReportTheirTextAndEndWithMinusOne) {
    constexpr std::uint32_t kFailure = 0x1F;
    const struct {
        const char* what;
        std::function<void(HelperHarness&)> arrange;
        const char* text;
    } cases[] = {
        {"wait failed", [](HelperHarness& h) { h.wait.ScriptWait(kWaitFailed); },
         "General failure with WaitForMultipleObjects ()."},
        {"data-ready abandoned", [](HelperHarness& h) { h.wait.ScriptWait(kWaitAbandoned0); },
         "General failure with WaitForMultipleObjects ()."},
        {"stop event abandoned", [](HelperHarness& h) { h.wait.ScriptWait(kWaitAbandoned0 + 1); },
         "General failure with WaitForMultipleObjects ()."},
        {"index beyond the handles", [](HelperHarness& h) { h.wait.ScriptWait(3); },
         "General failure with WaitForMultipleObjects ()."},
        {"look after the pumped message failed",
         [](HelperHarness& h) {
             h.wait.PostInput();
             h.wait.ScriptPoll(kWaitFailed);
         },
         "General failure with WaitForMultipleObjects ()."},
        {"read failed",
         [](HelperHarness& h) {
             h.ipc.Deliver(kHelperChannelName, PluginMsgExit);
             h.ipc.FailNext(Call::Read, kFailure);
         },
         "Failed to read own IPC channel."},
        {"signalled with nothing to read", [](HelperHarness& h) { h.wait.ScriptWait(0); },
         "Failed to read own IPC channel."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HelperHarness h;
        h.InitializeWithPlugin();
        c.arrange(h);
        EXPECT_EQ(h.Run(), -1);
        const auto sent = h.ipc.Sent();
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(sent[0].code, 1100u);
        EXPECT_EQ(sent[0].data, TextWithTerminator(c.text));
        EXPECT_EQ(sent[0].target, h.helper->PluginChannel());
        EXPECT_EQ(h.wait.WaitCount(), 1u);
    }
}

TEST(HelperRun, AFailedHeartbeatEndsTheLoopWithoutAReport) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.BeforeWait(2, [&h] { h.ipc.RemovePeerChannel(kPluginChannelName); });
    EXPECT_EQ(h.Run(), -1);
    EXPECT_EQ(h.SentCodes(), std::vector<std::uint32_t>(2, PluginMsgHeartbeat));
    EXPECT_EQ(h.CallCount(Call::Write), 3u) << "two beats, the failed one, and no report";
    EXPECT_EQ(h.wait.WaitCount(), 3u);
}

TEST(HelperRun, WithoutTheDataReadyEventTheLibrarysCodeIsReturnedAtOnce) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.ipc.FailNext(Call::GetDataReadyEvent, 0x5151);
    EXPECT_EQ(h.Run(), 0x5151);
    EXPECT_EQ(h.wait.WaitCount(), 0u);
    EXPECT_TRUE(h.ipc.Sent().empty());
}

TEST(HelperRun, InDebugModeWithoutAPlugInNothingIsEverSent) {
    HelperHarness h;
    ASSERT_EQ(h.helper->Initialize(true), 0);
    h.ExitBeforeWait(10);
    EXPECT_EQ(h.Run(), 0);
    EXPECT_EQ(h.wait.WaitCount(), 11u);

    h.ipc.FailNext(Call::Read, 9);
    h.ipc.Deliver(kHelperChannelName, 5);
    EXPECT_EQ(h.Run(), -1) << "a failure, but nobody to report it to";
    EXPECT_EQ(h.CallCount(Call::Write), 0u);
}

TEST(HelperRun, APlugInHandleWithTheTopBitSetGetsBeatsButNoReports) {
    HelperHarness h;
    h.ipc.SetNextHandle(0x7FFFFFFF);  // own channel; the plug-in's becomes 0x80000000
    h.InitializeWithPlugin();
    ASSERT_EQ(h.helper->PluginChannel(), 0x80000000u);
    h.BeforeWait(1, [&h] { h.wait.ScriptWait(kWaitFailed); });
    EXPECT_EQ(h.Run(), -1);
    EXPECT_EQ(h.SentCodes(), std::vector<std::uint32_t>{PluginMsgHeartbeat});
    EXPECT_EQ(h.helper->SendUserLoggedMessage(), 0u);
    EXPECT_EQ(h.CallCount(Call::Write), 1u);
}

TEST(HelperRun, TheStopEventSkipsTheClientStartForThatWakeUp) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.BeforeWait(0, [&h] { h.helper->OnServerDown(); });
    std::size_t textsBeforeSecondWait = 0;
    h.BeforeWait(1, [&] {
        textsBeforeSecondWait = h.debug.WideTexts().size();
        h.ipc.Deliver(kHelperChannelName, PluginMsgExit);
    });
    EXPECT_EQ(h.Run(), 0);
    EXPECT_EQ(textsBeforeSecondWait, 1u) << "only OnServerDown's own text";
    const auto wide = h.debug.WideTexts();
    ASSERT_EQ(wide.size(), 2u);
    EXPECT_EQ(wide[0], L"LumoDiscoveryPluginHelper::OnServerDown\n");
    EXPECT_EQ(wide[1], L"LumoDiscoveryPluginHelper using LUMO API v6.3.0.0 (2022-01-12)\n");
}

TEST(HelperRun, AConnectedClientIsNotStartedAgain) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.BeforeWait(0, [&h] {
        h.helper->OnConnectedToServer();
        h.ipc.Deliver(kHelperChannelName, PluginMsgExit);
    });
    EXPECT_EQ(h.Run(), 0);
    EXPECT_TRUE(h.helper->ConnectedToServer());
    EXPECT_EQ(h.debug.WideTexts(),
              std::vector<std::wstring>{L"LumoDiscoveryPluginHelper::OnConnectedToServer\n"});
}

TEST(HelperServiceCallbacks, ServerDownSignalsTheStopEventAndClearsTheConnection) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.helper->OnConnectedToServer();
    EXPECT_TRUE(h.helper->ConnectedToServer());
    EXPECT_FALSE(h.objects.IsSignalled(h.helper->StopEvent()));
    h.helper->OnServerDown();
    EXPECT_FALSE(h.helper->ConnectedToServer());
    EXPECT_TRUE(h.objects.IsSignalled(h.helper->StopEvent()));

    const std::uint8_t record[700] = {};
    h.helper->OnInstrumentData(record);
    h.helper->OnReliableMeasurement(record);
    h.helper->OnUnreliableMeasurement(record);
    h.helper->OnSpontaneousError(1);
    h.helper->OnUnhandledException(0xC0000005);
    EXPECT_EQ(h.debug.WideTexts(),
              (std::vector<std::wstring>{L"LumoDiscoveryPluginHelper::OnConnectedToServer\n",
                                         L"LumoDiscoveryPluginHelper::OnServerDown\n",
                                         L"LumoDiscoveryPluginHelper::OnInstrumentData\n"}));
    EXPECT_TRUE(h.ipc.Sent().empty());
}

}  // namespace
}  // namespace HelperTesting
