#include "tools/lumo-client/command_language.h"

#include <gtest/gtest.h>

namespace LumoClient {
namespace {

// A bad line must stop the whole script before anything is sent, and say where it is.
TEST(CommandLanguage, EveryBadLineIsNamedAndGoodLinesParse) {
    const ParsedCommands parsed = ParseCommands(
        "# a comment\n"
        "\n"
        "request 2002 1 2\n"
        "request 2002 1 2 3\n"
        "request 2100 hex:0a\n"
        "request 2016 1 2 3 hex:\r\n"
        "request 2005 -4294967296\n"
        "request 2214 7 0.25\n"
        "request 2214 7 many\n"
        "request 2227 5 a=b c\n"
        "request 2227 5\n"
        "request 9999\n"
        "request 1022 the rest of the line\n"
        "display-text\n"
        "wait 100\n"
        "wait\n"
        "launch\n");
    EXPECT_EQ(parsed.errors, (std::vector<std::string>{
                                 "line 4: request 2002: expected A B or A B C D",
                                 "line 5: request 2100: 2100 takes exactly 2 bytes",
                                 "line 7: request 2005: argument 1 is not a signed 32-bit integer",
                                 "line 9: request 2214: argument 2 is not a number",
                                 "line 10: request 2227: argument 3 is not NAME=VALUE",
                                 "line 12: no request 9999",
                                 "line 16: expected wait MILLISECONDS",
                                 "line 17: unknown command 'launch'",
                             }));
    std::vector<int> lines;
    for (const ClientCommand& command : parsed.commands) {
        lines.push_back(command.lineNumber);
    }
    EXPECT_EQ(lines, (std::vector<int>{3, 6, 8, 11, 13, 14, 15}));
}

}  // namespace
}  // namespace LumoClient
