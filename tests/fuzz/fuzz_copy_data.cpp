// Whole copy-data blocks of any size and message id, sent by a service to a registered
// client: the window, the core's routing and every decoder of the client and its
// sub-clients.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/service.h"
#include "tests/service_api_client/recording_client.h"
#include "tests/service_api_connection/service_peer.h"

using namespace Quorvel::Lumo::Api::testing;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FakeMessageWindow desktop;
    Orvane::Platform::ScopedOverride<Orvane::Platform::MessageWindowService> use{desktop};
    ServicePeer service(desktop);
    auto client = std::make_unique<RecordingClient>();
    client->peek = 4;
    client->Start(0, nullptr, 0, true);
    service.Announce();
    const WindowHandle window = desktop.CreatedWindows().at(0);
    // The input is split into blocks at each 0xFF 0xFE pair, so that one input can carry
    // several messages, the service's shutdown among them.
    std::size_t start = 0;
    for (std::size_t i = 0; i <= size; ++i) {
        const bool end = i == size || (i + 1 < size && data[i] == 0xFF && data[i + 1] == 0xFE);
        if (end) {
            desktop.SendBytes(window, std::vector<std::uint8_t>(data + start, data + i));
            start = i + 2;
            ++i;
        }
    }
    return 0;
}
