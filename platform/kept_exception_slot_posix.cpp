#include "platform/kept_exception_slot.h"

namespace Orvane::Platform {

std::exception_ptr& KeptExceptionSlot() {
    thread_local std::exception_ptr kept;
    return kept;
}

}  // namespace Orvane::Platform
