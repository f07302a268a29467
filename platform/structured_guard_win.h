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

}  // namespace Orvane::Platform
