// The helper's loop and the messages it sends to the plug-in.
#include <cstring>
#include <string>

#include "announce/bounded_text.h"
#include "diagnostics/flow_point.h"
#include "helper/lumo_discovery_plugin_helper.h"
#include "helper/plugin_messages.h"
#include "helper/stopwatch.h"
#include "platform/debug_output.h"
#include "platform/ipc_library.h"
#include "platform/message_wait.h"
#include "platform/service.h"

namespace {

using Orvane::Platform::Get;

constexpr std::uint32_t kReceiveBufferSize = 1024;
constexpr std::uint32_t kBeatMs = 2000;
constexpr std::uint32_t kWaitHandleCount = 2;
constexpr std::uint32_t kDataReadyIndex = 0;
constexpr std::uint32_t kStopEventIndex = 1;
// What the service client library reports itself as.
constexpr wchar_t kApiVersion[] = L"6.3.0.0";
constexpr wchar_t kApiDate[] = L"2022-01-12";

// The first four bytes as a little-endian number, whatever the last read left there.
std::uint32_t LeadingCode(const char* buffer) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(buffer);
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

// The two plug-in sends that test the handle as a signed number: a handle with the top
// bit set counts as no plug-in there, but not for the heartbeat.
bool HasPluginForReports(std::uint32_t pluginChannel) {
    return static_cast<std::int32_t>(pluginChannel) >= 1;
}

}  // namespace

int LumoDiscoveryPluginHelper::Run() {
    FLOW_POINT("LumoDiscoveryPluginHelper", "Run");
    FLOW_RECORD(this, 0);
    FlowTimedScope scope(flowPoint, this);

    connectedToServer = 0;
    instrumentInfo.intervalMs = kBeatMs;
    instrumentInfo.state = 0;
    instrumentInfo.reserved1 = 0;
    CopyTextBounded(instrumentInfo.name, sizeof instrumentInfo.name, "Unknown");
    // Never cleared between reads: a message shorter than four bytes is judged against
    // what was there before.
    char receiveBuffer[kReceiveBufferSize] = "0";

    Orvane::Platform::KernelHandle dataReady = nullptr;
    const std::uint32_t eventResult =
        Get<Orvane::Platform::IpcLibrary>().GetDataReadyEvent(ownChannel, &dataReady);
    if (eventResult != 0) {
        FLOW_RECORD(this, eventResult);
        return static_cast<int>(eventResult);
    }
    const int result = RunLoop(dataReady, receiveBuffer);
    announcement.Withdraw();
    return result;
}

int LumoDiscoveryPluginHelper::RunLoop(Orvane::Platform::KernelHandle dataReady,
                                       char* receiveBuffer) {
    FLOW_POINT("LumoDiscoveryPluginHelper", "RunLoop");
    auto& wait = Get<Orvane::Platform::MessageWait>();
    auto& ipc = Get<Orvane::Platform::IpcLibrary>();
    Orvane::Platform::KernelHandle handles[kWaitHandleCount] = {dataReady, stopEvent};
    // The beat is kept by the stopwatch, not by the wait's time-out, so that window
    // messages and the stop event do not push it back.
    Stopwatch stopwatch;
    stopwatch.Restart();
    bool exitRequested = false;

    for (;;) {
        std::uint32_t woken =
            wait.WaitForObjectsOrInput(kWaitHandleCount, handles, instrumentInfo.intervalMs);
        if (woken == Orvane::Platform::kWaitObject0 + kWaitHandleCount) {
            // One message per wake-up, then a look at the handles without waiting.
            wait.DispatchOneMessage();
            woken = wait.PollObjects(kWaitHandleCount, handles);
        }

        if (woken == Orvane::Platform::kWaitObject0 + kDataReadyIndex) {
            std::uint32_t bytesRead = 0;
            const std::uint32_t readResult =
                ipc.ReadChannel(receiveBuffer, ownChannel, kReceiveBufferSize, &bytesRead, 0);
            if (readResult != 0) {
                FLOW_RECORD(this, readResult);
                return FailLoop(kReadFailedText);
            }
            if (LeadingCode(receiveBuffer) == PluginMsgExit) {
                FLOW_RECORD(this, PluginMsgExit);
                Get<Orvane::Platform::DebugOutput>().Write("LumoDiscoveryPluginHelper EXIT\n");
                exitRequested = true;
            }
        } else if (woken == Orvane::Platform::kWaitObject0 + kStopEventIndex) {
            FLOW_RECORD(this, kStopEventIndex);
            instrumentAnnounced = 0;
            announcement.Withdraw();
            continue;
        } else if (woken == Orvane::Platform::kWaitTimeout) {
            if (stopwatch.ElapsedMs() >= instrumentInfo.intervalMs) {
                stopwatch.Restart();
                if (instrumentAnnounced != 0) {
                    announcement.Reannounce();
                }
                if (pluginChannel != 0) {
                    const std::uint32_t sent = SendToPlugin(PluginMsgHeartbeat, nullptr, 0);
                    if (sent != 0) {
                        // The plug-in has gone: there is nobody to report to.
                        FLOW_RECORD(this, sent);
                        return -1;
                    }
                }
            }
        } else {
            FLOW_RECORD(this, wait.LastError());
            return FailLoop(kWaitFailedText);
        }

        StartClientIfNeeded();
        if (exitRequested) {
            return 0;
        }
    }
}

int LumoDiscoveryPluginHelper::FailLoop(const char* failureText) {
    ReportErrorToPlugin(failureText);
    return -1;
}

void LumoDiscoveryPluginHelper::StartClientIfNeeded() {
    if (connectedToServer != 0 || IsStarted()) {
        return;
    }
    auto& debug = Get<Orvane::Platform::DebugOutput>();
    if (Start(0, nullptr, 0, true) == 0) {
        const std::wstring text = std::wstring(L"LumoDiscoveryPluginHelper using LUMO API v") +
                                  kApiVersion + L" (" + kApiDate + L")\n";
        debug.Write(text.c_str());
    } else {
        // Tried again at the next wake-up, so at least once a beat.
        debug.Write(L"Cannot start the API client");
    }
}

int LumoDiscoveryPluginHelper::ReportErrorToPlugin(const char* text) {
    FLOW_POINT("LumoDiscoveryPluginHelper", "ReportErrorToPlugin");
    FLOW_RECORD(this, 0);
    if (!HasPluginForReports(pluginChannel)) {
        return 0;
    }
    // The plug-in is about to lose the helper anyway; a failed send changes nothing.
    SendToPlugin(PluginMsgError, text, static_cast<std::uint32_t>(std::strlen(text) + 1));
    return 0;
}

std::uint32_t LumoDiscoveryPluginHelper::SendUserLoggedMessage() {
    FLOW_POINT("LumoDiscoveryPluginHelper", "SendUserLoggedMessage");
    FLOW_RECORD(this, 0);
    if (!HasPluginForReports(pluginChannel)) {
        return 0;
    }
    return SendToPlugin(PluginMsgExit, nullptr, 0);
}

std::uint32_t LumoDiscoveryPluginHelper::SendToPlugin(std::uint32_t code, const void* data,
                                                      std::uint32_t length) {
    return Get<Orvane::Platform::IpcLibrary>().WriteChannelWithDataBuffer(
        pluginChannel, kHelperChannelName, kPluginChannelName, data, length, code);
}
