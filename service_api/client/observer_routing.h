// How a sub-client passes service messages to its own observer face, whose operations
// forward them to the application's observers.
#pragma once

#include "lumo/api/service_record.h"
#include "service_api/client/record_forwarding.h"
#include "service_api/core/icore.h"

#include <cstdint>
#include <initializer_list>
#include <utility>

namespace Quorvel::Lumo::Api {

// The definition of a sub-client's own observer operation for message `id`, declared in
// its class: it passes the record on to every application observer in `observers`, which
// the class holds by its public face and made an Events::Observable<Face>.
#define LUMO_FORWARD_TO_OBSERVERS(Class, Face, observers, id)      \
    void Class::OnServerMessage##id(const ServiceRecord& record) { \
        static_cast<Events::Observable<Face>&>(*observers)         \
            .Notify(&Face::OnServerMessage##id, record);           \
    }

template <class Observer>
using RecordOperation = void (Observer::*)(const ServiceRecord&);

// Registers one handler per (message code, operation), in the order given; each calls the
// operation on `target` with the message as a ServiceRecord.
template <class Observer>
void RouteRecords(
    ICore& core, Observer& target,
    std::initializer_list<std::pair<std::int32_t, RecordOperation<Observer>>> routes) {
    for (const auto& [messageCode, operation] : routes) {
        core.AddMessageHandler(
            messageCode,
            ForwardRecord([&target, operation = operation](const ServiceRecord& record) {
                (target.*operation)(record);
            }));
    }
}

}  // namespace Quorvel::Lumo::Api
