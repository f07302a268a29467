#include "lumo/api/wrtl_client.h"

#include "service_api/client/command_sender.h"
#include "service_api/client/observable.h"
#include "service_api/client/observer_routing.h"

namespace Quorvel::Lumo::Api::Wrtl {

Client::Client(ICore& core, Api::Client& client)
    : m_client(client),
      m_core(core),
      m_observers(std::make_unique<Events::Observable<IObserver>>()) {}

#define LUMO_FORWARD(id) LUMO_FORWARD_TO_OBSERVERS(Client, IObserver, m_observers, id)
LUMO_WRTL_OBSERVER_MESSAGES(LUMO_FORWARD)
#undef LUMO_FORWARD

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
