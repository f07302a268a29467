#include <chrono>
#include <filesystem>
#include <future>
#include <string>
#include <thread>

#include "diagnostics/flow_log_dump_on_exit.h"
#include "diagnostics/flow_point.h"
#include "diagnostics/k_logger_adapter.h"
#include "helper/command_line.h"
#include "platform/console_control.h"
#include "platform/testing/fake_registry.h"
#include "platform/testing/fake_special_folders.h"
#include "tests/helper/helper_harness.h"
#include "tests/identification/instrument_record.h"

namespace HelperTesting {
namespace {

using Orvane::Platform::kCtrlCloseEvent;

TEST(DebugModeSwitch, OnlyAFirstArgumentOfExactlyDashDSwitchesItOn) {
    const std::pair<std::vector<const char*>, bool> cases[] = {
        {{}, false},      {{"-d"}, true},   {{"-d", "more"}, true}, {{"-D"}, false},
        {{"-dd"}, false}, {{"-d "}, false}, {{"x", "-d"}, false},   {{""}, false}};
    for (const auto& [arguments, debugMode] : cases) {
        std::vector<const char*> argv{"LumoDiscoveryHelper.exe"};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(IsDebugModeRequested(static_cast<int>(argv.size()), argv.data()), debugMode)
            << (arguments.empty() ? "(none)" : arguments[0]);
    }
}

TEST(HelperInitialize, OpensEverythingOrReleasesWhatTheFailedStepLeavesOpen) {
    using C = Call;
    const struct {
        const char* what;
        bool plugin, debug;
        std::function<void(HelperHarness&)> arrange;
        int result;
        std::vector<Call> calls;
        bool stopEvent, ownChannel, handler;
    } cases[] = {
        // clang-format off
        {"everything there", true, false, {}, 0, {C::Initialize, C::Create, C::Open}, true, true, true},
        {"no event", true, false, [](HelperHarness& h) { h.events.FailCreation(true); }, -1, {}, false, false, false},
        {"library refuses", true, false, [](HelperHarness& h) { h.ipc.FailNext(C::Initialize, 0x2A01); }, -1, {C::Initialize}, false, false, false},
        {"own channel refused", true, false, [](HelperHarness& h) { h.ipc.FailNext(C::Create, 0x2A02); }, -1, {C::Initialize, C::Create}, false, false, false},
        {"plug-in's channel refused", true, false, [](HelperHarness& h) { h.ipc.FailNext(C::Open, 0x2A03); }, -1, {C::Initialize, C::Create, C::Open, C::Close}, false, false, false},
        {"no plug-in", false, false, {}, -1, {C::Initialize, C::Create, C::Open, C::Close}, false, false, false},
        {"no plug-in in debug mode", false, true, {}, 0, {C::Initialize, C::Create, C::Open}, true, true, false},
        {"console handler refused", true, false, [](HelperHarness& h) { h.console.FailNextAdd(0x2A04); }, -1, {C::Initialize, C::Create, C::Open}, true, true, false},
        // clang-format on
    };
    std::string logs;  // of every case
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        HelperHarness h;
        if (c.plugin) {
            h.PluginPresent();
        }
        if (c.arrange) {
            c.arrange(h);
        }
        MKLoggerAdapter::Instance().Logger().ResetForTesting(1);
        EXPECT_EQ(h.helper->Initialize(c.debug), c.result);
        const std::string log = RenderFlowLogText();
        logs += log;
        // A failure that closes the stop event again records -1 on its way out.
        EXPECT_EQ(log.find("% Timing_point (4294967295, 0) in_class LumoDiscoveryPluginHelper "
                           "at Initialize") != std::string::npos,
                  c.result == -1 && !c.stopEvent);
        EXPECT_EQ(h.ipc.Calls(), c.calls);
        // The stop event and the own channel's data-ready event are the only objects.
        EXPECT_EQ(h.objects.OpenCount(), (c.stopEvent ? 1u : 0u) + (c.ownChannel ? 1u : 0u));
        EXPECT_EQ(h.ipc.OwnChannel(kHelperChannelName) != 0, c.ownChannel);
        EXPECT_EQ(h.console.Installed().size(), c.handler ? 1u : 0u);
        EXPECT_TRUE(h.ipc.Sent().empty()) << "Initialize reports nothing to the plug-in";
        // A console handler that cannot be removed leaves the removal's code on the way out.
        h.helper->DeInitialize();
        EXPECT_EQ(RenderFlowLogText().find("% Timing_point (87, 0) in_class "
                                           "LumoDiscoveryPluginHelper at DeInitialize") !=
                      std::string::npos,
                  !c.handler);
    }
    // The code of each failed step is in the flow log, and so is the debug mode (1).
    for (const int code : {0x2A01, 0x2A02, 0x2A03, 0x2A04, 1}) {
        const std::string record = "% Timing_point (" + std::to_string(code) +
                                   ", 0) in_class LumoDiscoveryPluginHelper at Initialize";
        EXPECT_NE(logs.find(record), std::string::npos) << record;
    }
}

TEST(HelperExecute, StopsAfterAFailedInitialize) {
    HelperHarness failed;
    failed.helper->Execute(false);
    EXPECT_EQ(failed.wait.WaitCount(), 0u) << "no plug-in: no loop";
    EXPECT_NE(failed.helper->OwnChannel(), 0u) << "left for the destructor";
}

// A control event from the system's thread, which holds its console lock as it dispatches,
// at each point of the helper's way out: those that end the session tell the plug-in while
// the handler is in, and the helper still ends, withdraws once, has closed what it opened,
// and writes the exit dump that the registry asks for.
TEST(HelperConsoleControl, AnEventOnTheWayOutLeavesTheEndIntact) {
    using namespace Orvane::Platform;
    enum When { kInitialize, kRun, kDeInitialize, kExitDump };
    const struct {
        When when;
        std::uint32_t event;
        bool tells;
    } cases[] = {{kInitialize, kCtrlCloseEvent, true},
                 {kRun, kCtrlLogoffEvent, true},
                 {kDeInitialize, kCtrlShutdownEvent, true},
                 {kExitDump, kCtrlCloseEvent, false},
                 {kRun, kCtrlCEvent, false},
                 {kRun, kCtrlBreakEvent, false},
                 {kRun, 3, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.when << " " << c.event);
        HelperHarness h;
        h.PluginPresent();
        Fakes::FakeRegistry registry;
        Fakes::FakeSpecialFolders folders;
        ScopedOverride<Registry> useRegistry{registry};
        ScopedOverride<SpecialFolders> useFolders{folders};
        // Its own folder: the suite may run in several trees at once.
        const auto root =
            std::filesystem::temp_directory_path() /
            ("lumo-helper-ways-out-" +
             std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
        std::filesystem::create_directories(root / "data" / "Orvane" / "Logs");
        folders.SetCommonAppData((root / "data").wstring());
        registry.SetMachineDword(L"Software\\Orvane\\Talvex4\\Logging", L"DumpFlowOnExit", 1);
        const Record arm;
        h.BeforeWait(0, [&] { h.helper->OnInstrumentData(arm.data()); });

        std::thread system;
        bool handled = false;
        std::promise<void> sending;
        // Returns once the handler is in its send to the plug-in, which lasts long enough for
        // a removal to meet it.
        const auto raise = [&] {
            h.ipc.DuringNextWrite([&] {
                sending.set_value();
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            });
            system = std::thread([&] { handled = h.console.Raise(c.event); });
            if (c.tells) {
                sending.get_future().wait();
            }
        };
        if (c.when == kInitialize) {
            h.console.DuringNextChange(raise);
        } else if (c.when == kRun) {
            h.BeforeWait(0, raise);
        } else if (c.when == kDeInitialize) {
            h.BeforeWait(0, [&] { h.console.DuringNextChange(raise); });
        }
        h.ExitBeforeWait(0);
        h.helper->Execute(false);
        if (c.when == kExitDump) {
            raise();
        }
        FlowLogDumpOnExitHelper(L"LumoDiscoveryHelper").Run();
        system.join();
        EXPECT_EQ(handled, c.tells);
        EXPECT_TRUE(h.console.Installed().empty());
        EXPECT_EQ(h.objects.OpenCount(), 0u);
        EXPECT_EQ(h.DatagramTypes(), (std::vector<std::uint16_t>{kAnnounce, kWithdraw}));
        EXPECT_EQ(h.SentCodes(), std::vector<std::uint32_t>(c.tells, PluginMsgExit));
        for (const auto& sent : h.ipc.Sent())
            EXPECT_TRUE(sent.data.empty());
        const auto files = std::count_if(std::filesystem::recursive_directory_iterator(root), {},
                                         [](const auto& entry) { return entry.is_regular_file(); });
        EXPECT_EQ(files, 1);
        std::filesystem::remove_all(root);
    }
}

TEST(HelperConsoleControl, TheUserLoggedMessageNeedsALiveHelperWithAPlugIn) {
    {
        HelperHarness h;
        h.InitializeWithPlugin();
        h.ipc.FailNext(Call::Write, 0x77);
        EXPECT_EQ(h.helper->SendUserLoggedMessage(), 0x77u) << "the write's result";
        h.helper->NotifyUserLogged();  // the thread machinery's way to the same message
        EXPECT_EQ(h.SentCodes(), std::vector<std::uint32_t>{PluginMsgExit});
    }

    HelperHarness alone;
    alone.helper->Initialize(true);  // debug mode, no plug-in
    EXPECT_EQ(alone.helper->SendUserLoggedMessage(), 0u);
    EXPECT_EQ(LumoDiscoveryPluginHelper::ConsoleCtrlHandler(kCtrlCloseEvent), 1) << "even so";
    alone.helper.reset();
    EXPECT_EQ(LumoDiscoveryPluginHelper::ConsoleCtrlHandler(kCtrlCloseEvent), 0);
    EXPECT_EQ(alone.CallCount(Call::Write), 0u);
}

}  // namespace
}  // namespace HelperTesting
