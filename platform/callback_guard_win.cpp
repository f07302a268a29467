// The callback guard sits in a file of its own: <excpt.h>'s guard uses fixed labels.
#include "platform/structured_guard.h"
#include "platform/structured_guard_win.h"
#include "platform/windows_api.h"

#include <excpt.h>

#include <utility>

namespace {

// The code of the fault that the innermost callback guard of this thread has just stopped.
thread_local DWORD stoppedFault = 0;

}  // namespace

// A C++ exception goes on to the C++ handling around the callback. Anything else is the
// callback's fault: handed over here, in the filter, where the faulting frames still stand.
extern "C" LONG LumoCallbackGuardFilter(EXCEPTION_POINTERS* exception, void*) {
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    if (code == Orvane::Platform::kGccCxxException)
        return EXCEPTION_CONTINUE_SEARCH;
    Orvane::Platform::HandOverFault(exception);
    stoppedFault = code;
    Orvane::Platform::LandAfterStackOverflow(exception);
    return EXCEPTION_EXECUTE_HANDLER;
}

namespace {

// Built under the same constraints as the run's guard (structured_guard_win.cpp). Whether
// body returned cannot be told by a local: the compiler does not know of the jump here.
__attribute__((noipa)) void CallUnderCallbackGuard(void (*body)(void*), void* context,
                                                   void** landing) {
    if (__builtin_setjmp(landing) == 0) {
        __try1(LumoCallbackGuardFilter) body(context);
        __except1;
    }
}

}  // namespace

namespace Orvane::Platform {

void RunCallbackGuarded(void (*body)(void*), void* context) {
    stoppedFault = 0;
    {
        OverflowLanding landing;
        CallUnderCallbackGuard(body, context, landing.Buffer());
    }
    if (const DWORD code = std::exchange(stoppedFault, 0))
        throw StructuredFault{static_cast<std::uint32_t>(code)};
}

}  // namespace Orvane::Platform
