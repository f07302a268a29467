#include "lumo/api/display_client.h"

#include "service_api/client/command_sender.h"
#include "service_api/client/observable.h"
#include "service_api/client/observer_routing.h"

namespace Quorvel::Lumo::Api::Display {

DisplayClient::DisplayClient(ICore& core, Client& client)
    : m_client(client),
      m_core(core),
      m_observers(std::make_unique<Events::Observable<IObserver>>()),
      m_touchScreenObservers(std::make_unique<Events::Observable<ITouchScreenObserver>>()) {}

#define LUMO_FORWARD_DISPLAY(id) \
    LUMO_FORWARD_TO_OBSERVERS(DisplayClient, IObserver, m_observers, id)
#define LUMO_FORWARD_TOUCH(id) \
    LUMO_FORWARD_TO_OBSERVERS(DisplayClient, ITouchScreenObserver, m_touchScreenObservers, id)
LUMO_DISPLAY_OBSERVER_MESSAGES(LUMO_FORWARD_DISPLAY)
LUMO_TOUCH_SCREEN_OBSERVER_MESSAGES(LUMO_FORWARD_TOUCH)
#undef LUMO_FORWARD_DISPLAY
#undef LUMO_FORWARD_TOUCH

XeLUMOResult DisplayClient::SendRequest2067() {
    return SendWithoutPayload(m_core, 2067);
}

XeLUMOResult DisplayClient::SendRequest2065(const std::wstring& text) {
    if (m_displayText.empty()) {
        return LUMO_BAD_PARAMETER;
    }
    return SendSerialized(m_core, 2065, m_displayText, text);
}

XeLUMOResult DisplayClient::SendRequest2066(const std::vector<std::wstring>& items) {
    return SendSerialized(m_core, 2066, items);
}

XeLUMOResult DisplayClient::SendRequest2061() {
    return SendWithoutPayload(m_core, 2061);
}

void DisplayClient::RegisterMessageHandlers() {
    RouteRecords<IObserver>(m_core, *this, {{2062, &IObserver::OnServerMessage2062}});
    RouteRecords<ITouchScreenObserver>(m_core, *this,
                                       {{2069, &ITouchScreenObserver::OnServerMessage2069},
                                        {2068, &ITouchScreenObserver::OnServerMessage2068},
                                        {2070, &ITouchScreenObserver::OnServerMessage2070},
                                        {2071, &ITouchScreenObserver::OnServerMessage2071},
                                        {2072, &ITouchScreenObserver::OnServerMessage2072},
                                        {2073, &ITouchScreenObserver::OnServerMessage2073},
                                        {2074, &ITouchScreenObserver::OnServerMessage2074}});
    RouteRecords<IObserver>(m_core, *this,
                            {{2075, &IObserver::OnServerMessage2075},
                             {2066, &IObserver::OnServerMessage2066},
                             {2061, &IObserver::OnServerMessage2061},
                             {2065, &IObserver::OnServerMessage2065},
                             {2067, &IObserver::OnServerMessage2067}});
}

}  // namespace Quorvel::Lumo::Api::Display
