#include <new>

#include "platform/kept_exception_slot.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

// The system calls it as each thread ends, with what the thread stored.
void WINAPI ReleaseSlot(void* slot) {
    delete static_cast<std::exception_ptr*>(slot);
}

}  // namespace

// Not a thread_local: with the static runtime, such an object's destructor runs at the
// thread's end on storage that has already been released. The system's fiber-local storage
// calls back while the thread is still whole.
std::exception_ptr& KeptExceptionSlot() {
    static const DWORD index = FlsAlloc(&ReleaseSlot);
    auto* slot = static_cast<std::exception_ptr*>(FlsGetValue(index));
    if (slot == nullptr) {
        slot = new std::exception_ptr;
        if (!FlsSetValue(index, slot)) {
            delete slot;
            throw std::bad_alloc();
        }
    }
    return *slot;
}

}  // namespace Orvane::Platform
