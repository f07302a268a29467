#include "lumo/api/wrtl_client.h"

#include "service_api/client/command_sender.h"

namespace Quorvel::Lumo::Api::Wrtl {

XeLUMOResult Client::SendRequest2300(std::int32_t value) {
    return SendWithoutPayload(m_core, 2300, static_cast<std::uint32_t>(value));
}

XeLUMOResult Client::SendRequest2301(std::uint32_t a, std::uint32_t b) {
    return SendSerialized(m_core, 2301, a, b, std::uint32_t{0});
}

void Client::RegisterMessageHandlers() {
    RouteRecords<IObserver>(m_core, *this,
                            {{2302, &IObserver::OnServerMessage2302},
                             {2301, &IObserver::OnServerMessage2301},
                             {2300, &IObserver::OnServerMessage2300}});
}

}  // namespace Quorvel::Lumo::Api::Wrtl
