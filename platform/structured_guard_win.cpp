#include "platform/structured_guard_win.h"

#include "platform/structured_guard.h"
#include "platform/windows_api.h"

#include <excpt.h>

#include <utility>

namespace {

// The handler of the innermost guard on this thread.
thread_local void (*currentOnFault)(Orvane::Platform::ExceptionPointers*) = nullptr;
// Set when a callback guard has handed a fault over and the C++ exception that carries it
// out of the run is on its way.
thread_local bool faultHandedOver = false;

}  // namespace

// The unwinder calls the filter by its plain symbol name, with the establisher frame. A C++
// exception reaches it only when no handler inside the run took it. It is handed on as it
// is (GCC's unwinder cannot be stopped by this frame) to the catch-all around the guard,
// which ends the run like a fault instead of letting std::terminate end the process.
extern "C" LONG LumoStructuredGuardFilter(EXCEPTION_POINTERS* exception, void*) {
    const bool cxx =
        exception->ExceptionRecord->ExceptionCode == Orvane::Platform::kGccCxxException;
    const bool handedOver = cxx && std::exchange(faultHandedOver, false);
    if (currentOnFault && !handedOver)
        currentOnFault(exception);
    return cxx ? EXCEPTION_CONTINUE_SEARCH : EXCEPTION_EXECUTE_HANDLER;
}

namespace {

// Must hold no object with a destructor and no try block (GCC's own handler would replace
// the guard), and must not take part in interprocedural register allocation, or registers
// are wrong after recovery.
__attribute__((noipa)) void CallUnderGuard(void (*body)(void*), void* context) {
    __try1(LumoStructuredGuardFilter) body(context);
    __except1;
}

class HandlerScope {
  public:
    explicit HandlerScope(void (*onFault)(Orvane::Platform::ExceptionPointers*))
        : previous_(currentOnFault) {
        currentOnFault = onFault;
    }
    ~HandlerScope() { currentOnFault = previous_; }
    HandlerScope(const HandlerScope&) = delete;
    HandlerScope& operator=(const HandlerScope&) = delete;

  private:
    void (*previous_)(Orvane::Platform::ExceptionPointers*);
};

}  // namespace

namespace Orvane::Platform {

void RunStructuredGuarded(void (*body)(void*), void* context, void (*onFault)(ExceptionPointers*)) {
    HandlerScope scope(onFault);
    try {
        CallUnderGuard(body, context);
    } catch (...) {
        // The filter has seen it while its frames were intact; the run ends here.
    }
}

void HandOverFault(ExceptionPointers* exception) {
    if (currentOnFault)
        currentOnFault(exception);
    faultHandedOver = true;
}

}  // namespace Orvane::Platform
