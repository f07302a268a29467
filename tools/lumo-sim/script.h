// The simulator's script: one command a line, '#' starts a comment. The commands and
// their arguments are listed in the program's --help text (usage.cpp).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/lumo-sim/service_messages.h"

namespace LumoSim {

enum class CommandKind {
    Wait,              // pump messages for a while
    WaitRegistered,    // until a client is registered, or time out
    WaitUnregistered,  // until no client is registered, or time out
    WaitMessage,       // until one more message of an id has arrived, or time out
    Broadcast,         // announce the service window again
    DestroyWindow,     // the service vanishes
    CreateWindow,      // the service comes back with a new window and announces it
    Set,               // change a setting
    Send,              // send a message to the registered client
};

struct Command {
    CommandKind kind = CommandKind::Wait;
    int lineNumber = 0;
    std::string text;  // as written, for the output
    std::uint32_t milliseconds = 0;
    std::uint32_t messageId = 0;
    std::function<void(SimSettings&)> apply;
    std::function<ServiceMessage(const SimSettings&)> message;
};

struct Script {
    std::vector<Command> commands;
    std::vector<std::string> errors;  // "line N: ..." for every line that cannot run
};

Script ParseScript(std::string_view text);

}  // namespace LumoSim
