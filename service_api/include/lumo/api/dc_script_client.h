// The sub-client of the service's script commands. It passes the script messages to the
// application's observers; the records they carry belong to the service.
#pragma once

#include "lumo/api/service_record.h"
#include "service_api/client/observable.h"
#include "service_api/client/observer_routing.h"
#include "service_api/core/icore.h"

#include <cstdint>
#include <string>
#include <unordered_map>

namespace Quorvel::Lumo::Api {
class Client;
}

namespace Quorvel::Lumo::Api::DcScript {

// A script's arguments, by name.
using ScriptArguments = std::unordered_map<std::wstring, std::wstring>;

// The script commands. A script request is encoded as the script id (u32), the arguments
// (pair count, then each name and value) and one zero byte.
class ICommands {
  public:
    virtual ~ICommands() = default;
    virtual XeLUMOResult SendRequest2227(std::uint32_t scriptId,
                                         const ScriptArguments& arguments) = 0;
    // The script without arguments.
    virtual XeLUMOResult SendRequest2227(std::uint32_t scriptId) = 0;
    virtual XeLUMOResult SendRequest2228() = 0;
    virtual XeLUMOResult SendRequest2229() = 0;
    virtual XeLUMOResult SendRequest2230() = 0;
};

// The observers' operations, by message id, for whoever implements every one.
#define LUMO_DC_SCRIPT_OBSERVER_MESSAGES(X) X(2226) X(2227) X(2228) X(2230) X(2229)

class IObserver {
  public:
    virtual ~IObserver() = default;
    virtual void OnServerMessage2226(const ServiceRecord& record) = 0;  // unasked event
    virtual void OnServerMessage2227(const ServiceRecord& record) = 0;  // reply to 2227
    virtual void OnServerMessage2228(const ServiceRecord& record) = 0;  // reply to 2228
    virtual void OnServerMessage2230(const ServiceRecord& record) = 0;  // reply to 2230
    virtual void OnServerMessage2229(const ServiceRecord& record) = 0;  // reply to 2229
};

class Client final : public ICommands, private IObserver {
  public:
    Client(ICore& core, Api::Client& client) : m_client(client), m_core(core) {}

    XeLUMOResult SendRequest2227(std::uint32_t scriptId, const ScriptArguments& arguments) override;
    XeLUMOResult SendRequest2227(std::uint32_t scriptId) override;
    XeLUMOResult SendRequest2228() override;
    XeLUMOResult SendRequest2229() override;
    XeLUMOResult SendRequest2230() override;

    // Hands the core a handler for each script message: 2226, 2227, 2228, 2230, 2229.
    void RegisterMessageHandlers();

    Events::IObservable<IObserver>& Observers() { return m_observers; }

  private:
#define LUMO_FORWARD(id) LUMO_FORWARD_TO_OBSERVERS(IObserver, m_observers, id)
    LUMO_DC_SCRIPT_OBSERVER_MESSAGES(LUMO_FORWARD)
#undef LUMO_FORWARD

    [[maybe_unused]] Api::Client& m_client;
    ICore& m_core;
    Events::Observable<IObserver> m_observers;
};

}  // namespace Quorvel::Lumo::Api::DcScript
