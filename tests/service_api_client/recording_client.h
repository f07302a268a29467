// A client that notes every callback it receives, for the tests of the client's
// decoding and routing. Fixed records are also copied, `peek` bytes of them, while the
// pointer is valid.
#pragma once

#include "lumo/api/client.h"
#include "service_api/client/client_messages.h"
#include "tools/common/words.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api::testing {

using LumoTools::Hex;

class RecordingClient final : public Client {
  public:
    std::vector<std::string> log;
    std::vector<std::vector<std::uint8_t>> peeked;
    std::size_t peek = 0;
    std::function<void()> onServerDown;

    void OnInternalError(std::uint32_t kind, std::uint32_t messageId) override {
        Note("internal " + std::to_string(kind) + " " + std::to_string(messageId));
    }
    void OnConnectedToServer() override { Note("connected"); }
    void OnServerDown() override {
        Note("down");
        if (onServerDown) {
            onServerDown();  // may destroy this client: nothing after it
        }
    }
    void OnServerAvailable() override { Note("available"); }
    void OnUnregisteredFromServer() override { Note("unregistered"); }
    void OnInstrumentData(const std::uint8_t* record) override { Fixed("instrument", record); }
    void OnReliableMeasurement(const std::uint8_t* measurement) override {
        Fixed("reliable", measurement);
    }
    void OnUnreliableMeasurement(const std::uint8_t* measurement) override {
        Fixed("unreliable", measurement);
    }
    void OnServerMessage2210(bool value) override { Note("2210 flag " + std::to_string(value)); }
    void OnServerMessage2015(XeLUMOResult result, const std::uint8_t* header,
                             const std::uint8_t* data, std::uint32_t dataSize) override {
        Note("2015 data " + std::to_string(result) + " " + Hex(header, 48) + " " +
             (data ? Hex(data, dataSize) : "null") + " " + std::to_string(dataSize));
    }
    void OnServerMessage1004(std::uint32_t argument1, std::uint32_t argument2,
                             const std::uint8_t* payload, std::uint32_t payloadSize) override {
        Note("1004 raw " + std::to_string(argument1) + " " + std::to_string(argument2) + " " +
             (payload ? Hex(payload, payloadSize) : "null") + " " + std::to_string(payloadSize));
    }

#define LUMO_RESULT_CALLBACK(id, slot)                       \
    void OnServerMessage##id(XeLUMOResult result) override { \
        Note(#id " result " + std::to_string(result));       \
    }
#define LUMO_RECORD_CALLBACK(id, slot)                                        \
    void OnServerMessage##id(const ServiceRecord& record) override {          \
        Note(#id " record " + std::to_string(record.header.messageId) + " " + \
             Hex(record.payload.data(), record.payload.size()));              \
    }
#define LUMO_FIXED_CALLBACK(id, slot, size)                         \
    void OnServerMessage##id(const std::uint8_t* record) override { \
        Fixed(#id " fixed", record);                                \
    }
    LUMO_CLIENT_MESSAGES(LUMO_RESULT_CALLBACK, LUMO_RECORD_CALLBACK, LUMO_FIXED_CALLBACK,
                         LUMO_CLIENT_MESSAGES_SKIP)
#undef LUMO_RESULT_CALLBACK
#undef LUMO_RECORD_CALLBACK
#undef LUMO_FIXED_CALLBACK

  private:
    void Note(std::string entry) {
        log.push_back(std::move(entry));
    }
    void Fixed(const std::string& name, const std::uint8_t* record) {
        Note(name);
        peeked.emplace_back(record, record + peek);
    }
};

}  // namespace Quorvel::Lumo::Api::testing
