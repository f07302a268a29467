// The command line of plugin-sim.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace PluginSim {

struct ScheduledSend {
    std::int64_t atMs;
    std::uint32_t code;
    std::vector<std::uint8_t> data;
};

// A console control event raised in the helper at a given time.
struct ScheduledControlEvent {
    std::int64_t atMs;
    std::uint32_t eventType;
};

struct Options {
    bool help = false;
    bool createChannel = true;    // false: the helper finds no plug-in
    std::string helperPath;       // empty: a helper started by hand is expected
    std::string helperArguments;  // what follows the helper's path on its command line
    std::optional<std::int64_t> exitAfterMs;
    std::optional<std::string> exitOnLine;
    std::optional<std::int64_t> closeAfterMs;
    std::optional<std::int64_t> runMs;
    std::vector<ScheduledSend> sends;
    std::vector<ScheduledControlEvent> controlEvents;
};

// Fills `options` from the arguments after the program name; on a bad command line returns
// false with a one-line reason in `error`.
bool ParseOptions(const std::vector<std::string>& arguments, Options* options, std::string* error);

const char* UsageText();

}  // namespace PluginSim
