// The helper's life: construction, Initialize, DeInitialize, the guarded run, the console
// control handler and the service's callbacks.
#include "helper/lumo_discovery_plugin_helper.h"

#include <mutex>

#include "diagnostics/flow_point.h"
#include "diagnostics/guarded_run.h"
#include "helper/instrument_identification.h"
#include "helper/plugin_messages.h"
#include "platform/console_control.h"
#include "platform/debug_output.h"
#include "platform/events.h"
#include "platform/ipc_library.h"
#include "platform/service.h"

namespace {

using Orvane::Platform::Get;

// The live helper, for the console control handler, which the system calls on a thread of
// its own. The handler uses the helper only while it holds the lock, and the destructor
// takes the helper away under the same lock before anything else: no handler touches a
// helper whose destructor has begun.
std::mutex liveHelperLock;
LumoDiscoveryPluginHelper* liveHelper = nullptr;

struct ExecuteContext {
    LumoDiscoveryPluginHelper* helper;
    bool debugMode;
    bool running;  // Run began and has not returned
};

void ExecuteBody(void* context) {
    auto* execute = static_cast<ExecuteContext*>(context);
    // A failed Initialize leaves what it opened to the destructor.
    if (execute->helper->Initialize(execute->debugMode) != 0) {
        return;
    }
    execute->running = true;
    execute->helper->Run();
    execute->running = false;
    execute->helper->DeInitialize();
}

}  // namespace

LumoDiscoveryPluginHelper::LumoDiscoveryPluginHelper()
    : announcement(true, true),
      instrumentInfo{},
      connectedToServer(0),
      instrumentAnnounced(0),
      stopEvent(nullptr),
      ownChannel(0),
      pluginChannel(0) {
    std::lock_guard lock(liveHelperLock);
    liveHelper = this;
}

LumoDiscoveryPluginHelper::~LumoDiscoveryPluginHelper() {
    {
        std::lock_guard lock(liveHelperLock);
        liveHelper = nullptr;
    }
    FLOW_POINT("LumoDiscoveryPluginHelper", "~LumoDiscoveryPluginHelper");
    FLOW_RECORD(this, 0);
    DeInitialize();
}

int LumoDiscoveryPluginHelper::Initialize(bool debugMode) {
    FLOW_POINT("LumoDiscoveryPluginHelper", "Initialize");
    FLOW_RECORD(this, debugMode);
    auto& ipc = Get<Orvane::Platform::IpcLibrary>();
    const auto fail = [this] {
        FLOW_RECORD(this, -1);
        Get<Orvane::Platform::Events>().Close(stopEvent);
        stopEvent = nullptr;
        return -1;
    };

    instrumentAnnounced = 0;
    stopEvent = Get<Orvane::Platform::Events>().CreateAutoResetEvent();
    if (stopEvent == nullptr) {
        FLOW_RECORD(this, -1);
        return -1;
    }
    std::uint32_t result = ipc.Initialize();
    FLOW_RECORD(this, result);
    if (result != 0) {
        return fail();
    }
    result = ipc.CreateChannel(kHelperChannelName, &ownChannel);
    FLOW_RECORD(this, result);
    if (result != 0) {
        return fail();
    }
    std::uint32_t opened = 0;
    result = ipc.OpenChannel(kPluginChannelName, &opened);
    pluginChannel = opened;
    FLOW_RECORD(this, result);
    if (result != 0) {
        if (debugMode) {
            // Run on without a plug-in, and without a console handler: there is nobody to
            // tell that the console closes.
            pluginChannel = 0;
            return 0;
        }
        // ownChannel keeps its value: DeInitialize closes it once more, harmlessly.
        ipc.CloseChannel(ownChannel);
        return fail();
    }
    const std::uint32_t handlerResult =
        Get<Orvane::Platform::ConsoleControl>().AddHandler(&ConsoleCtrlHandler);
    if (handlerResult != 0) {
        FLOW_RECORD(this, handlerResult);
        Get<Orvane::Platform::DebugOutput>().Write(
            "Failed to set SetConsoleCtrlHandler(TRUE): LumoDiscoveryPluginHelper EXIT\n");
        return -1;
    }
    return 0;
}

