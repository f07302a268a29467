#include "platform/kept_exception.h"

namespace Orvane::Platform {
namespace {

thread_local std::exception_ptr kept;

}  // namespace

void KeepException(std::exception_ptr exception) {
    if (!kept) {
        kept = std::move(exception);
    }
}

bool HasKeptException() {
    return kept != nullptr;
}

void ThrowKeptException() {
    if (kept) {
        std::rethrow_exception(std::exchange(kept, nullptr));
    }
}

}  // namespace Orvane::Platform
