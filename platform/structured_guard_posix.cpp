#include "platform/structured_guard.h"

namespace Orvane::Platform {

void RunStructuredGuarded(void (*body)(void*), void* context, void (*)(ExceptionPointers*)) {
    body(context);
}

}  // namespace Orvane::Platform
