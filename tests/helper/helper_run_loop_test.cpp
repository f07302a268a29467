
#include "diagnostics/flow_point.h"
#include "diagnostics/k_logger_adapter.h"
#include "platform/message_wait.h"
#include "tests/helper/helper_harness.h"
#include "tests/identification/instrument_record.h"

namespace HelperTesting {
namespace {

using Orvane::Platform::kWaitAbandoned0;
using Orvane::Platform::kWaitFailed;

constexpr const wchar_t* kStartedText =
    L"LumoDiscoveryPluginHelper using LUMO API v6.3.0.0 (2022-01-12)\n";

TEST(HelperRun, BeatsEveryIntervalFromAKnownStateUntilThePlugInAsksToEnd) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.ExitBeforeWait(5);
    EXPECT_EQ(h.Run(), 0);
    EXPECT_EQ(h.SentCodes(), std::vector<std::uint32_t>(5, PluginMsgHeartbeat));
    const auto beat = h.ipc.Sent()[0];
    EXPECT_EQ(beat.target, h.helper->PluginChannel());
    EXPECT_EQ(beat.senderName, "LumoDiscoveryPluginHelper");
    EXPECT_EQ(beat.targetName, "LumoDiscoveryPluginIpcChannel");
    EXPECT_TRUE(beat.data.empty());
    EXPECT_EQ(h.debug.NarrowTexts(), std::vector<std::string>{"LumoDiscoveryPluginHelper EXIT\n"});
    // Every wait is on [data ready, stop event] with the beat as its time-out.
    for (const auto& call : h.wait.Waits()) {
        ASSERT_EQ(call.handles.size(), 2u);
        EXPECT_EQ(call.handles[1], h.helper->StopEvent());
        EXPECT_EQ(call.timeoutMs, 2000u);
    }
    const DdsInstrumentInfo& info = h.helper->InstrumentInfo();
    EXPECT_STREQ(info.name, "Unknown");
    EXPECT_EQ(info.intervalMs, 2000u);
}

TEST(HelperRun, WindowMessagesDoNotPushTheBeatBack) {
    HelperHarness h;
    h.InitializeWithPlugin();
    // A window message every 500 ms of simulated time: each is dispatched, and the beat must
    // still come every 2000.
    int dispatched = 0;
    for (std::size_t i = 0; i < 16; ++i) {
        h.BeforeWait(i, [&h, &dispatched] {
            h.clock.Advance(500);
            h.wait.PostInput([&dispatched] { ++dispatched; });
        });
    }
    h.ExitBeforeWait(16);
    EXPECT_EQ(h.Run(), 0);
    EXPECT_EQ(h.SentCodes(), std::vector<std::uint32_t>(4, PluginMsgHeartbeat));
    EXPECT_EQ(dispatched, 16);
}

// An arm announced before the failure is withdrawn on the way out.
TEST(HelperRun, FailuresEndWithMinusOneAndAreReportedWhenThereIsSomeoneToTell) {
    const std::string waitText = "General failure with WaitForMultipleObjects ().";
    const std::string readText = "Failed to read own IPC channel.";
    const struct {
        const char* what;
        std::function<void(HelperHarness&)> arrange;
        std::string report;  // empty: none
        std::size_t beats;
        bool topBitPluginHandle = false;
    } cases[] = {
        // clang-format off
        {"wait failed", [](HelperHarness& h) { h.wait.ScriptWait(kWaitFailed); }, waitText, 0},
        {"data-ready abandoned", [](HelperHarness& h) { h.wait.ScriptWait(kWaitAbandoned0); }, waitText, 0},
        {"stop event abandoned", [](HelperHarness& h) { h.wait.ScriptWait(kWaitAbandoned0 + 1); }, waitText, 0},
        {"index beyond the handles", [](HelperHarness& h) { h.wait.ScriptWait(3); }, waitText, 0},
        {"look after the pumped message failed", [](HelperHarness& h) { h.wait.PostInput(); h.wait.ScriptPoll(kWaitFailed); }, waitText, 0},
        {"read failed", [](HelperHarness& h) { h.ipc.Deliver(kHelperChannelName, 1002); h.ipc.FailNext(Call::Read, 0x1F); }, readText, 0},
        {"signalled with nothing to read", [](HelperHarness& h) { h.wait.ScriptWait(0); }, readText, 0},
        {"message beyond the 1024 bytes", [](HelperHarness& h) { h.ipc.DeliverRaw(kHelperChannelName, std::vector<std::uint8_t>(1025)); }, readText, 0},
        {"heartbeat failed", [](HelperHarness& h) { h.BeforeWait(2, [&h] { h.ipc.RemovePeerChannel(kPluginChannelName); }); }, "", 2},
        // The plug-in's handle has its top bit set: beats go out, reports do not.
        {"top-bit plug-in handle", [](HelperHarness& h) { h.BeforeWait(1, [&h] { h.wait.ScriptWait(kWaitFailed); }); }, "", 1, true},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HelperHarness h;
        if (c.topBitPluginHandle) {
            h.ipc.SetNextHandle(0x7FFFFFFF);  // own channel; the plug-in's becomes 0x80000000
        }
        h.InitializeWithPlugin();
        const Record arm;
        h.BeforeWait(0, [&] { h.helper->OnInstrumentData(arm.data()); });
        c.arrange(h);
        EXPECT_EQ(h.Run(), -1);
        EXPECT_EQ(h.DatagramTypes().back(), kWithdraw);
        std::vector<std::uint32_t> codes(c.beats, PluginMsgHeartbeat);
        if (!c.report.empty()) {
            codes.push_back(1100);
            const auto data = h.ipc.Sent().back().data;
            EXPECT_EQ(std::string(data.begin(), data.end()), c.report + '\0');
        }
        EXPECT_EQ(h.SentCodes(), codes);
    }
}

TEST(HelperRun, WithoutTheDataReadyEventTheLibrarysCodeIsReturnedAtOnce) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.ipc.FailNext(Call::GetDataReadyEvent, 0x5151);
    EXPECT_EQ(h.Run(), 0x5151);
    EXPECT_EQ(h.wait.WaitCount(), 0u);
    EXPECT_TRUE(h.ipc.Sent().empty());
    EXPECT_NE(RenderFlowLogText().find("% Timing_point (20817, 0) in_class "
                                       "LumoDiscoveryPluginHelper at Run "),
              std::string::npos);
}

