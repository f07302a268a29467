#include <algorithm>
#include <sstream>
#include <thread>

#include "diagnostics/k_logger_adapter.h"
#include "helper/command_line.h"
#include "platform/console_control.h"
#include "tests/helper/helper_harness.h"

namespace HelperTesting {
namespace {

TEST(DebugModeSwitch, OnlyAFirstArgumentOfExactlyDashDSwitchesItOn) {
    const struct {
        std::vector<const char*> arguments;  // after the program name
        bool debugMode;
    } cases[] = {
        {{}, false},          {{"-d"}, true},   {{"-d", "more"}, true}, {{"-D"}, false},
        {{"-dd"}, false},     {{"-d "}, false}, {{"d"}, false},         {{"/d"}, false},
        {{"x", "-d"}, false}, {{""}, false},
    };
    for (const auto& c : cases) {
        std::vector<const char*> argv{"LumoDiscoveryHelper.exe"};
        argv.insert(argv.end(), c.arguments.begin(), c.arguments.end());
        EXPECT_EQ(IsDebugModeRequested(static_cast<int>(argv.size()), argv.data()), c.debugMode)
            << (c.arguments.empty() ? "(none)" : c.arguments[0]);
    }
}

TEST(HelperInitialize, OpensEverythingOrReleasesWhatTheFailedStepLeavesOpen) {
    constexpr std::uint32_t kFailure = 0x2A;
    const struct {
        const char* what;
        bool pluginPresent;
        bool debugMode;
        std::function<void(HelperHarness&)> arrange;
        int result;
        std::vector<Call> calls;
        bool stopEventOpen;
        bool ownChannelOpen;
        bool handlerInstalled;
    } cases[] = {
        {"everything there",
         true,
         false,
         {},
         0,
         {Call::Initialize, Call::Create, Call::Open},
         true,
         true,
         true},
        {"no event",
         true,
         false,
         [](HelperHarness& h) { h.events.FailCreation(true); },
         -1,
         {},
         false,
         false,
         false},
        {"library refuses",
         true,
         false,
         [](HelperHarness& h) { h.ipc.FailNext(Call::Initialize, kFailure); },
         -1,
         {Call::Initialize},
         false,
         false,
         false},
        {"own channel refused",
         true,
         false,
         [](HelperHarness& h) { h.ipc.FailNext(Call::Create, kFailure); },
         -1,
         {Call::Initialize, Call::Create},
         false,
         false,
         false},
        {"no plug-in",
         false,
         false,
         {},
         -1,
         {Call::Initialize, Call::Create, Call::Open, Call::Close},
         false,
         false,
         false},
        {"no plug-in in debug mode",
         false,
         true,
         {},
         0,
         {Call::Initialize, Call::Create, Call::Open},
         true,
         true,
         false},
        {"plug-in in debug mode",
         true,
         true,
         {},
         0,
         {Call::Initialize, Call::Create, Call::Open},
         true,
         true,
         true},
        {"console handler refused",
         true,
         false,
         [](HelperHarness& h) { h.console.FailNextAdd(kFailure); },
         -1,
         {Call::Initialize, Call::Create, Call::Open},
         true,
         true,
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HelperHarness h;
        if (c.pluginPresent) {
            h.PluginPresent();
        }
        if (c.arrange) {
            c.arrange(h);
        }
        EXPECT_EQ(h.helper->Initialize(c.debugMode), c.result);
        EXPECT_EQ(h.ipc.Calls(), c.calls);
        EXPECT_EQ(h.helper->StopEvent() != nullptr, c.stopEventOpen);
        // The stop event and the own channel's data-ready event are the only objects.
        EXPECT_EQ(h.objects.OpenCount(),
                  (c.stopEventOpen ? 1u : 0u) + (c.ownChannelOpen ? 1u : 0u));
        EXPECT_EQ(h.ipc.OwnChannel(kHelperChannelName) != 0, c.ownChannelOpen);
        EXPECT_EQ(h.console.Installed().size(), c.handlerInstalled ? 1u : 0u);
        EXPECT_TRUE(h.ipc.Sent().empty()) << "Initialize reports nothing to the plug-in";
        const bool pluginOpened =
            c.pluginPresent && std::count(c.calls.begin(), c.calls.end(), Call::Open) == 1;
        EXPECT_EQ(h.helper->PluginChannel() != 0, pluginOpened);
    }
}

TEST(HelperInitialize, EachFailedStepsCodeIsInTheFlowLog) {
    const struct {
        Call step;
        std::uint32_t code;
    } cases[] = {{Call::Initialize, 0x2A01}, {Call::Create, 0x2A02}, {Call::Open, 0x2A03}};
    for (const auto& c : cases) {
        HelperHarness h;
        h.PluginPresent();
        h.ipc.FailNext(c.step, c.code);
        EXPECT_EQ(h.helper->Initialize(false), -1);
        std::ostringstream log;
        MKLoggerAdapter::Instance().Render(log);
        const std::string record = "% Timing_point (" + std::to_string(c.code) +
                                   ", 0) in_class LumoDiscoveryPluginHelper at Initialize";
        EXPECT_NE(log.str().find(record), std::string::npos) << record;
    }
}

TEST(HelperInitialize, AMissingPlugInLeavesTheClosedOwnChannelToBeClosedOnceMore) {
    HelperHarness h;
    ASSERT_EQ(h.helper->Initialize(false), -1);
    const std::uint32_t own = h.helper->OwnChannel();
    ASSERT_NE(own, 0u);
    EXPECT_EQ(h.ipc.Closed(), std::vector<std::uint32_t>{own});

    EXPECT_EQ(h.helper->DeInitialize(), 0);
    EXPECT_EQ(h.helper->OwnChannel(), 0u);
    EXPECT_EQ(h.CallCount(Call::Close), 2u) << "closed by Initialize and again by DeInitialize";
}

TEST(HelperDeInitialize, ClosesEverythingOnceAndNothingTheSecondTime) {
    HelperHarness h;
    h.InitializeWithPlugin();
    const std::uint32_t own = h.helper->OwnChannel();

    EXPECT_EQ(h.helper->DeInitialize(), 0);
    EXPECT_EQ(h.ipc.Closed(), std::vector<std::uint32_t>{own})
        << "only the own channel; the plug-in's is left to the library";
    EXPECT_EQ(h.events.ClosedCount(), 1);
    EXPECT_EQ(h.objects.OpenCount(), 0u);
    EXPECT_TRUE(h.console.Installed().empty());
    EXPECT_EQ(h.helper->StopEvent(), nullptr);

    EXPECT_EQ(h.helper->DeInitialize(), 0);
    EXPECT_EQ(h.CallCount(Call::Close), 1u);
    EXPECT_EQ(h.events.ClosedCount(), 1);
    const auto calls = h.console.Calls();
    ASSERT_EQ(calls.size(), 3u) << "add, remove, and the second remove";
    EXPECT_NE(calls[2].result, 0u) << "the second removal fails and is only recorded";

    h.helper.reset();
    EXPECT_EQ(h.CallCount(Call::Close), 1u) << "the destructor's DeInitialize closes nothing";
}

TEST(HelperExecute, RunsTheLoopBetweenInitializeAndDeInitializeOrStopsAfterAFailedInitialize) {
    {
        HelperHarness h;
        h.PluginPresent();
        h.ExitBeforeWait(0);
        h.helper->Execute(false);
        EXPECT_EQ(h.wait.WaitCount(), 1u);
        EXPECT_EQ(h.helper->OwnChannel(), 0u) << "DeInitialize ran";
        EXPECT_EQ(h.objects.OpenCount(), 0u);
    }
    {
        HelperHarness h;
        h.helper->Execute(false);
        EXPECT_EQ(h.wait.WaitCount(), 0u) << "no plug-in: no loop";
        EXPECT_NE(h.helper->OwnChannel(), 0u) << "left for the destructor";
    }
}

TEST(HelperConsoleControl, SessionEndingEventsTellThePlugInOthersPassOn) {
    const struct {
        std::uint32_t eventType;
        bool handled;
    } cases[] = {
        {Orvane::Platform::kCtrlCEvent, false},
        {Orvane::Platform::kCtrlBreakEvent, false},
        {Orvane::Platform::kCtrlCloseEvent, true},
        {Orvane::Platform::kCtrlLogoffEvent, true},
        {Orvane::Platform::kCtrlShutdownEvent, true},
        {3, false},
        {4, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.eventType);
        HelperHarness h;
        h.InitializeWithPlugin();
        bool handled = false;
        // The system calls the handler on a thread of its own.
        std::thread([&] { handled = h.console.Raise(c.eventType); }).join();
        EXPECT_EQ(handled, c.handled);
        const auto sent = h.ipc.Sent();
        ASSERT_EQ(sent.size(), c.handled ? 1u : 0u);
        if (c.handled) {
            EXPECT_EQ(sent[0].code, static_cast<std::uint32_t>(PluginMsgExit));
            EXPECT_TRUE(sent[0].data.empty());
            EXPECT_EQ(sent[0].target, h.helper->PluginChannel());
            EXPECT_EQ(sent[0].senderName, "LumoDiscoveryPluginHelper");
            EXPECT_EQ(sent[0].targetName, "LumoDiscoveryPluginIpcChannel");
        }
    }
}

TEST(HelperConsoleControl, WithoutALiveHelperOrWithoutAPlugInNothingIsSent) {
    HelperHarness h;
    h.helper->Initialize(true);  // debug mode, no plug-in
    EXPECT_EQ(h.helper->SendUserLoggedMessage(), 0u);
    h.helper->NotifyUserLogged();
    EXPECT_EQ(LumoDiscoveryPluginHelper::ConsoleCtrlHandler(Orvane::Platform::kCtrlCloseEvent), 1)
        << "handled even so";
    h.helper.reset();
    EXPECT_EQ(LumoDiscoveryPluginHelper::ConsoleCtrlHandler(Orvane::Platform::kCtrlCloseEvent), 0);
    EXPECT_EQ(h.CallCount(Call::Write), 0u);
}

TEST(HelperConsoleControl, TheUserLoggedMessageReturnsTheWritesResult) {
    HelperHarness h;
    h.InitializeWithPlugin();
    h.ipc.FailNext(Call::Write, 0x77);
    EXPECT_EQ(h.helper->SendUserLoggedMessage(), 0x77u);
    EXPECT_EQ(h.helper->SendUserLoggedMessage(), 0u);
    EXPECT_EQ(h.SentCodes(), std::vector<std::uint32_t>{PluginMsgExit});
}

}  // namespace
}  // namespace HelperTesting
