// The calling thread's kept exception, in storage that the thread's end releases.
#pragma once

#include <exception>

namespace Orvane::Platform {

std::exception_ptr& KeptExceptionSlot();

}  // namespace Orvane::Platform
