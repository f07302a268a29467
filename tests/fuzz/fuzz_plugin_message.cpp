// The helper's run loop reading whatever arrives on its channel: the input is split into
// messages at each 0xFF 0xFE pair, each delivered before its own wait, then the exit
// message. The buffer is not cleared between reads, so a short message is judged by what
// the one before left there: the loop must end exactly where a reader of that rule
// expects, at the first message whose first four bytes then make 1002, at the first one
// too large for the buffer, or at the final exit.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "tests/helper/helper_harness.h"

using namespace HelperTesting;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::vector<std::uint8_t>> messages(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (i + 1 < size && data[i] == 0xFF && data[i + 1] == 0xFE) {
            messages.emplace_back();
            ++i;
        } else {
            messages.back().push_back(data[i]);
        }
    }
    messages.resize(std::min<std::size_t>(messages.size(), 500));  // the waits the harness allows
    // Where the loop must end: the number of reads, and Run's result.
    std::uint8_t buffer[1024] = {'0'};
    std::size_t reads = messages.size() + 1;
    int result = 0;
    for (std::size_t n = 0; n < messages.size(); ++n) {
        if (messages[n].size() > sizeof buffer) {
            reads = n + 1;
            result = -1;
            break;
        }
        std::copy(messages[n].begin(), messages[n].end(), buffer);
        if (buffer[0] == 0xEA && buffer[1] == 0x03 && buffer[2] == 0 && buffer[3] == 0) {
            reads = n + 1;
            break;
        }
    }

    HelperHarness h;
    h.PluginPresent();
    if (h.helper->Initialize(false) != 0) {
        return 0;
    }
    for (std::size_t n = 0; n < messages.size(); ++n) {
        h.BeforeWait(n, [&h, &messages, n] { h.ipc.DeliverRaw(kHelperChannelName, messages[n]); });
    }
    h.ExitBeforeWait(messages.size());
    if (h.helper->Run() != result || h.CallCount(Call::Read) != reads) {
        std::abort();
    }
    return 0;
}
