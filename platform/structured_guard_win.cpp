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
// On a thread that handles another's fault: that thread's id.
thread_local DWORD handlingFaultOf = 0;
// Where the innermost guard of this thread resumes after a stack overflow.
thread_local Orvane::Platform::OverflowLanding* innermostLanding = nullptr;

// What the handler of a stack overflow runs on: it writes a dump.
constexpr SIZE_T kHandlerStack = 1 << 20;

struct FaultCall {
    void (*onFault)(Orvane::Platform::ExceptionPointers*);
    Orvane::Platform::ExceptionPointers* exception;
    DWORD faultingThread;
};

DWORD WINAPI HandleFaultOf(void* context) {
    const auto* call = static_cast<const FaultCall*>(context);
    handlingFaultOf = call->faultingThread;
    call->onFault(call->exception);
    return 0;
}

// A stack overflow leaves the filter a few KiB of stack (about 3 KiB under Wine 8, which
// accepts SetThreadStackGuarantee and keeps no more), too little to write a dump: its
// handler runs on a thread of its own, while the faulting thread waits here with its frames
// intact. Without such a thread it runs here, and may overflow again.
void Deliver(void (*onFault)(Orvane::Platform::ExceptionPointers*),
             Orvane::Platform::ExceptionPointers* exception) {
    if (exception->ExceptionRecord->ExceptionCode == EXCEPTION_STACK_OVERFLOW) {
        FaultCall call{onFault, exception, GetCurrentThreadId()};
        if (HANDLE thread = CreateThread(nullptr, kHandlerStack, &HandleFaultOf, &call,
                                         STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr)) {
            WaitForSingleObject(thread, INFINITE);
            CloseHandle(thread);
            return;
        }
    }
    onFault(exception);
}

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
        Deliver(currentOnFault, exception);
    Orvane::Platform::LandAfterStackOverflow(exception);
    return cxx ? EXCEPTION_CONTINUE_SEARCH : EXCEPTION_EXECUTE_HANDLER;
}

namespace {

// Must hold no object with a destructor and no try block (GCC's own handler would replace
// the guard), and must not take part in interprocedural register allocation, or registers
// are wrong after recovery. After a stack overflow it resumes at the landing instead.
__attribute__((noipa)) void CallUnderGuard(void (*body)(void*), void* context, void** landing) {
    if (__builtin_setjmp(landing) == 0) {
        __try1(LumoStructuredGuardFilter) body(context);
        __except1;
    }
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
    OverflowLanding landing;
    try {
        CallUnderGuard(body, context, landing.Buffer());
    } catch (...) {
        // The filter has seen it while its frames were intact; the run ends here.
    }
}

void HandOverFault(ExceptionPointers* exception) {
    if (currentOnFault)
        Deliver(currentOnFault, exception);
    faultHandedOver = true;
}

OverflowLanding::OverflowLanding() : m_outer(std::exchange(innermostLanding, this)) {}

OverflowLanding::~OverflowLanding() {
    innermostLanding = m_outer;
}

void LandAfterStackOverflow(const ExceptionPointers* exception) {
    if (exception->ExceptionRecord->ExceptionCode == EXCEPTION_STACK_OVERFLOW && innermostLanding)
        __builtin_longjmp(innermostLanding->Buffer(), 1);
}

std::uint32_t FaultingThreadId() {
    return handlingFaultOf != 0 ? handlingFaultOf : GetCurrentThreadId();
}

}  // namespace Orvane::Platform
