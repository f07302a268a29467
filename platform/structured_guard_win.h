// What the two structured guards of a thread share: the run's guard around the program and
// the callback guard inside its window procedures.
#pragma once

#include "platform/exception_pointers.h"

namespace Orvane::Platform {

// The code under which GCC raises C++ exceptions.
inline constexpr unsigned long kGccCxxException = 0x20474343;

// For a callback guard's filter: gives the fault to the innermost run's handler, if the
// thread has one, and marks it handed over, so that the run takes the C++ exception that
// carries it out as the end of that fault, not as a new one.
void HandOverFault(ExceptionPointers* exception);

// The jump buffer where a guard of this thread resumes after a stack overflow, the innermost
// one for as long as it lives. Unwinding to the guard frame by frame runs every frame's
// handler on what is left of the stack, which under Wine 8 overflows it again and ends the
// process at once (with status 0); the filter jumps to the guard instead once the fault is
// handed over. The frames in between are left as a machine fault leaves them: no destructor
// of theirs runs.
class OverflowLanding {
  public:
    OverflowLanding();
    ~OverflowLanding();
    OverflowLanding(const OverflowLanding&) = delete;
    OverflowLanding& operator=(const OverflowLanding&) = delete;

    // For __builtin_setjmp in the guarded call.
    void** Buffer() { return m_buffer; }

  private:
    void* m_buffer[5];
    OverflowLanding* m_outer;
};

// For a guard's filter, once the fault is handed over: after a stack overflow, resumes at the
// innermost landing; after anything else, returns.
void LandAfterStackOverflow(const ExceptionPointers* exception);

}  // namespace Orvane::Platform
