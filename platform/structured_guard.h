// A guard against structured exceptions (machine faults such as access violations, and
// exceptions raised through the system), for the outermost run of a program.
#pragma once

#include "platform/exception_pointers.h"

namespace Orvane::Platform {

// Runs body(context). When a structured exception escapes body, onFault is called with it on
// the failing thread, while the failing frames are still intact (a dump then shows them),
// and the run ends normally, without the rest of body. C++ exceptions are not structured
// exceptions here: they work inside body and leave it as usual. Without structured
// exceptions (Linux) body simply runs.
void RunStructuredGuarded(void (*body)(void*), void* context, void (*onFault)(ExceptionPointers*));

}  // namespace Orvane::Platform
