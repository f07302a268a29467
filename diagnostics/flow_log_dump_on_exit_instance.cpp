// Kept apart from the class, so that only programs that finish the exit dump carry the
// process-wide object (and its hold on the exit dump).
#include "diagnostics/flow_log_dump_on_exit.h"
#include "diagnostics/log_files.h"

#include <new>

FlowLogDumpOnExitHelper* flowLogDumpOnExitHelper =
    new (std::nothrow) FlowLogDumpOnExitHelper(kProgramName);

void FinishFlowLogDumpOnExit() {
    if (flowLogDumpOnExitHelper) {
        flowLogDumpOnExitHelper->Run();
        delete flowLogDumpOnExitHelper;
    }
    flowLogDumpOnExitHelper = nullptr;
}
