#include "lumo/api/dc_script_client.h"

#include "service_api/client/command_sender.h"
#include "service_api/client/observable.h"
#include "service_api/client/observer_routing.h"

namespace Quorvel::Lumo::Api::DcScript {

Client::Client(ICore& core, Api::Client& client)
    : m_client(client),
      m_core(core),
      m_observers(std::make_unique<Events::Observable<IObserver>>()) {}

#define LUMO_FORWARD(id) LUMO_FORWARD_TO_OBSERVERS(Client, IObserver, m_observers, id)
LUMO_DC_SCRIPT_OBSERVER_MESSAGES(LUMO_FORWARD)
#undef LUMO_FORWARD

XeLUMOResult Client::SendRequest2227(std::uint32_t scriptId, const ScriptArguments& arguments) {
    return SendSerialized(m_core, 2227, scriptId, arguments, std::uint8_t{0});
}

XeLUMOResult Client::SendRequest2227(std::uint32_t scriptId) {
    ScriptArguments none;
    none.max_load_factor(1.0F);
    none.rehash(8);
    return SendRequest2227(scriptId, none);
}

XeLUMOResult Client::SendRequest2228() {
    return SendWithoutPayload(m_core, 2228);
}

XeLUMOResult Client::SendRequest2229() {
    return SendWithoutPayload(m_core, 2229);
}

XeLUMOResult Client::SendRequest2230() {
    return SendWithoutPayload(m_core, 2230);
}

void Client::RegisterMessageHandlers() {
    RouteRecords<IObserver>(m_core, *this,
                            {{2226, &IObserver::OnServerMessage2226},
                             {2227, &IObserver::OnServerMessage2227},
                             {2228, &IObserver::OnServerMessage2228},
                             {2230, &IObserver::OnServerMessage2230},
                             {2229, &IObserver::OnServerMessage2229}});
}

}  // namespace Quorvel::Lumo::Api::DcScript
