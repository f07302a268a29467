// lumo-client's command language: one command a line, each parsed fully before anything
// is sent, so that a script with a bad line sends nothing.
//
//   request ID ARGS...   one request, dispatched by its message id to the Client or to the
//                        sub-client that owns it
//   display-text [TEXT]  store the display client's text, or clear it
//   wait MS              dispatch window messages for MS milliseconds
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lumo/api/client.h"

namespace LumoClient {

namespace Api = Quorvel::Lumo::Api;

struct ClientCommand {
    enum class Kind { Request, DisplayText, Wait };

    Kind kind = Kind::Request;
    int lineNumber = 0;
    std::uint32_t messageId = 0;     // Request
    std::uint32_t milliseconds = 0;  // Wait
    // Request: sends and returns the send's result. DisplayText: changes the stored text.
    std::function<Api::XeLUMOResult(Api::Client&)> run;
};

struct ParsedCommands {
    std::vector<ClientCommand> commands;
    std::vector<std::string> errors;  // "line N: ..." for every line that cannot run
};

// Blank lines and lines starting with '#' are skipped.
ParsedCommands ParseCommands(std::string_view text);

// Whether `messageId` is a request the language can send (its replies are "reply" lines).
bool IsRequest(std::uint32_t messageId);

}  // namespace LumoClient
