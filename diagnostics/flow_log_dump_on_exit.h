// On a normal exit the whole flow log can be written to a text file, so that the course of a
// run that ended without a crash can still be examined. A machine-wide registry value
// switches it on; it is off otherwise.
#pragma once

class FlowLogDumpOnExitHelper {
  public:
    // Each object counts as one holder of the process-wide exit dump.
    explicit FlowLogDumpOnExitHelper(const wchar_t* programName);
    FlowLogDumpOnExitHelper(const FlowLogDumpOnExitHelper&) = delete;
    FlowLogDumpOnExitHelper& operator=(const FlowLogDumpOnExitHelper&) = delete;

    // Gives up this object's hold; the run that gives up the last one writes
    // "<log folder><program>_exit_YYYYMMDD_hhmmss.log" when the registry asks for it. Silent:
    // every failure just means no file.
    void Run() noexcept;

    // Whether "DumpFlowOnExit" under HKLM\Software\Orvane\Talvex4\Logging is a non-zero
    // REG_DWORD.
    static bool ReadDumpFlowOnExit();

  private:
    const wchar_t* programName_;
};

// The process's exit dump, created during static initialisation of any program that calls
// FinishFlowLogDumpOnExit; empty when that allocation failed or once it has finished.
extern FlowLogDumpOnExitHelper* flowLogDumpOnExitHelper;

// For main, after the program's run: lets the process's exit dump run, destroys it and
// clears the pointer.
void FinishFlowLogDumpOnExit();
