#include "platform/testing/fake_events.h"

namespace Orvane::Platform::Testing {

KernelHandle FakeEvents::CreateAutoResetEvent() {
    if (failCreation_) {
        return nullptr;
    }
    return objects_.Create(false);
}

bool FakeEvents::Set(KernelHandle event) {
    return objects_.Set(event);
}

bool FakeEvents::Close(KernelHandle event) {
    const bool closed = objects_.Close(event);
    if (closed) {
        ++closed_;
    }
    return closed;
}

}  // namespace Orvane::Platform::Testing
