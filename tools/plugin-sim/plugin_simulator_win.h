// The plug-in's side of the helper's channel, driven by plugin-sim's options.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "platform/windows_api.h"
#include "tools/common/output.h"
#include "tools/plugin-sim/options.h"

namespace PluginSim {

class PluginSimulator {
  public:
    PluginSimulator(const Options& options, const LumoTools::Output& output);
    ~PluginSimulator();
    PluginSimulator(const PluginSimulator&) = delete;
    PluginSimulator& operator=(const PluginSimulator&) = delete;

    // The program's exit status.
    int Run();

  private:
    struct Action {
        enum Kind { Send, Close, ControlEvent, End } kind;
        std::int64_t atMs;
        std::uint32_t code;  // message code, or control event type
        std::vector<std::uint8_t> data;
    };

    std::int64_t ElapsedMs() const;
    bool CreatePluginChannel();
    bool StartHelper();
    void StartLineReader();
    void ReadWaitingMessages();
    void ShowMessage(const std::vector<std::uint8_t>& message);
    void Send(std::uint32_t code, const std::vector<std::uint8_t>& data);
    void ClosePluginChannel();
    void RaiseControlEvent(std::uint32_t eventType);
    void HandleLines();
    // Runs the actions that are due; false once the End action has run.
    bool RunDueActions();
    void Error(const std::string& text, const char* key, std::uint32_t value);

    const Options& options_;
    const LumoTools::Output& output_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::deque<Action> actions_;
    unsigned pluginChannel_ = 0;
    HANDLE dataReady_ = nullptr;
    unsigned helperChannel_ = 0;
    HANDLE helperProcess_ = nullptr;
    HANDLE lineReady_ = nullptr;
    std::mutex linesMutex_;
    std::deque<std::string> lines_;
    bool failed_ = false;
};

}  // namespace PluginSim
