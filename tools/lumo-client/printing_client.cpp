#include "tools/lumo-client/printing_client.h"

#include <cstdio>

#include "service_api/client/payload_decoders.h"
#include "tools/lumo-client/command_language.h"

namespace LumoClient {
namespace {

using LumoTools::JsonLine;
using Quorvel::Lumo::Api::ServiceRecord;
using Quorvel::Lumo::Api::XeLUMOResult;

void PrintEvent(const char* event) {
    Print(JsonLine().Add("event", event));
}

// A reply when the id is a request's or the message carries the service's verdict.
JsonLine Message(std::uint32_t messageId, bool carriesVerdict) {
    JsonLine line;
    return line.Add(carriesVerdict || IsRequest(messageId) ? "reply" : "event", messageId);
}

void PrintResult(std::uint32_t messageId, XeLUMOResult result, std::size_t bytes, int slot) {
    Print(Message(messageId, true)
              .Add("result", static_cast<std::uint32_t>(result))
              .Add("bytes", bytes)
              .Add("slot", slot));
}

// A record's line: its reply or event, the service's result when it answers a request,
// and its size; the caller adds where it came from.
JsonLine RecordLine(const ServiceRecord& record) {
    JsonLine line = Message(record.header.messageId, false);
    if (IsRequest(record.header.messageId)) {
        line.Add("result", record.header.argument2);
    }
    return line.Add("bytes", record.payload.size());
}

void PrintFixed(std::uint32_t messageId, std::size_t size, int slot) {
    Print(Message(messageId, false).Add("bytes", size).Add("slot", slot));
}

}  // namespace

void Print(const JsonLine& line) {
    std::fputs((line.Text() + "\n").c_str(), stdout);
    std::fflush(stdout);
}

// The sub-clients pass their messages to observers; this one prints them.
class PrintingClient::SubClientPrinter final
    : public Quorvel::Lumo::Api::Display::IObserver,
      public Quorvel::Lumo::Api::Display::ITouchScreenObserver,
      public Quorvel::Lumo::Api::DcScript::IObserver,
      public Quorvel::Lumo::Api::Wrtl::IObserver {
  public:
    explicit SubClientPrinter(Client& client) : m_client(client) {
        m_client.GetDisplayClient().Observers().AddObserver(this);
        m_client.GetDisplayClient().TouchScreenObservers().AddObserver(this);
        m_client.GetDcScriptClient().Observers().AddObserver(this);
        m_client.GetWrtlClient().Observers().AddObserver(this);
    }
    ~SubClientPrinter() override {
        m_client.GetDisplayClient().Observers().RemoveObserver(this);
        m_client.GetDisplayClient().TouchScreenObservers().RemoveObserver(this);
        m_client.GetDcScriptClient().Observers().RemoveObserver(this);
        m_client.GetWrtlClient().Observers().RemoveObserver(this);
    }

#define LUMO_PRINT_SUB(id, name)                                     \
    void OnServerMessage##id(const ServiceRecord& record) override { \
        Sub(record, name);                                           \
    }
#define LUMO_PRINT_DISPLAY(id) LUMO_PRINT_SUB(id, "display")
#define LUMO_PRINT_DC_SCRIPT(id) LUMO_PRINT_SUB(id, "dcScript")
#define LUMO_PRINT_WRTL(id) LUMO_PRINT_SUB(id, "wrtl")
    LUMO_DISPLAY_OBSERVER_MESSAGES(LUMO_PRINT_DISPLAY)
    LUMO_TOUCH_SCREEN_OBSERVER_MESSAGES(LUMO_PRINT_DISPLAY)
    LUMO_DC_SCRIPT_OBSERVER_MESSAGES(LUMO_PRINT_DC_SCRIPT)
    LUMO_WRTL_OBSERVER_MESSAGES(LUMO_PRINT_WRTL)
#undef LUMO_PRINT_DISPLAY
#undef LUMO_PRINT_DC_SCRIPT
#undef LUMO_PRINT_WRTL
#undef LUMO_PRINT_SUB

  private:
    static void Sub(const ServiceRecord& record, const char* client) {
        Print(RecordLine(record).Add("client", client));
    }

    Client& m_client;
};

PrintingClient::PrintingClient() : m_subClients(std::make_unique<SubClientPrinter>(*this)) {}

PrintingClient::~PrintingClient() = default;

void PrintingClient::OnInternalError(std::uint32_t kind, std::uint32_t messageId) {
    Print(JsonLine().Add("internalError", kind).Add("messageId", messageId).Add("slot", 0));
}

void PrintingClient::OnConnectedToServer() {
    m_registered = true;
    PrintEvent("registered");
}

void PrintingClient::OnServerDown() {
    m_registered = false;
    PrintEvent("server-down");
}

void PrintingClient::OnServerAvailable() {
    PrintEvent("server-available");
}

void PrintingClient::OnUnregisteredFromServer() {
    m_registered = false;
    PrintEvent("unregistered");
}

void PrintingClient::OnInstrumentData(const std::uint8_t*) {
    PrintFixed(1000, Quorvel::Lumo::Api::kInstrumentDataRecordSize, 6);
}

void PrintingClient::OnReliableMeasurement(const std::uint8_t*) {
    Print(JsonLine().Add("event", 1002).Add("reliable", true).Add("slot", 13));
}

void PrintingClient::OnUnreliableMeasurement(const std::uint8_t*) {
    Print(JsonLine().Add("event", 1002).Add("reliable", false).Add("slot", 71));
}

void PrintingClient::OnServerMessage2210(bool value) {
    Print(JsonLine().Add("event", 2210).Add("flag", value).Add("slot", 9));
}

void PrintingClient::OnServerMessage2015(XeLUMOResult result, const std::uint8_t*,
                                         const std::uint8_t*, std::uint32_t dataSize) {
    PrintResult(2015, result, dataSize, 27);
}

void PrintingClient::OnServerMessage1004(std::uint32_t argument1, std::uint32_t argument2,
                                         const std::uint8_t*, std::uint32_t payloadSize) {
    Print(JsonLine()
              .Add("event", 1004)
              .Add("answers", argument1)
              .Add("result", argument2)
              .Add("bytes", payloadSize)
              .Add("slot", 73));
}

#define LUMO_DEFINE_RESULT(id, slot)                                \
    void PrintingClient::OnServerMessage##id(XeLUMOResult result) { \
        PrintResult(id, result, 0, slot);                           \
    }
#define LUMO_DEFINE_RECORD(id, slot)                                        \
    void PrintingClient::OnServerMessage##id(const ServiceRecord& record) { \
        Print(RecordLine(record).Add("slot", slot));                        \
    }
#define LUMO_DEFINE_FIXED(id, slot, size)                           \
    void PrintingClient::OnServerMessage##id(const std::uint8_t*) { \
        PrintFixed(id, size, slot);                                 \
    }
LUMO_CLIENT_MESSAGES(LUMO_DEFINE_RESULT, LUMO_DEFINE_RECORD, LUMO_DEFINE_FIXED,
                     LUMO_CLIENT_MESSAGES_SKIP)
#undef LUMO_DEFINE_RESULT
#undef LUMO_DEFINE_RECORD
#undef LUMO_DEFINE_FIXED

}  // namespace LumoClient
