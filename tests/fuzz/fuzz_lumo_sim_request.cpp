// Whatever a window sends the simulated service: the whole block through its reading of
// the chunk, the sender block, a registration and every request layout.
#include <cstddef>
#include <cstdint>

#include "tools/lumo-sim/received_message.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    LumoTools::JsonLine line;
    // The seed registration carries the token of this minute.
    LumoSim::DescribeReceived(line, 0, data, size, {2026, 11, 3, 25, 10, 35, 0, 0});
    return 0;
}
