/// @file
/// The sub-client of the service's script commands. Its records belong to the service.
#pragma once

#include "lumo/api/observable.h"
#include "lumo/api/result_codes.h"
#include "lumo/api/service_record.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

namespace Quorvel::Lumo::Api {
class Client;
class ICore;
}  // namespace Quorvel::Lumo::Api

/// The script sub-client (Client::GetDcScriptClient) and its observers.
namespace Quorvel::Lumo::Api::DcScript {

/// A script's arguments, by name.
using ScriptArguments = std::unordered_map<std::wstring, std::wstring>;

/// The script commands. A script request is encoded as the script id (u32), the arguments
/// (pair count, then each name and value as wide strings, in the map's own order) and one
/// zero byte.
class ICommands {
  public:
    virtual ~ICommands() = default;
    /// Request 2227: runs script `scriptId` with `arguments`; the reply reaches
    /// IObserver::OnServerMessage2227.
    /// @retval LUMO_TOO_MANY_ELEMENTS (21) without sending, for more arguments, or a longer
    /// text, than a 32-bit count can say.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2227(std::uint32_t scriptId,
                                         const ScriptArguments& arguments) = 0;
    /// Request 2227 for the script `scriptId` without arguments.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2227(std::uint32_t scriptId) = 0;
    /// Request 2228, no payload; the reply reaches IObserver::OnServerMessage2228.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2228() = 0;
    /// Request 2229, no payload; the reply reaches IObserver::OnServerMessage2229.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2229() = 0;
    /// Request 2230, no payload; the reply reaches IObserver::OnServerMessage2230.
    /// @lumo_request
    virtual XeLUMOResult SendRequest2230() = 0;
};

/// The operations of IObserver by message id, for whoever implements every one:
/// `#define X(id) void OnServerMessage##id(const ServiceRecord&) override;`.
#define LUMO_DC_SCRIPT_OBSERVER_MESSAGES(X) X(2226) X(2227) X(2228) X(2230) X(2229)

/// Hears the script event and the replies to the script commands. Add one with
/// Client::Observers.
class IObserver {
  public:
    virtual ~IObserver() = default;
    /// Script event 2226, which the service sends unasked. @lumo_callback
    virtual void OnServerMessage2226(const ServiceRecord& record) = 0;
    /// The reply to request 2227. @lumo_callback
    virtual void OnServerMessage2227(const ServiceRecord& record) = 0;
    /// The reply to request 2228. @lumo_callback
    virtual void OnServerMessage2228(const ServiceRecord& record) = 0;
    /// The reply to request 2230. @lumo_callback
    virtual void OnServerMessage2230(const ServiceRecord& record) = 0;
    /// The reply to request 2229. @lumo_callback
    virtual void OnServerMessage2229(const ServiceRecord& record) = 0;
};

/// The session's script sub-client: the script commands, and the list of observers to
/// which it passes the script messages. The Client owns it.
class Client final : public ICommands, private IObserver {
  public:
    /// @cond LUMO_INTERNAL
    // Made by the Client, with its connection core.
    Client(ICore& core, Api::Client& client);
    // Hands the core a handler for each script message: 2226, 2227, 2228, 2230, 2229.
    void RegisterMessageHandlers();
    /// @endcond
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    XeLUMOResult SendRequest2227(std::uint32_t scriptId, const ScriptArguments& arguments) override;
    XeLUMOResult SendRequest2227(std::uint32_t scriptId) override;
    XeLUMOResult SendRequest2228() override;
    XeLUMOResult SendRequest2229() override;
    XeLUMOResult SendRequest2230() override;

    /// The observers of the script messages.
    /// @lumo_local
    Events::IObservable<IObserver>& Observers() { return *m_observers; }

  private:
    /// @cond LUMO_INTERNAL
    // Its own observer face: each operation passes the message on to the observers.
#define LUMO_OWN_OPERATION(id) void OnServerMessage##id(const ServiceRecord& record) override;
    LUMO_DC_SCRIPT_OBSERVER_MESSAGES(LUMO_OWN_OPERATION)
#undef LUMO_OWN_OPERATION
    /// @endcond

    [[maybe_unused]] Api::Client& m_client;
    ICore& m_core;
    // Lists that the library makes, held by their public face.
    std::unique_ptr<Events::IObservable<IObserver>> m_observers;
};

}  // namespace Quorvel::Lumo::Api::DcScript
