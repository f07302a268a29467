#include "tools/plugin-sim/options.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace PluginSim {
namespace {

template <class Number>
bool ParseNumber(const std::string& text, Number* value) {
    int base = 10;
    const char* begin = text.data();
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        begin += 2;
    }
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(begin, end, *value, base);
    return begin != end && error == std::errc() && stop == end;
}

bool ParseMilliseconds(const std::string& text, std::int64_t* value) {
    return ParseNumber(text, value) && *value >= 0;
}

bool ParseHex(const std::string& text, std::vector<std::uint8_t>* bytes) {
    if (text.size() % 2 != 0) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); i += 2) {
        std::uint8_t byte = 0;
        const char* begin = text.data() + i;
        const auto [stop, error] = std::from_chars(begin, begin + 2, byte, 16);
        if (error != std::errc() || stop != begin + 2) {
            return false;
        }
        bytes->push_back(byte);
    }
    return true;
}

// MS:CODE or MS:CODE:HEX
bool ParseSend(const std::string& text, ScheduledSend* send) {
    const auto first = text.find(':');
    if (first == std::string::npos) {
        return false;
    }
    const auto second = text.find(':', first + 1);
    const std::string code = text.substr(
        first + 1, second == std::string::npos ? std::string::npos : second - first - 1);
    return ParseMilliseconds(text.substr(0, first), &send->atMs) &&
           ParseNumber(code, &send->code) &&
           (second == std::string::npos || ParseHex(text.substr(second + 1), &send->data));
}

// MS:TYPE
bool ParseControlEvent(const std::string& text, ScheduledControlEvent* event) {
    const auto colon = text.find(':');
    return colon != std::string::npos && ParseMilliseconds(text.substr(0, colon), &event->atMs) &&
           ParseNumber(text.substr(colon + 1), &event->eventType);
}

}  // namespace

bool ParseOptions(const std::vector<std::string>& arguments, Options* options, std::string* error) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& option = arguments[i];
        if (option == "--help") {
            options->help = true;
            continue;
        }
        if (option == "--debug") {
            options->helperArguments = "-d";
            continue;
        }
        if (option == "--no-channel") {
            options->createChannel = false;
            continue;
        }
        static const char* const kValueOptions[] = {
            "--start",       "--helper-args", "--exit-on-line", "--exit-after",
            "--close-after", "--run-ms",      "--send",         "--ctrl-event"};
        if (std::find(std::begin(kValueOptions), std::end(kValueOptions), option) ==
            std::end(kValueOptions)) {
            *error = "unknown argument " + option;
            return false;
        }
        if (i + 1 == arguments.size()) {
            *error = option + " needs a value";
            return false;
        }
        const std::string& value = arguments[++i];
        std::int64_t ms = 0;
        bool valid = true;
        if (option == "--start") {
            options->helperPath = value;
        } else if (option == "--helper-args") {
            options->helperArguments = value;
        } else if (option == "--exit-on-line") {
            options->exitOnLine = value;
        } else if (option == "--exit-after" || option == "--close-after" || option == "--run-ms") {
            valid = ParseMilliseconds(value, &ms);
            auto& target = option == "--exit-after"    ? options->exitAfterMs
                           : option == "--close-after" ? options->closeAfterMs
                                                       : options->runMs;
            target = ms;
        } else if (option == "--send") {
            ScheduledSend send{};
            valid = ParseSend(value, &send);
            options->sends.push_back(send);
        } else {
            ScheduledControlEvent event{};
            valid = ParseControlEvent(value, &event);
            options->controlEvents.push_back(event);
        }
        if (!valid) {
            *error = "bad value for " + option + ": " + value;
            return false;
        }
    }
    if (options->helperPath.empty() &&
        (!options->helperArguments.empty() || !options->controlEvents.empty())) {
        *error = "--debug, --helper-args and --ctrl-event need --start";
        return false;
    }
    return true;
}

const char* UsageText() {
    return R"(plugin-sim: plays the device API's plug-in for the discovery helper.

usage: plugin-sim [--start EXE [--debug | --helper-args ARGS] [--ctrl-event MS:TYPE]...]
                  [--no-channel] [--exit-after MS] [--exit-on-line TEXT]
                  [--send MS:CODE[:HEX]]... [--close-after MS] [--run-ms MS]
       plugin-sim --help | --version

At start it creates the plug-in's channel "LumoDiscoveryPluginIpcChannel" (status 2 when
it cannot), unless --no-channel. With --start it then starts EXE with CreateProcess, as
the plug-in does, with the command line "EXE" (or "EXE -d" with --debug, or "EXE ARGS"),
and ends once that helper has ended and every message it sent has been shown. Without --start it waits for a
helper started by hand and runs until --run-ms (or for ever).

  --exit-after MS      send PluginMsgExit (1002, no data) MS ms after start
  --exit-on-line TEXT  send PluginMsgExit when a line equal to TEXT arrives on stdin
  --send MS:CODE[:HEX] send any message at MS ms: CODE (decimal or 0x hex) and the data
                       HEX (an even number of hex digits); may be repeated
  --close-after MS     close the plug-in's channel at MS ms (the helper's next heartbeat
                       then fails)
  --no-channel         do not create the plug-in's channel: the helper finds no plug-in
  --ctrl-event MS:TYPE raise console control event TYPE (0 Ctrl+C, 1 Ctrl+Break, 2 close,
                       5 log-off, 6 shut-down) in the started helper at MS ms, the way the
                       console does: a new thread in the helper at the system's control
                       routine, which calls the helper's handlers. Needs a system that
                       exports that routine ("CtrlRoutine" of kernel32), as Wine does.
  --run-ms MS          end MS ms after start, stopping nothing else

Messages go to the helper's channel "LumoDiscoveryPluginHelper", opened when the first one
is sent.

Output: one JSON object a line on stdout, each with "t" (milliseconds since start) and
"event":
  channel-created   name
  helper-started    pid, commandLine
  received          code, size (bytes read: 4 + data); for 1100 also text (the data up
                    to its first zero byte) and terminated (whether there was one);
                    for other codes with data also data (hex)
  helper-channel    opened (true) or result (the failed open's code)
  sent              code, dataLength, result (0 = delivered)
  channel-closed    name
  ctrl-event        eventType, raised (true) or lastError
  helper-exited     exitCode (as GetExitCodeProcess gives it, unsigned)
  error             text, and result or lastError where there is one
  exit              status (0, or 1 after an error, 2 for a bad command line)
)";
}

}  // namespace PluginSim
