// A Client that prints every callback the library makes as one JSON line:
//   {"event":"registered"}, "server-available", "unregistered", "server-down"
//   {"reply":ID,"result":R,"bytes":N,"slot":S}   the answer to a request, or a verdict
//   {"event":ID,"bytes":N,"slot":S}              a message the service sent unasked
// N is the size of the record or data the callback was given (for 2015 the data behind
// its 48-byte header); S is the Client's callback slot. The sub-clients' messages name
// their sub-client ("client":"display", "dcScript" or "wrtl") instead of a slot.
#pragma once

#include <cstdint>
#include <memory>

#include "lumo/api/client.h"
#include "service_api/client/client_messages.h"
#include "tools/common/json_line.h"

namespace LumoClient {

class PrintingClient final : public Quorvel::Lumo::Api::Client {
  public:
    PrintingClient();
    ~PrintingClient() override;

    bool IsRegistered() const { return m_registered; }

    void OnInternalError(std::uint32_t kind, std::uint32_t messageId) override;
    void OnConnectedToServer() override;
    void OnServerDown() override;
    void OnServerAvailable() override;
    void OnUnregisteredFromServer() override;
    void OnInstrumentData(const std::uint8_t* record) override;
    void OnReliableMeasurement(const std::uint8_t* measurement) override;
    void OnUnreliableMeasurement(const std::uint8_t* measurement) override;
    void OnServerMessage2210(bool value) override;
    void OnServerMessage2015(Quorvel::Lumo::Api::XeLUMOResult result, const std::uint8_t* header,
                             const std::uint8_t* data, std::uint32_t dataSize) override;
    void OnServerMessage1004(std::uint32_t argument1, std::uint32_t argument2,
                             const std::uint8_t* payload, std::uint32_t payloadSize) override;

#define LUMO_DECLARE_RESULT(id, slot) \
    void OnServerMessage##id(Quorvel::Lumo::Api::XeLUMOResult result) override;
#define LUMO_DECLARE_RECORD(id, slot) \
    void OnServerMessage##id(const Quorvel::Lumo::Api::ServiceRecord& record) override;
#define LUMO_DECLARE_FIXED(id, slot, size) \
    void OnServerMessage##id(const std::uint8_t* record) override;
    LUMO_CLIENT_MESSAGES(LUMO_DECLARE_RESULT, LUMO_DECLARE_RECORD, LUMO_DECLARE_FIXED,
                         LUMO_CLIENT_MESSAGES_SKIP)
#undef LUMO_DECLARE_RESULT
#undef LUMO_DECLARE_RECORD
#undef LUMO_DECLARE_FIXED

  private:
    class SubClientPrinter;

    bool m_registered = false;
    std::unique_ptr<SubClientPrinter> m_subClients;
};

// Prints one line on stdout at once, so that a reader can follow it live.
void Print(const LumoTools::JsonLine& line);

}  // namespace LumoClient
