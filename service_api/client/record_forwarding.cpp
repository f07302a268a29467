#include "service_api/client/record_forwarding.h"

#include <utility>

namespace Quorvel::Lumo::Api {

LumoMessageHandler ForwardRecord(std::function<void(const ServiceRecord&)> deliver) {
    return [deliver = std::move(deliver)](const sLUMOChunk& header, char* payload,
                                          std::uint64_t payloadSize) {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(payload);
        deliver(ServiceRecord{header, {bytes, bytes + payloadSize}});
    };
}

}  // namespace Quorvel::Lumo::Api
