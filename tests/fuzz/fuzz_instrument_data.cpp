// The helper's own road of message 1000: a service sends any instrument record, of any
// size, to the helper's client window; the helper identifies the instrument and announces
// it. Every datagram it sends must read as a valid announcement. Names of 62 bytes or more
// end the process by design, so the record's name is cut to 20 UTF-16 units (60 bytes at
// most as UTF-8) by construction.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "tests/helper/helper_harness.h"
#include "tests/service_api_connection/service_peer.h"
#include "tools/dds-listen/lib/announcement_decoder.h"

using namespace HelperTesting;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kNameEnd = 20 + 2 * 20;  // the unit after 20 name units
    std::vector<std::uint8_t> record(data, data + size);
    for (std::size_t at = kNameEnd; at < kNameEnd + 2 && at < record.size(); ++at) {
        record[at] = 0;
    }
    HelperHarness h;
    h.InitializeWithPlugin();
    h.helper->Start(0, nullptr, 0, true);
    Quorvel::Lumo::Api::testing::ServicePeer service(h.windows);
    service.Announce();
    service.Tell(h.windows.CreatedWindows().at(0), 1000, 0, 0, record);
    for (const auto& datagram : h.sockets.sent) {
        if (!DdsListen::DecodeAnnouncement(datagram.bytes.data(), datagram.bytes.size())
                 .announcement) {
            std::abort();
        }
    }
    return 0;
}
