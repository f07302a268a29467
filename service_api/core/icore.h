// What the clients of the service API see of the connection core: message handlers chosen
// by message code, handlers of connection events, and the connection's life.
#pragma once

#include "lumo/api/chunk.h"
#include "lumo/api/result_codes.h"
#include "service_api/core/transport_options.h"

#include <cstdint>
#include <functional>

namespace Quorvel::Lumo::Api {

// Receives a message: its chunk header, and its payload (everything after the header),
// which lives only for the duration of the call.
using LumoMessageHandler =
    std::function<void(const sLUMOChunk& header, char* payload, std::uint64_t payloadSize)>;

enum class LumoCoreEvent : std::int32_t {
    ServerAvailable = 0,
    Registered = 1,
    Unregistered = 2,
    ServerDown = 3,
};

using LumoEventHandler = std::function<void()>;

class ICore {
  public:
    virtual ~ICore() = default;
    // Receives the messages that no message handler claims.
    virtual void SetDefaultHandler(LumoMessageHandler handler) = 0;
    // One handler per code: a second one for the same code replaces the first.
    virtual void AddMessageHandler(std::int32_t messageCode, LumoMessageHandler handler) = 0;
    // How many handlers were removed (0 or 1).
    virtual std::uint64_t RemoveMessageHandler(std::int32_t messageCode) = 0;
    // Removes every message handler; event handlers and the default handler stay.
    virtual void ClearMessageHandlers() = 0;
    virtual void SetEventHandler(LumoCoreEvent event, LumoEventHandler handler) = 0;
    // 2 when not registered, 10 when not started, else the transport's result.
    virtual XeLUMOResult Send(std::uint32_t messageCode, const void* payload,
                              std::uint32_t payloadSize, std::uint32_t argument1,
                              std::uint32_t argument2) = 0;
    // Creates the message window: 25 when it exists already, 7 when memory ran out.
    virtual XeLUMOResult Start(std::uint32_t alternateRegistration,
                               LumoTransportOptions options) = 0;
    // Unregisters when registered and destroys the message window; always 0.
    virtual XeLUMOResult Stop() = 0;
    virtual XeLUMOResult Register() = 0;
    // 0 always; sends the unregistration only when registered.
    virtual XeLUMOResult Unregister() = 0;
    virtual bool IsStarted() const = 0;
    virtual bool IsRegistered() const = 0;
    virtual bool IsServerAvailable() const = 0;
};

}  // namespace Quorvel::Lumo::Api
