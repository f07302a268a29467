// A guard against structured exceptions (machine faults such as access violations, and
// exceptions raised through the system), for the outermost run of a program.
#pragma once

#include "platform/exception_pointers.h"

namespace Orvane::Platform {

// Runs body(context). When an exception escapes body (a machine fault, an exception raised
// through the system, or a C++ exception that no handler inside body took), onFault is
// called with it on the failing thread, while the failing frames are still intact (a dump
// then shows them), and the run ends normally, without the rest of body. C++ exceptions
// caught inside body work as usual. Without structured exceptions (Linux) only an escaping
// C++ exception ends the run, and onFault gets no exception pointers.
void RunStructuredGuarded(void (*body)(void*), void* context, void (*onFault)(ExceptionPointers*));

}  // namespace Orvane::Platform
