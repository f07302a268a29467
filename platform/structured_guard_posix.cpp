#include "platform/structured_guard.h"

#include "platform/clock.h"

namespace Orvane::Platform {

void RunStructuredGuarded(void (*body)(void*), void* context, void (*onFault)(ExceptionPointers*)) {
    try {
        body(context);
    } catch (...) {
        onFault(nullptr);
    }
}

void RunCallbackGuarded(void (*body)(void*), void* context) {
    body(context);
}

std::uint32_t FaultingThreadId() {
    return CurrentThreadId();
}

}  // namespace Orvane::Platform
