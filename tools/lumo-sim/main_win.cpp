// lumo-sim: the measuring-arm service's stand-in for tests and demonstrations.
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "tools/common/output.h"
#include "tools/common/version.h"
#include "tools/lumo-sim/script.h"
#include "tools/lumo-sim/sim_service_win.h"
#include "tools/lumo-sim/usage.h"

namespace {

constexpr int kFailed = 1;
constexpr int kBadInput = 2;

int Usage(int status) {
    std::fputs(LumoSim::UsageText(), status == 0 ? stdout : stderr);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    if (LumoTools::PrintVersionIfAsked("lumo-sim", argc, argv)) {
        return 0;
    }
    std::string scriptPath = "-";
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            return Usage(0);
        }
        if (argument == "--script" && i + 1 < argc) {
            scriptPath = argv[++i];
        } else {
            std::fprintf(stderr, "lumo-sim: unexpected argument '%s'\n", argument.c_str());
            return Usage(kBadInput);
        }
    }

    std::ostringstream text;
    if (scriptPath == "-") {
        text << std::cin.rdbuf();
    } else {
        std::ifstream file(scriptPath, std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "lumo-sim: cannot read '%s'\n", scriptPath.c_str());
            return kBadInput;
        }
        text << file.rdbuf();
    }
    const LumoSim::Script script = LumoSim::ParseScript(text.str());
    if (!script.errors.empty()) {
        for (const std::string& error : script.errors) {
            std::fprintf(stderr, "lumo-sim: %s\n", error.c_str());
        }
        return kBadInput;
    }

    // Plain "\n" line ends, so that the output reads the same on every side.
    _setmode(_fileno(stdout), _O_BINARY);
    const LumoTools::Output output;
    int status = 0;
    {
        LumoSim::SimService service(output);
        if (!service.CreateServiceWindow()) {
            status = kFailed;
        }
        for (const LumoSim::Command& command : script.commands) {
            if (!service.Run(command)) {
                status = kFailed;
            }
        }
    }
    output.Print(output.Line("exit").Add("status", status));
    return status;
}
