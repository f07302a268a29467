// plugin-sim: plays the device API's plug-in for the discovery helper (see --help).
#include <cstdio>
#include <string>
#include <vector>

#include "tools/common/output.h"
#include "tools/common/version.h"
#include "tools/plugin-sim/options.h"
#include "tools/plugin-sim/plugin_simulator_win.h"

int main(int argc, char** argv) {
    if (LumoTools::PrintVersionIfAsked("plugin-sim", argc, argv)) {
        return 0;
    }
    const LumoTools::Output output;
    PluginSim::Options options;
    std::string error;
    if (!PluginSim::ParseOptions(std::vector<std::string>(argv + 1, argv + argc), &options,
                                 &error)) {
        output.Print(output.Line("error").Add("text", error));
        std::fputs(PluginSim::UsageText(), stderr);
        return 2;
    }
    if (options.help) {
        std::fputs(PluginSim::UsageText(), stdout);
        return 0;
    }
    PluginSim::PluginSimulator simulator(options, output);
    const int status = simulator.Run();
    output.Print(output.Line("exit").Add("status", status));
    return status;
}