TEST(HelperRun, TheClientIsStartedAtAWakeUpWithoutStopEventUntilItIsConnected) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.windows.FailCreate(Orvane::Platform::FakeMessageWindow::CreateFailure::OutOfMemory);
    h.BeforeWait(1, [&h] { h.helper->OnServerDown(); });  // wake-up 2 skips the start
    h.BeforeWait(3, [&h] {
        h.windows.FailCreate(Orvane::Platform::FakeMessageWindow::CreateFailure::None);
    });
    h.BeforeWait(4, [&h] { h.helper->OnConnectedToServer(); });
    h.ExitBeforeWait(6);
    EXPECT_EQ(h.Run(), 0);
    EXPECT_EQ(h.debug.WideTexts(),
              (std::vector<std::wstring>{L"Cannot start the API client",
                                         L"LumoDiscoveryPluginHelper::OnServerDown\n",
                                         L"Cannot start the API client", kStartedText,
                                         L"LumoDiscoveryPluginHelper::OnConnectedToServer\n"}));
    EXPECT_EQ(h.windows.CreatedWindows().size(), 1u);
}

// Other data only leaves its record in the flow log, as does the way out.
TEST(HelperServiceCallbacks, ServerDownSignalsTheStopEventAndOtherDataIsIgnored) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.helper->OnConnectedToServer();
    MKLoggerAdapter::Instance().Logger().ResetForTesting(1);
    h.helper->OnServerDown();
    EXPECT_FALSE(h.helper->ConnectedToServer());
    EXPECT_TRUE(h.objects.IsSignalled(h.helper->StopEvent()));
    const std::uint8_t record[700] = {};
    h.helper->OnReliableMeasurement(record);
    h.helper->OnUnreliableMeasurement(record);
    h.helper->OnSpontaneousError(1);
    h.helper->OnUnhandledException(0xC0000005);
    h.helper->DeInitialize();
    EXPECT_EQ(h.debug.WideTexts().size(), 2u);
    EXPECT_TRUE(h.ipc.Sent().empty());
    const std::string log = RenderFlowLogText();
    const std::pair<const char*, const char*> records[] = {{"0", "OnServerDown"},
                                                           {"0", "OnReliableMeasurement"},
                                                           {"0", "OnUnreliableMeasurement"},
                                                           {"1", "OnSpontaneousError"},
                                                           {"3221225477", "OnUnhandledException"},
                                                           {"0", "DeInitialize"}};
    for (const auto& [code, function] : records) {
        const std::string line = std::string("% Timing_point (") + code +
                                 ", 0) in_class LumoDiscoveryPluginHelper at " + function;
        EXPECT_NE(log.find(line), std::string::npos) << line;
    }
}

}  // namespace
}  // namespace HelperTesting
