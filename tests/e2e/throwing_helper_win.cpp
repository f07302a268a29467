// The helper with service callbacks that fail, for the end-to-end proof that a failure while
// the system delivers a service message still ends the run with a crash dump, a withdrawal,
// the exit log and status -1: message 2210 throws, and with the argument "access-violation"
// (or "stack-overflow") instrument data faults (or recurses without end) once an instrument
// is announced (there is one to withdraw then). Its dumps get the system unwinder's record.
#include <cstring>
#include <stdexcept>

#include "diagnostics/flow_log_dump_on_exit.h"
#include "helper/command_line.h"
#include "helper/lumo_discovery_plugin_helper.h"
#include "tests/e2e/unwind_recorder_win.h"

namespace {

int* volatile nowhere = nullptr;  // volatile, so the compiler cannot see the fault coming
void (*faultOnInstrumentData)() = nullptr;

// A function of its own: inlined, the fault would take the line of the callback's thunk.
__attribute__((noipa)) void WriteThroughNowhere() {
    *nowhere = 1;
}

// 4 KiB frames, each probed by the runtime's stack probe, from depth 0 on without end.
__attribute__((noipa)) int RecurseWithoutEnd(int depth) {
    volatile char frame[4096];
    frame[depth % sizeof frame] = 1;
    return depth < 0 ? 0 : RecurseWithoutEnd(depth + 1) + frame[0];
}

class ThrowingHelper final : public LumoDiscoveryPluginHelper {
  public:
    void OnInstrumentData(const std::uint8_t* record) override {
        if (faultOnInstrumentData && InstrumentAnnounced())
            faultOnInstrumentData();
        LumoDiscoveryPluginHelper::OnInstrumentData(record);
    }
    void OnServerMessage2210(bool) override { throw std::runtime_error("a callback failed"); }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "access-violation") == 0)
        faultOnInstrumentData = &WriteThroughNowhere;
    if (argc > 1 && std::strcmp(argv[1], "stack-overflow") == 0)
        faultOnInstrumentData = [] { RecurseWithoutEnd(0); };
    RecordSystemUnwindBesideDumps();
    ThrowingHelper helper;
    helper.Execute(IsDebugModeRequested(argc, argv));
    FinishFlowLogDumpOnExit();
    return -1;
}
