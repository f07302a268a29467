#include "tools/plugin-sim/plugin_simulator_win.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <thread>

#include "helper/plugin_messages.h"
#include "kxipc/KxIpcDll.h"
#include "tools/common/words.h"

namespace PluginSim {
namespace {

constexpr unsigned kReceiveBufferSize = KXIPC_MAX_DATA_LENGTH + 4;

using LumoTools::Hex;

}  // namespace

PluginSimulator::PluginSimulator(const Options& options, const LumoTools::Output& output)
    : options_(options), output_(output) {
    for (const ScheduledSend& send : options.sends) {
        actions_.push_back({Action::Send, send.atMs, send.code, send.data});
    }
    if (options.exitAfterMs) {
        actions_.push_back({Action::Send, *options.exitAfterMs, PluginMsgExit, {}});
    }
    for (const ScheduledControlEvent& event : options.controlEvents) {
        actions_.push_back({Action::ControlEvent, event.atMs, event.eventType, {}});
    }
    if (options.closeAfterMs) {
        actions_.push_back({Action::Close, *options.closeAfterMs, 0, {}});
    }
    if (options.runMs) {
        actions_.push_back({Action::End, *options.runMs, 0, {}});
    }
    // Stable: actions due at the same time run in the order of the command line.
    std::stable_sort(actions_.begin(), actions_.end(),
                     [](const Action& a, const Action& b) { return a.atMs < b.atMs; });
}

PluginSimulator::~PluginSimulator() {
    if (helperProcess_ != nullptr) {
        CloseHandle(helperProcess_);
    }
}

int PluginSimulator::Run() {
    if (kxipcInitialize() != KXIPC_OK || (options_.createChannel && !CreatePluginChannel())) {
        return 2;
    }
    if (!options_.helperPath.empty() && !StartHelper()) {
        return 1;
    }
    if (options_.exitOnLine) {
        StartLineReader();
    }
    for (;;) {
        HANDLE handles[3];
        DWORD count = 0;
        if (dataReady_ != nullptr) {
            handles[count++] = dataReady_;
        }
        if (helperProcess_ != nullptr) {
            handles[count++] = helperProcess_;
        }
        if (lineReady_ != nullptr) {
            handles[count++] = lineReady_;
        }
        DWORD timeout = INFINITE;
        if (!actions_.empty()) {
            timeout =
                static_cast<DWORD>(std::max<std::int64_t>(0, actions_.front().atMs - ElapsedMs()));
        }
        const DWORD result = count == 0 ? (Sleep(timeout), WAIT_TIMEOUT)
                                        : WaitForMultipleObjects(count, handles, FALSE, timeout);
        if (result == WAIT_FAILED) {
            Error("wait failed", "lastError", GetLastError());
            return 1;
        }
        if (dataReady_ != nullptr) {
            ReadWaitingMessages();
        }
        if (helperProcess_ != nullptr && WaitForSingleObject(helperProcess_, 0) == WAIT_OBJECT_0) {
            // Whatever the helper sent before it ended is already waiting: show it first.
            if (dataReady_ != nullptr) {
                ReadWaitingMessages();
            }
            DWORD exitCode = 0;
            GetExitCodeProcess(helperProcess_, &exitCode);
            output_.Print(output_.Line("helper-exited").Add("exitCode", exitCode));
            return failed_ ? 1 : 0;
        }
        HandleLines();
        if (!RunDueActions()) {
            return failed_ ? 1 : 0;
        }
    }
}

std::int64_t PluginSimulator::ElapsedMs() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start_)
        .count();
}

bool PluginSimulator::CreatePluginChannel() {
    unsigned result = kxipcCreateChannel(kPluginChannelName, &pluginChannel_);
    if (result == KXIPC_OK) {
        result = kxipcGetDataReadyEvent(pluginChannel_, &dataReady_);
    }
    if (result != KXIPC_OK) {
        Error(std::string("cannot create ") + kPluginChannelName, "result", result);
        return false;
    }
    output_.Print(output_.Line("channel-created").Add("name", kPluginChannelName));
    return true;
}

bool PluginSimulator::StartHelper() {
    std::string commandLine = "\"" + options_.helperPath + "\"";
    if (!options_.helperArguments.empty()) {
        commandLine += " " + options_.helperArguments;
    }
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        Error("cannot start " + options_.helperPath, "lastError", GetLastError());
        return false;
    }
    CloseHandle(process.hThread);
    helperProcess_ = process.hProcess;
    output_.Print(output_.Line("helper-started")
                      .Add("pid", process.dwProcessId)
                      .Add("commandLine", commandLine));
    return true;
}

void PluginSimulator::StartLineReader() {
    lineReady_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    // Detached: a read that never returns must not keep the program from ending.
    std::thread([this] {
        std::string line;
        while (std::getline(std::cin, line)) {
            if (!line.empty() && line.back() == '\r') {
                line.pop_back();
            }
            std::lock_guard lock(linesMutex_);
            lines_.push_back(line);
            SetEvent(lineReady_);
        }
    }).detach();
}

