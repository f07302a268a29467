// The system's dispatch of window messages must never see an exception: when it delivers a
// message sent by another thread or process it drops one silently and goes on, as if the
// handler had returned. So what a window's handler throws is kept for its thread, and
// thrown again once the system has handed control back to the program: after the wait,
// the pump or the send that let the message in. Until then nothing more is handled on
// that thread: the rest of the run is the exception's to end.
#pragma once

#include <exception>
#include <utility>

namespace Orvane::Platform {

void KeepException(std::exception_ptr exception);
bool HasKeptException();
// Throws the kept exception, if there is one, and forgets it.
void ThrowKeptException();

// For the system's dispatch: `handler()`, or `fallback()` when it throws (the exception is
// kept) or an earlier one is kept already.
template <class Handler, class Fallback>
auto CallKeepingExceptions(Handler&& handler, Fallback&& fallback) noexcept {
    if (!HasKeptException()) {
        try {
            return std::forward<Handler>(handler)();
        } catch (...) {
            KeepException(std::current_exception());
        }
    }
    return std::forward<Fallback>(fallback)();
}

}  // namespace Orvane::Platform
