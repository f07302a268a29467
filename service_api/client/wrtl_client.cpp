#include "service_api/client/wrtl_client.h"

#include "service_api/client/observer_routing.h"

namespace Quorvel::Lumo::Api::Wrtl {

void Client::RegisterMessageHandlers() {
    RouteRecords<IObserver>(m_core, *this,
                            {{2302, &IObserver::OnServerMessage2302},
                             {2301, &IObserver::OnServerMessage2301},
                             {2300, &IObserver::OnServerMessage2300}});
}

void Client::OnServerMessage2302(const ServiceRecord& record) {
    m_observers.Notify(&IObserver::OnServerMessage2302, record);
}

void Client::OnServerMessage2301(const ServiceRecord& record) {
    m_observers.Notify(&IObserver::OnServerMessage2301, record);
}

void Client::OnServerMessage2300(const ServiceRecord& record) {
    m_observers.Notify(&IObserver::OnServerMessage2300, record);
}

}  // namespace Quorvel::Lumo::Api::Wrtl
