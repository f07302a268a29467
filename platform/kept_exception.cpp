#include "platform/kept_exception.h"

#include "platform/kept_exception_slot.h"

namespace Orvane::Platform {

void KeepException(std::exception_ptr exception) {
    if (std::exception_ptr& kept = KeptExceptionSlot(); !kept) {
        kept = std::move(exception);
    }
}

bool HasKeptException() {
    return KeptExceptionSlot() != nullptr;
}

void ThrowKeptException() {
    if (std::exception_ptr& kept = KeptExceptionSlot()) {
        std::rethrow_exception(std::exchange(kept, nullptr));
    }
}

}  // namespace Orvane::Platform
