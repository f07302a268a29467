// The sub-client of the service's Wrtl feature. It passes the feature's messages to the
// application's observers; the records they carry belong to the service.
#pragma once

#include "lumo/api/service_record.h"
#include "service_api/client/observable.h"
#include "service_api/client/observer_routing.h"
#include "service_api/core/icore.h"

#include <cstdint>

namespace Quorvel::Lumo::Api {
class Client;
}

namespace Quorvel::Lumo::Api::Wrtl {

class ICommands {
  public:
    virtual ~ICommands() = default;
    virtual XeLUMOResult SendRequest2300(std::int32_t value) = 0;  // value in the chunk
    // Encoded as (a, b, 0), three u32.
    virtual XeLUMOResult SendRequest2301(std::uint32_t a, std::uint32_t b) = 0;
};

// The observers' operations, by message id, for whoever implements every one.
#define LUMO_WRTL_OBSERVER_MESSAGES(X) X(2302) X(2301) X(2300)

class IObserver {
  public:
    virtual ~IObserver() = default;
    virtual void OnServerMessage2302(const ServiceRecord& record) = 0;  // unasked event
    virtual void OnServerMessage2301(const ServiceRecord& record) = 0;  // reply to 2301
    virtual void OnServerMessage2300(const ServiceRecord& record) = 0;  // reply to 2300
};

class Client final : public ICommands, private IObserver {
  public:
    Client(ICore& core, Api::Client& client) : m_client(client), m_core(core) {}

    XeLUMOResult SendRequest2300(std::int32_t value) override;
    XeLUMOResult SendRequest2301(std::uint32_t a, std::uint32_t b) override;

    // Hands the core a handler for each of the feature's messages: 2302, 2301, 2300.
    void RegisterMessageHandlers();

    Events::IObservable<IObserver>& Observers() { return m_observers; }

  private:
#define LUMO_FORWARD(id) LUMO_FORWARD_TO_OBSERVERS(IObserver, m_observers, id)
    LUMO_WRTL_OBSERVER_MESSAGES(LUMO_FORWARD)
#undef LUMO_FORWARD

    [[maybe_unused]] Api::Client& m_client;
    ICore& m_core;
    Events::Observable<IObserver> m_observers;
};

}  // namespace Quorvel::Lumo::Api::Wrtl
