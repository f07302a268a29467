// A guard against structured exceptions (machine faults such as access violations, and
// exceptions raised through the system), for the outermost run of a program.
#pragma once

#include "platform/exception_pointers.h"

#include <cstdint>

namespace Orvane::Platform {

// Runs body(context). When an exception escapes body (a machine fault, an exception raised
// through the system, or a C++ exception that no handler inside body took), onFault is
// called with it while the failing frames are still intact (a dump then shows them), on the
// failing thread or, for a stack overflow, on a thread with stack while the failing one
// waits; and the run ends normally, without the rest of body. C++ exceptions
// caught inside body work as usual. Without structured exceptions (Linux) only an escaping
// C++ exception ends the run, and onFault gets no exception pointers.
void RunStructuredGuarded(void (*body)(void*), void* context, void (*onFault)(ExceptionPointers*));

// For code that the system calls back on this thread (a window procedure run inside a wait,
// a pump or a send), where the system drops what escapes: runs body(context). A structured
// exception that escapes body goes at once, while the failing frames are intact, to onFault
// of this thread's innermost RunStructuredGuarded, and then leaves here as a
// StructuredFault, which ends that run without reaching onFault a second time. C++
// exceptions pass through untouched. Without structured exceptions this is body(context).
void RunCallbackGuarded(void (*body)(void*), void* context);

// The thread whose fault the calling onFault handles: the calling thread, unless it is the
// thread that onFault runs on for a stack overflow, which leaves the faulting thread too
// little stack. Elsewhere the calling thread.
std::uint32_t FaultingThreadId();

// A structured exception from a callback, already handed to the guard's onFault.
struct StructuredFault {
    std::uint32_t code;
};

}  // namespace Orvane::Platform
