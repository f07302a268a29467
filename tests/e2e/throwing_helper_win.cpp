// The helper with one service callback that throws, for the end-to-end proof that an
// exception thrown while the system delivers a service message still ends the run with a
// crash dump, a withdrawal, the exit log and status -1.
#include <stdexcept>

#include "diagnostics/flow_log_dump_on_exit.h"
#include "helper/command_line.h"
#include "helper/lumo_discovery_plugin_helper.h"

namespace {

class ThrowingHelper final : public LumoDiscoveryPluginHelper {
  public:
    void OnServerMessage2210(bool) override { throw std::runtime_error("a callback failed"); }
};

}  // namespace

int main(int argc, char** argv) {
    ThrowingHelper helper;
    helper.Execute(IsDebugModeRequested(argc, argv));
    FinishFlowLogDumpOnExit();
    return -1;
}
