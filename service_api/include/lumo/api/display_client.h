// The sub-client of the display that the service manages: it passes the display's events
// and the replies to display commands to the application's display observers, and the
// touch-screen events (2068 to 2074) to its touch-screen observers. The records they carry
// belong to the service.
#pragma once

#include "lumo/api/service_record.h"
#include "service_api/client/observable.h"
#include "service_api/client/observer_routing.h"
#include "service_api/core/icore.h"

#include <string>
#include <vector>

namespace Quorvel::Lumo::Api {
class Client;
}

namespace Quorvel::Lumo::Api::Display {

// The display commands. The stored text travels with every 2065.
class ICommands {
  public:
    virtual ~ICommands() = default;
    virtual void SetDisplayText(const std::wstring& text) = 0;
    virtual void ClearDisplayText() = 0;
    virtual bool HasDisplayText() const = 0;
    virtual XeLUMOResult SendRequest2067() = 0;
    // The stored text and `text`, encoded as two wide strings; 5 without sending anything
    // while no text is stored.
    virtual XeLUMOResult SendRequest2065(const std::wstring& text) = 0;
    virtual XeLUMOResult SendRequest2066(const std::vector<std::wstring>& items) = 0;
    virtual XeLUMOResult SendRequest2061() = 0;
};

// The operations of each observer face, by message id, for whoever implements every one.
#define LUMO_DISPLAY_OBSERVER_MESSAGES(X) X(2062) X(2075) X(2061) X(2065) X(2066) X(2067)
#define LUMO_TOUCH_SCREEN_OBSERVER_MESSAGES(X) \
    X(2068) X(2069) X(2070) X(2071) X(2072) X(2073) X(2074)

class IObserver {
  public:
    virtual ~IObserver() = default;
    virtual void OnServerMessage2062(const ServiceRecord& record) = 0;  // display event
    virtual void OnServerMessage2075(const ServiceRecord& record) = 0;  // display event
    virtual void OnServerMessage2061(const ServiceRecord& record) = 0;  // reply to 2061
    virtual void OnServerMessage2065(const ServiceRecord& record) = 0;  // reply to 2065
    virtual void OnServerMessage2066(const ServiceRecord& record) = 0;  // reply to 2066
    virtual void OnServerMessage2067(const ServiceRecord& record) = 0;  // reply to 2067
};

class ITouchScreenObserver {
  public:
    virtual ~ITouchScreenObserver() = default;
    virtual void OnServerMessage2068(const ServiceRecord& record) = 0;
    virtual void OnServerMessage2069(const ServiceRecord& record) = 0;
    virtual void OnServerMessage2070(const ServiceRecord& record) = 0;
    virtual void OnServerMessage2071(const ServiceRecord& record) = 0;
    virtual void OnServerMessage2072(const ServiceRecord& record) = 0;
    virtual void OnServerMessage2073(const ServiceRecord& record) = 0;
    virtual void OnServerMessage2074(const ServiceRecord& record) = 0;
};

class DisplayClient final : public ICommands, private IObserver, private ITouchScreenObserver {
  public:
    DisplayClient(ICore& core, Client& client) : m_client(client), m_core(core) {}

    void SetDisplayText(const std::wstring& text) override { m_displayText = text; }
    void ClearDisplayText() override { m_displayText.clear(); }
    bool HasDisplayText() const override { return !m_displayText.empty(); }
    XeLUMOResult SendRequest2067() override;
    XeLUMOResult SendRequest2065(const std::wstring& text) override;
    XeLUMOResult SendRequest2066(const std::vector<std::wstring>& items) override;
    XeLUMOResult SendRequest2061() override;

    // Hands the core a handler for each display message: 2062, 2069, 2068, 2070, 2071,
    // 2072, 2073, 2074, 2075, 2066, 2061, 2065, 2067.
    void RegisterMessageHandlers();

    Events::IObservable<IObserver>& Observers() { return m_observers; }
    Events::IObservable<ITouchScreenObserver>& TouchScreenObservers() {
        return m_touchScreenObservers;
    }

  private:
#define LUMO_FORWARD_DISPLAY(id) LUMO_FORWARD_TO_OBSERVERS(IObserver, m_observers, id)
#define LUMO_FORWARD_TOUCH(id) \
    LUMO_FORWARD_TO_OBSERVERS(ITouchScreenObserver, m_touchScreenObservers, id)
    LUMO_DISPLAY_OBSERVER_MESSAGES(LUMO_FORWARD_DISPLAY)
    LUMO_TOUCH_SCREEN_OBSERVER_MESSAGES(LUMO_FORWARD_TOUCH)
#undef LUMO_FORWARD_DISPLAY
#undef LUMO_FORWARD_TOUCH

    [[maybe_unused]] Client& m_client;
    ICore& m_core;
    Events::Observable<IObserver> m_observers;
    Events::Observable<ITouchScreenObserver> m_touchScreenObservers;
    std::wstring m_displayText;
};

}  // namespace Quorvel::Lumo::Api::Display
