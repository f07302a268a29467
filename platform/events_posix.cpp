#include "platform/events.h"

#include "platform/service.h"

namespace Orvane::Platform {
namespace {

// The helper's events are only ever waited on together with window input, which Linux does
// not have; no event is ever made here.
class UnavailableEvents final : public Events {
  public:
    KernelHandle CreateAutoResetEvent() override { return nullptr; }
    bool Set(KernelHandle) override { return false; }
    bool Close(KernelHandle) override { return false; }
};

}  // namespace

template <>
Events& DefaultService<Events>() {
    static UnavailableEvents service;
    return service;
}

}  // namespace Orvane::Platform