void PluginSimulator::ReadWaitingMessages() {
    std::vector<std::uint8_t> buffer(kReceiveBufferSize);
    for (;;) {
        unsigned bytesRead = 0;
        const unsigned result =
            kxipcReadChannel(buffer.data(), pluginChannel_, kReceiveBufferSize, &bytesRead, 0);
        if (result == KXIPC_ERROR_NO_MESSAGE) {
            return;
        }
        if (result != KXIPC_OK) {
            Error("read failed", "result", result);
            return;
        }
        ShowMessage(std::vector<std::uint8_t>(buffer.begin(), buffer.begin() + bytesRead));
    }
}

void PluginSimulator::ShowMessage(const std::vector<std::uint8_t>& message) {
    auto line = output_.Line("received");
    if (message.size() < 4) {
        output_.Print(
            line.Add("size", message.size()).Add("data", Hex(message.data(), message.size())));
        return;
    }
    const std::uint32_t code = message[0] | message[1] << 8 | message[2] << 16 |
                               static_cast<std::uint32_t>(message[3]) << 24;
    line.Add("code", code).Add("size", message.size());
    const std::uint8_t* data = message.data() + 4;
    const std::size_t length = message.size() - 4;
    if (code == PluginMsgError) {
        const auto* end = static_cast<const std::uint8_t*>(std::memchr(data, 0, length));
        const std::size_t textLength = end != nullptr ? end - data : length;
        line.Add("text", std::string(reinterpret_cast<const char*>(data), textLength))
            .Add("terminated", end != nullptr);
    } else if (length != 0) {
        line.Add("data", Hex(data, length));
    }
    output_.Print(line);
}

void PluginSimulator::Send(std::uint32_t code, const std::vector<std::uint8_t>& data) {
    if (helperChannel_ == 0) {
        const unsigned opened = kxipcOpenChannel(kHelperChannelName, &helperChannel_);
        auto line = output_.Line("helper-channel");
        output_.Print(opened == KXIPC_OK ? line.Add("opened", true) : line.Add("result", opened));
        if (opened != KXIPC_OK) {
            helperChannel_ = 0;
        }
    }
    unsigned result = KXIPC_ERROR_NO_SUCH_CHANNEL;
    if (helperChannel_ != 0) {
        result =
            kxipcWriteChannelWithDataBuffer(helperChannel_, kPluginChannelName, kHelperChannelName,
                                            data.data(), static_cast<unsigned>(data.size()), code);
    }
    output_.Print(output_.Line("sent")
                      .Add("code", code)
                      .Add("dataLength", data.size())
                      .Add("result", result));
}

void PluginSimulator::ClosePluginChannel() {
    if (pluginChannel_ == 0) {
        return;
    }
    ReadWaitingMessages();
    kxipcCloseChannel(pluginChannel_);
    pluginChannel_ = 0;
    dataReady_ = nullptr;
    output_.Print(output_.Line("channel-closed").Add("name", kPluginChannelName));
}

void PluginSimulator::RaiseControlEvent(std::uint32_t eventType) {
    auto line = output_.Line("ctrl-event").Add("eventType", eventType);
    // The console delivers an event by starting a thread in the process at the system's
    // control routine, which runs the process's handlers. The routine lies at the same
    // address in every process of the session.
    const auto routine = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "CtrlRoutine")));
    HANDLE thread = nullptr;
    if (routine != nullptr && helperProcess_ != nullptr) {
        thread = CreateRemoteThread(helperProcess_, nullptr, 0, routine,
                                    reinterpret_cast<void*>(static_cast<ULONG_PTR>(eventType)), 0,
                                    nullptr);
    }
    if (thread == nullptr) {
        failed_ = true;
        output_.Print(line.Add("lastError", GetLastError()));
        return;
    }
    CloseHandle(thread);
    output_.Print(line.Add("raised", true));
}

void PluginSimulator::HandleLines() {
    std::deque<std::string> lines;
    {
        std::lock_guard lock(linesMutex_);
        lines.swap(lines_);
    }
    for (const std::string& line : lines) {
        if (line == *options_.exitOnLine) {
            Send(PluginMsgExit, {});
        }
    }
}

bool PluginSimulator::RunDueActions() {
    while (!actions_.empty() && actions_.front().atMs <= ElapsedMs()) {
        const Action action = actions_.front();
        actions_.pop_front();
        switch (action.kind) {
            case Action::Send:
                Send(action.code, action.data);
                break;
            case Action::Close:
                ClosePluginChannel();
                break;
            case Action::ControlEvent:
                RaiseControlEvent(action.code);
                break;
            case Action::End:
                return false;
        }
    }
    return true;
}

void PluginSimulator::Error(const std::string& text, const char* key, std::uint32_t value) {
    failed_ = true;
    output_.Print(output_.Line("error").Add("text", text).Add(key, value));
}

}  // namespace PluginSim
