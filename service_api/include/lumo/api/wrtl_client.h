/// @file
/// The sub-client of the service's Wrtl feature. Its records belong to the service.
#pragma once

#include "lumo/api/observable.h"
#include "lumo/api/result_codes.h"
#include "lumo/api/service_record.h"

#include <cstdint>
#include <memory>

namespace Quorvel::Lumo::Api {
class Client;
class ICore;
}  // namespace Quorvel::Lumo::Api

/// The Wrtl sub-client (Client::GetWrtlClient) and its observers.
namespace Quorvel::Lumo::Api::Wrtl {

/// The Wrtl commands.
class ICommands {
  public:
    virtual ~ICommands() = default;
    /// Request 2300 with `value` in the chunk (argument1) and no payload; the reply reaches
    /// IObserver::OnServerMessage2300.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2300(std::int32_t value) = 0;
    /// Request 2301, encoded as three u32: `a`, `b` and 0; the reply reaches
    /// IObserver::OnServerMessage2301.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2301(std::uint32_t a, std::uint32_t b) = 0;
};

/// The operations of IObserver by message id, for whoever implements every one:
/// `#define X(id) void OnServerMessage##id(const ServiceRecord&) override;`.
#define LUMO_WRTL_OBSERVER_MESSAGES(X) X(2302) X(2301) X(2300)

/// Hears the Wrtl event and the replies to the Wrtl commands. Add one with
/// Client::Observers.
class IObserver {
  public:
    virtual ~IObserver() = default;
    /// Wrtl event 2302, which the service sends unasked. @lumo_callback
    virtual void OnServerMessage2302(const ServiceRecord& record) = 0;
    /// The reply to request 2301. @lumo_callback
    virtual void OnServerMessage2301(const ServiceRecord& record) = 0;
    /// The reply to request 2300. @lumo_callback
    virtual void OnServerMessage2300(const ServiceRecord& record) = 0;
};

/// The session's Wrtl sub-client: the Wrtl commands, and the list of observers to which it
/// passes the feature's messages. The Client owns it.
class Client final : public ICommands, private IObserver {
  public:
    /// @cond LUMO_INTERNAL
    // Made by the Client, with its connection core.
    Client(ICore& core, Api::Client& client);
    // Hands the core a handler for each of the feature's messages: 2302, 2301, 2300.
    void RegisterMessageHandlers();
    /// @endcond
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    XeLUMOResult SendRequest2300(std::int32_t value) override;
    XeLUMOResult SendRequest2301(std::uint32_t a, std::uint32_t b) override;

    /// The observers of the feature's messages.
    /// @lumo_local
    Events::IObservable<IObserver>& Observers() { return *m_observers; }

  private:
    /// @cond LUMO_INTERNAL
    // Its own observer face: each operation passes the message on to the observers.
#define LUMO_OWN_OPERATION(id) void OnServerMessage##id(const ServiceRecord& record) override;
    LUMO_WRTL_OBSERVER_MESSAGES(LUMO_OWN_OPERATION)
#undef LUMO_OWN_OPERATION
    /// @endcond

    [[maybe_unused]] Api::Client& m_client;
    ICore& m_core;
    // Lists that the library makes, held by their public face.
    std::unique_ptr<Events::IObservable<IObserver>> m_observers;
};

}  // namespace Quorvel::Lumo::Api::Wrtl
