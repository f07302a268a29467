#include "service_api/client/dc_script_client.h"

#include "service_api/client/observer_routing.h"

namespace Quorvel::Lumo::Api::DcScript {

void Client::RegisterMessageHandlers() {
    RouteRecords<IObserver>(m_core, *this,
                            {{2226, &IObserver::OnServerMessage2226},
                             {2227, &IObserver::OnServerMessage2227},
                             {2228, &IObserver::OnServerMessage2228},
                             {2230, &IObserver::OnServerMessage2230},
                             {2229, &IObserver::OnServerMessage2229}});
}

void Client::OnServerMessage2226(const ServiceRecord& record) {
    m_observers.Notify(&IObserver::OnServerMessage2226, record);
}

void Client::OnServerMessage2227(const ServiceRecord& record) {
    m_observers.Notify(&IObserver::OnServerMessage2227, record);
}

void Client::OnServerMessage2228(const ServiceRecord& record) {
    m_observers.Notify(&IObserver::OnServerMessage2228, record);
}

void Client::OnServerMessage2230(const ServiceRecord& record) {
    m_observers.Notify(&IObserver::OnServerMessage2230, record);
}

void Client::OnServerMessage2229(const ServiceRecord& record) {
    m_observers.Notify(&IObserver::OnServerMessage2229, record);
}

}  // namespace Quorvel::Lumo::Api::DcScript
