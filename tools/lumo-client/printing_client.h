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

#include "service_api/client/client.h"
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

// The callbacks of each decoder kind, with their slots (and record sizes).
// clang-format off
#define LUMO_CLIENT_RESULTS(X) \
    X(2013, 18) X(2082, 22) X(2083, 23) X(2200, 24) X(2201, 25) X(2030, 28) X(2031, 29) \
    X(2207, 30) X(2019, 32) X(2017, 33) X(2100, 34) X(2003, 35) X(2005, 36) X(2011, 37) \
    X(2014, 40) X(2002, 43) X(2008, 44) X(2012, 45) X(2217, 46) X(2203, 47) X(2211, 48) \
    X(2204, 49) X(2205, 50) X(2212, 52) X(2214, 53) X(2007, 54) X(2016, 55) X(2020, 56) \
    X(2021, 57) X(2023, 58) X(2024, 59) X(2022, 60) X(2209, 61) X(1022, 62)
#define LUMO_CLIENT_RECORDS(X) \
    X(1010, 2) X(2208, 5) X(1100, 7) X(2232, 11) X(2231, 14) X(2216, 15) X(2221, 16) \
    X(2222, 17) X(2224, 19) X(2223, 20) X(2081, 21) X(2220, 26) X(2004, 31) X(2080, 38) \
    X(2010, 39) X(2009, 42) X(1021, 63) X(1008, 64) X(2225, 69) X(1020, 72)
#define LUMO_CLIENT_FIXED(X) \
    X(1009, 4, 400) X(2215, 8, 700) X(1001, 10, 564) X(1006, 12, 528) X(2233, 41, 700) \
    X(2206, 51, 564) X(2202, 65, 564) X(2218, 70, 528)
    // clang-format on

#define LUMO_DECLARE_RESULT(id, slot) \
    void OnServerMessage##id(Quorvel::Lumo::Api::XeLUMOResult result) override;
#define LUMO_DECLARE_RECORD(id, slot) \
    void OnServerMessage##id(const Quorvel::Lumo::Api::ServiceRecord& record) override;
#define LUMO_DECLARE_FIXED(id, slot, size) \
    void OnServerMessage##id(const std::uint8_t* record) override;
    LUMO_CLIENT_RESULTS(LUMO_DECLARE_RESULT)
    LUMO_CLIENT_RECORDS(LUMO_DECLARE_RECORD)
    LUMO_CLIENT_FIXED(LUMO_DECLARE_FIXED)
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
