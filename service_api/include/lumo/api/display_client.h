/// @file
/// The sub-client of the display that the service manages: who owns it, what it shows, and
/// its touch screen. Its records belong to the service.
#pragma once

#include "lumo/api/observable.h"
#include "lumo/api/result_codes.h"
#include "lumo/api/service_record.h"

#include <memory>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api {
class Client;
class ICore;
}  // namespace Quorvel::Lumo::Api

/// The display sub-client (Client::GetDisplayClient) and its observers.
namespace Quorvel::Lumo::Api::Display {

/// The display commands. The stored display text travels with every 2065.
class ICommands {
  public:
    virtual ~ICommands() = default;
    /// Stores `text`, a copy, as the display text that request 2065 carries.
    /// @lumo_local
    virtual void SetDisplayText(const std::wstring& text) = 0;
    /// Forgets the stored display text: request 2065 is refused until the next
    /// SetDisplayText.
    /// @lumo_local
    virtual void ClearDisplayText() = 0;
    /// Whether a display text is stored.
    /// @lumo_local
    virtual bool HasDisplayText() const = 0;
    /// Request 2067, no payload; the reply reaches IObserver::OnServerMessage2067.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2067() = 0;
    /// Request 2065: the stored display text and `text`, encoded as two wide strings; the
    /// reply reaches IObserver::OnServerMessage2065.
    /// @retval LUMO_BAD_PARAMETER (5) without sending, while no display text is stored.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2065(const std::wstring& text) = 0;
    /// Request 2066: `items`, encoded as a list of wide strings; the reply reaches
    /// IObserver::OnServerMessage2066.
    /// @retval LUMO_TOO_MANY_ELEMENTS (21) without sending, for a list or a text longer than
    /// its 32-bit count can say.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2066(const std::vector<std::wstring>& items) = 0;
    /// Request 2061, no payload; the reply reaches IObserver::OnServerMessage2061.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2061() = 0;
};

/// The operations of IObserver by message id, for whoever implements every one:
/// `#define X(id) void OnServerMessage##id(const ServiceRecord&) override;`.
#define LUMO_DISPLAY_OBSERVER_MESSAGES(X) X(2062) X(2075) X(2061) X(2065) X(2066) X(2067)
/// The operations of ITouchScreenObserver by message id, as LUMO_DISPLAY_OBSERVER_MESSAGES.
#define LUMO_TOUCH_SCREEN_OBSERVER_MESSAGES(X) \
    X(2068) X(2069) X(2070) X(2071) X(2072) X(2073) X(2074)

/// Hears the display's events and the replies to the display commands. Add one with
/// DisplayClient::Observers.
class IObserver {
  public:
    virtual ~IObserver() = default;
    /// Display event 2062. @lumo_callback
    virtual void OnServerMessage2062(const ServiceRecord& record) = 0;
    /// Display event 2075. @lumo_callback
    virtual void OnServerMessage2075(const ServiceRecord& record) = 0;
    /// The reply to request 2061. @lumo_callback
    virtual void OnServerMessage2061(const ServiceRecord& record) = 0;
    /// The reply to request 2065. @lumo_callback
    virtual void OnServerMessage2065(const ServiceRecord& record) = 0;
    /// The reply to request 2066. @lumo_callback
    virtual void OnServerMessage2066(const ServiceRecord& record) = 0;
    /// The reply to request 2067. @lumo_callback
    virtual void OnServerMessage2067(const ServiceRecord& record) = 0;
};

/// Hears the touch screen's events, 2068 to 2074. Add one with
/// DisplayClient::TouchScreenObservers.
class ITouchScreenObserver {
  public:
    virtual ~ITouchScreenObserver() = default;
    /// Touch-screen event 2068. @lumo_callback
    virtual void OnServerMessage2068(const ServiceRecord& record) = 0;
    /// Touch-screen event 2069. @lumo_callback
    virtual void OnServerMessage2069(const ServiceRecord& record) = 0;
    /// Touch-screen event 2070. @lumo_callback
    virtual void OnServerMessage2070(const ServiceRecord& record) = 0;
    /// Touch-screen event 2071. @lumo_callback
    virtual void OnServerMessage2071(const ServiceRecord& record) = 0;
    /// Touch-screen event 2072. @lumo_callback
    virtual void OnServerMessage2072(const ServiceRecord& record) = 0;
    /// Touch-screen event 2073. @lumo_callback
    virtual void OnServerMessage2073(const ServiceRecord& record) = 0;
    /// Touch-screen event 2074. @lumo_callback
    virtual void OnServerMessage2074(const ServiceRecord& record) = 0;
};

/// The session's display sub-client: the display commands, and the two lists of observers
/// to which it passes the display's messages. The Client owns it.
class DisplayClient final : public ICommands, private IObserver, private ITouchScreenObserver {
  public:
    /// @cond LUMO_INTERNAL
    // Made by the Client, with its connection core.
    DisplayClient(ICore& core, Client& client);
    // Hands the core a handler for each display message: 2062, 2069, 2068, 2070, 2071,
    // 2072, 2073, 2074, 2075, 2066, 2061, 2065, 2067.
    void RegisterMessageHandlers();
    /// @endcond
    DisplayClient(const DisplayClient&) = delete;
    DisplayClient& operator=(const DisplayClient&) = delete;

    void SetDisplayText(const std::wstring& text) override { m_displayText = text; }
    void ClearDisplayText() override { m_displayText.clear(); }
    bool HasDisplayText() const override { return !m_displayText.empty(); }
    XeLUMOResult SendRequest2067() override;
    XeLUMOResult SendRequest2065(const std::wstring& text) override;
    XeLUMOResult SendRequest2066(const std::vector<std::wstring>& items) override;
    XeLUMOResult SendRequest2061() override;

    /// The observers of the display's events and replies.
    /// @lumo_local
    Events::IObservable<IObserver>& Observers() { return *m_observers; }
    /// The observers of the touch screen's events.
    /// @lumo_local
    Events::IObservable<ITouchScreenObserver>& TouchScreenObservers() {
        return *m_touchScreenObservers;
    }

  private:
    /// @cond LUMO_INTERNAL
    // Its own observer faces: each operation passes the message on to the observers.
#define LUMO_OWN_OPERATION(id) void OnServerMessage##id(const ServiceRecord& record) override;
    LUMO_DISPLAY_OBSERVER_MESSAGES(LUMO_OWN_OPERATION)
    LUMO_TOUCH_SCREEN_OBSERVER_MESSAGES(LUMO_OWN_OPERATION)
#undef LUMO_OWN_OPERATION
    /// @endcond

    [[maybe_unused]] Client& m_client;
    ICore& m_core;
    // Lists that the library makes, held by their public face.
    std::unique_ptr<Events::IObservable<IObserver>> m_observers;
    std::unique_ptr<Events::IObservable<ITouchScreenObserver>> m_touchScreenObservers;
    std::wstring m_displayText;
};

}  // namespace Quorvel::Lumo::Api::Display
