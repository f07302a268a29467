// The sub-client of the service's script commands. It passes the script messages to the
// application's observers; the records they carry belong to the service.
#pragma once

#include "service_api/client/observable.h"
#include "service_api/client/service_record.h"
#include "service_api/core/icore.h"

namespace Quorvel::Lumo::Api::DcScript {

class IObserver {
  public:
    virtual ~IObserver() = default;
    virtual void OnServerMessage2226(const ServiceRecord& record) = 0;  // unasked event
    virtual void OnServerMessage2227(const ServiceRecord& record) = 0;  // reply to 2227
    virtual void OnServerMessage2228(const ServiceRecord& record) = 0;  // reply to 2228
    virtual void OnServerMessage2230(const ServiceRecord& record) = 0;  // reply to 2230
    virtual void OnServerMessage2229(const ServiceRecord& record) = 0;  // reply to 2229
};

class Client final : private IObserver {
  public:
    explicit Client(ICore& core) : m_core(core) {}

    // Hands the core a handler for each script message: 2226, 2227, 2228, 2230, 2229.
    void RegisterMessageHandlers();

    Events::IObservable<IObserver>& Observers() { return m_observers; }

  private:
    void OnServerMessage2226(const ServiceRecord& record) override;
    void OnServerMessage2227(const ServiceRecord& record) override;
    void OnServerMessage2228(const ServiceRecord& record) override;
    void OnServerMessage2230(const ServiceRecord& record) override;
    void OnServerMessage2229(const ServiceRecord& record) override;

    ICore& m_core;
    Events::Observable<IObserver> m_observers;
};

}  // namespace Quorvel::Lumo::Api::DcScript
