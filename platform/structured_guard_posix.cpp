#include "platform/structured_guard.h"

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

}  // namespace Orvane::Platform