int LumoDiscoveryPluginHelper::DeInitialize() {
    FLOW_POINT("LumoDiscoveryPluginHelper", "DeInitialize");
    FLOW_RECORD(this, 0);
    const std::uint32_t removed =
        Get<Orvane::Platform::ConsoleControl>().RemoveHandler(&ConsoleCtrlHandler);
    if (removed != 0) {
        FLOW_RECORD(this, removed);
    }
    if (stopEvent != nullptr) {
        Get<Orvane::Platform::Events>().Close(stopEvent);
        stopEvent = nullptr;
    }
    if (ownChannel != 0) {
        Get<Orvane::Platform::IpcLibrary>().CloseChannel(ownChannel);
        ownChannel = 0;
    }
    // The plug-in's channel is left to the channel library.
    return 0;
}

void LumoDiscoveryPluginHelper::Execute(bool debugMode) {
    FLOW_POINT("LumoDiscoveryPluginHelper", "Execute");
    FLOW_RECORD(this, debugMode);
    ExecuteContext context{this, debugMode, false};
    RunGuarded(&ExecuteBody, &context);
    if (context.running) {
        // A fault or an exception ended the run past its own withdrawal (no destructor runs
        // where a machine fault unwinds): a listener must not wait for a time-out.
        announcement.Withdraw();
    }
}

int LumoDiscoveryPluginHelper::ConsoleCtrlHandler(std::uint32_t eventType) {
    std::lock_guard lock(liveHelperLock);
    LumoDiscoveryPluginHelper* helper = liveHelper;
    if (helper == nullptr) {
        return 0;
    }
    switch (eventType) {
        case Orvane::Platform::kCtrlCloseEvent:
        case Orvane::Platform::kCtrlLogoffEvent:
        case Orvane::Platform::kCtrlShutdownEvent:
            helper->SendUserLoggedMessage();
            return 1;
        default:
            // Ctrl+C and Ctrl+Break keep the system's own handling.
            return 0;
    }
}

void LumoDiscoveryPluginHelper::OnSpontaneousError(std::uint32_t errorCode) {
    FLOW_POINT("LumoDiscoveryPluginHelper", "OnSpontaneousError");
    FLOW_RECORD(this, errorCode);
}

void LumoDiscoveryPluginHelper::NotifyUserLogged() {
    SendUserLoggedMessage();
}

void LumoDiscoveryPluginHelper::OnUnhandledException(std::uint32_t exceptionCode) {
    FLOW_POINT("LumoDiscoveryPluginHelper", "OnUnhandledException");
    FLOW_RECORD(this, exceptionCode);
}

void LumoDiscoveryPluginHelper::OnConnectedToServer() {
    FLOW_POINT("LumoDiscoveryPluginHelper", "OnConnectedToServer");
    FLOW_RECORD(this, 0);
    Get<Orvane::Platform::DebugOutput>().Write(L"LumoDiscoveryPluginHelper::OnConnectedToServer\n");
    connectedToServer = 1;
}

void LumoDiscoveryPluginHelper::OnInstrumentData(const std::uint8_t* record) {
    FLOW_POINT("LumoDiscoveryPluginHelper", "OnInstrumentData");
    FLOW_RECORD(this, 0);
    Get<Orvane::Platform::DebugOutput>().Write(L"LumoDiscoveryPluginHelper::OnInstrumentData\n");
    const InstrumentVerdict verdict = IdentifyInstrument(record, instrumentInfo);
    FLOW_RECORD(this, verdict.instrumentType);
    if (verdict.supported) {
        // Each new description is announced at once; the loop only repeats it.
        announcement.Announce(instrumentInfo);
        instrumentAnnounced = 1;
        return;
    }
    // An arm the plug-in cannot use is not reported as an error: the loop withdraws what
    // was announced before, and the plug-in simply stops seeing an instrument.
    FLOW_RECORD(this, -1);
    Get<Orvane::Platform::Events>().Set(stopEvent);
}

void LumoDiscoveryPluginHelper::OnReliableMeasurement(const std::uint8_t*) {
    FLOW_POINT("LumoDiscoveryPluginHelper", "OnReliableMeasurement");
    FLOW_RECORD(this, 0);
}

void LumoDiscoveryPluginHelper::OnServerDown() {
    FLOW_POINT("LumoDiscoveryPluginHelper", "OnServerDown");
    FLOW_RECORD(this, 0);
    Get<Orvane::Platform::DebugOutput>().Write(L"LumoDiscoveryPluginHelper::OnServerDown\n");
    // The loop withdraws the announcement when it sees the event.
    Get<Orvane::Platform::Events>().Set(stopEvent);
    connectedToServer = 0;
}

void LumoDiscoveryPluginHelper::OnUnreliableMeasurement(const std::uint8_t*) {
    FLOW_POINT("LumoDiscoveryPluginHelper", "OnUnreliableMeasurement");
    FLOW_RECORD(this, 0);
}
