#include "diagnostics/guarded_run.h"

#include "diagnostics/crash_dump.h"
#include "platform/structured_guard.h"

void RunGuarded(void (*body)(void*), void* context) {
    Orvane::Platform::RunStructuredGuarded(body, context, &WriteCrashDumpOnException);
}
