// The helper with service callbacks that fail, for the end-to-end proof that a failure while
// the system delivers a service message still ends the run with a crash dump, a withdrawal,
// the exit log and status -1: message 2210 throws, and with the argument "access-violation"
// instrument data faults once an instrument is announced (there is one to withdraw then).
#include <cstring>
#include <stdexcept>

#include "diagnostics/flow_log_dump_on_exit.h"
#include "helper/command_line.h"
#include "helper/lumo_discovery_plugin_helper.h"

namespace {

int* volatile nowhere = nullptr;  // volatile, so the compiler cannot see the fault coming
bool faultOnInstrumentData = false;

// A function of its own: inlined, the fault would take the line of the callback's thunk.
__attribute__((noipa)) void WriteThroughNowhere() {
    *nowhere = 1;
}

class ThrowingHelper final : public LumoDiscoveryPluginHelper {
  public:
    void OnInstrumentData(const std::uint8_t* record) override {
        if (faultOnInstrumentData && InstrumentAnnounced())
            WriteThroughNowhere();
        LumoDiscoveryPluginHelper::OnInstrumentData(record);
    }
    void OnServerMessage2210(bool) override { throw std::runtime_error("a callback failed"); }
};

}  // namespace

int main(int argc, char** argv) {
    faultOnInstrumentData = argc > 1 && std::strcmp(argv[1], "access-violation") == 0;
    ThrowingHelper helper;
    helper.Execute(IsDebugModeRequested(argc, argv));
    FinishFlowLogDumpOnExit();
    return -1;
}
