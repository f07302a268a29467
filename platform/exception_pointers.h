// The system's record of a structured exception (the faulting context and the exception
// record), known above the platform layer only as an opaque pointer.
#pragma once

struct _EXCEPTION_POINTERS;

namespace Orvane::Platform {
using ExceptionPointers = ::_EXCEPTION_POINTERS;
}  // namespace Orvane::Platform
