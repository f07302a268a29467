#include <new>

#include "platform/kept_exception_slot.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

// The system calls it as each thread ends, with what the thread stored.
void WINAPI ReleaseSlot(void* slot) {
    delete static_cast<std::exception_ptr*>(slot);
}

// Taken before main, not on first use: a guarded static's first use may create a kernel
// object, in the middle of a caller's sequence of waits on handles.
const DWORD slotIndex = FlsAlloc(&ReleaseSlot);

}  // namespace

// Not a thread_local: with the static runtime, such an object's destructor runs at the
// thread's end on storage that has already been released. The system's fiber-local storage
// calls back while the thread is still whole.
std::exception_ptr& KeptExceptionSlot() {
    // Looked at right after the waits and sends whose error the caller reads next, which
    // FlsGetValue would clear.
    const DWORD lastError = GetLastError();
    auto* slot = static_cast<std::exception_ptr*>(FlsGetValue(slotIndex));
    if (slot == nullptr) {
        slot = new std::exception_ptr;
        if (!FlsSetValue(slotIndex, slot)) {
            delete slot;
            throw std::bad_alloc();
        }
    }
    SetLastError(lastError);
    return *slot;
}

}  // namespace Orvane::Platform
