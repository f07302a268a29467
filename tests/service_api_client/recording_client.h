// A client that notes every callback it receives, for the tests of the client's
// decoding and routing. Fixed records are also copied, `peek` bytes of them, while the
// pointer is valid.
#pragma once

#include "service_api/client/client.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api::testing {

// The messages of each decoder kind, one list per kind.
// clang-format off
#define LUMO_RESULT_MESSAGES(X) \
    X(2013) X(2082) X(2083) X(2200) X(2201) X(2030) X(2031) X(2207) X(2019) X(2017) X(2100) \
    X(2003) X(2005) X(2011) X(2014) X(2002) X(2008) X(2012) X(2217) X(2203) X(2211) X(2204) \
    X(2205) X(2212) X(2214) X(2007) X(2016) X(2020) X(2021) X(2023) X(2024) X(2022) X(2209) \
    X(1022)
#define LUMO_RECORD_MESSAGES(X) \
    X(1010) X(2208) X(1100) X(2232) X(2231) X(2216) X(2221) X(2222) X(2224) X(2223) X(2081) \
    X(2220) X(2004) X(2080) X(2010) X(2009) X(1021) X(1008) X(2225) X(1020)
#define LUMO_FIXED_MESSAGES(X) X(1009) X(2215) X(1001) X(1006) X(2233) X(2206) X(2202) X(2218)
// clang-format on

inline std::string Hex(const std::uint8_t* bytes, std::size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0xF];
    }
    return text;
}

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

#define LUMO_RESULT_CALLBACK(id)                             \
    void OnServerMessage##id(XeLUMOResult result) override { \
        Note(#id " result " + std::to_string(result));       \
    }
#define LUMO_RECORD_CALLBACK(id)                                              \
    void OnServerMessage##id(const ServiceRecord& record) override {          \
        Note(#id " record " + std::to_string(record.header.messageId) + " " + \
             Hex(record.payload.data(), record.payload.size()));              \
    }
#define LUMO_FIXED_CALLBACK(id)                                     \
    void OnServerMessage##id(const std::uint8_t* record) override { \
        Fixed(#id " fixed", record);                                \
    }
    LUMO_RESULT_MESSAGES(LUMO_RESULT_CALLBACK)
    LUMO_RECORD_MESSAGES(LUMO_RECORD_CALLBACK)
    LUMO_FIXED_MESSAGES(LUMO_FIXED_CALLBACK)
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
