// LumoDiscoveryHelper: started by the device API's plug-in, ended by it; always exits -1,
// so the plug-in learns nothing from the status.
#include "diagnostics/flow_log_dump_on_exit.h"
#include "helper/command_line.h"
#include "helper/lumo_discovery_plugin_helper.h"

int main(int argc, char** argv) {
    LumoDiscoveryPluginHelper helper;
    helper.Execute(IsDebugModeRequested(argc, argv));
    FinishFlowLogDumpOnExit();
    return -1;
}
