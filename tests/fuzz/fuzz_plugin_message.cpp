// The helper's run loop reading whatever bytes arrive on its channel, followed by the
// exit message.
#include <cstddef>
#include <cstdint>

#include "tests/helper/helper_harness.h"

using namespace HelperTesting;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    HelperHarness h;
    h.PluginPresent();
    if (h.helper->Initialize(false) != 0) {
        return 0;
    }
    h.BeforeWait(0, [&] {
        h.ipc.DeliverRaw(kHelperChannelName, std::vector<std::uint8_t>(data, data + size));
    });
    h.ExitBeforeWait(1);
    h.helper->Run();
    return 0;
}
