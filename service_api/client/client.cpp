#include "service_api/client/client.h"

#include <utility>

namespace Quorvel::Lumo::Api {
namespace {

const std::uint8_t* Bytes(const char* payload) {
    return reinterpret_cast<const std::uint8_t*>(payload);
}

LumoMessageHandler Result(Client* client, void (Client::*callback)(XeLUMOResult)) {
    return [client, callback](const sLUMOChunk& header, char*, std::uint64_t) {
        (client->*callback)(ResultOf(header));
    };
}

LumoMessageHandler Flag(Client* client, void (Client::*callback)(bool)) {
    return [client, callback](const sLUMOChunk& header, char*, std::uint64_t) {
        (client->*callback)(FlagOf(header));
    };
}

LumoMessageHandler Fixed(Client* client, std::size_t recordSize,
                         void (Client::*callback)(const std::uint8_t*)) {
    return [client, recordSize, callback](const sLUMOChunk& header, char* payload,
                                          std::uint64_t payloadSize) {
        const FixedRecord record(recordSize, Bytes(payload), payloadSize);
        if (record.Data() == nullptr) {
            client->OnInternalError(IInternalErrorHandler::kPayloadNotRecordSized,
                                    header.messageId);
            return;
        }
        (client->*callback)(record.Data());
    };
}

LumoMessageHandler Record(Client* client, void (Client::*callback)(const ServiceRecord&)) {
    return ForwardRecord(
        [client, callback](const ServiceRecord& record) { (client->*callback)(record); });
}

LumoMessageHandler Measurement(Client* client) {
    return [client](const sLUMOChunk& header, char* payload, std::uint64_t payloadSize) {
        switch (ClassifyMeasurement(Bytes(payload), payloadSize)) {
            case MeasurementKind::Reliable:
                client->OnReliableMeasurement(Bytes(payload));
                break;
            case MeasurementKind::Unreliable:
                client->OnUnreliableMeasurement(Bytes(payload));
                break;
            case MeasurementKind::NoStatusWord:
                client->OnInternalError(IInternalErrorHandler::kPayloadNotRecordSized,
                                        header.messageId);
                break;
        }
    };
}

LumoMessageHandler RawReply(Client* client) {
    return [client](const sLUMOChunk& header, char* payload, std::uint64_t payloadSize) {
        client->OnServerMessage1004(header.argument1, header.argument2,
                                    payloadSize != 0 ? Bytes(payload) : nullptr,
                                    static_cast<std::uint32_t>(payloadSize));
    };
}

LumoMessageHandler DataReplyHandler(Client* client) {
    return [client](const sLUMOChunk& header, char* payload, std::uint64_t payloadSize) {
        const DataReply reply = DecodeDataReply(header, Bytes(payload), payloadSize);
        client->OnServerMessage2015(reply.result, reply.header.data(), reply.data, reply.dataSize);
    };
}

LumoTransportOptions TransportOptions(bool startFlag, std::uint32_t startValue,
                                      const std::uint64_t* optionalValue) {
    LumoTransportOptions options{startFlag ? std::uint8_t{1} : std::uint8_t{0}, startValue, {}};
    const std::uint64_t key = optionalValue != nullptr ? *optionalValue : 0;
    for (std::size_t i = 0; i < options.clientKey.size(); ++i) {
        options.clientKey[i] = static_cast<std::uint8_t>(key >> (8 * i));
    }
    return options;
}

}  // namespace

Client::Client()
    : m_core(std::make_unique<Core>()),
      m_display(std::make_unique<Display::DisplayClient>(*m_core, *this)),
      m_dcScript(std::make_unique<DcScript::Client>(*m_core, *this)),
      m_wrtl(std::make_unique<Wrtl::Client>(*m_core, *this)),
      m_parameterNames(std::make_unique<ParameterNames>()) {
    FillParameterNames(*m_parameterNames);
    m_core->SetInternalErrorHandler(this);
    m_core->SetEventHandler(LumoCoreEvent::ServerAvailable, [this] { OnServerAvailable(); });
    m_core->SetEventHandler(LumoCoreEvent::Registered, [this] { OnConnectedToServer(); });
    m_core->SetEventHandler(LumoCoreEvent::ServerDown, [this] { OnServerDown(); });
    m_core->SetEventHandler(LumoCoreEvent::Unregistered, [this] { OnUnregisteredFromServer(); });
}

Client::~Client() {
    // The deriving application is gone by now: what the service still says while the
    // session closes (the unregistration's send lets replies in) must not reach it.
    Detach();
    m_core->Stop();
}

void Client::Detach() {
    m_core->ClearMessageHandlers();
    for (LumoCoreEvent event : {LumoCoreEvent::ServerAvailable, LumoCoreEvent::Registered,
                                LumoCoreEvent::ServerDown, LumoCoreEvent::Unregistered}) {
        m_core->SetEventHandler(event, [] {});
    }
}

XeLUMOResult Client::Start(std::uint32_t startArg, const std::uint64_t* optionalValue,
                           std::uint32_t startValue, bool startFlag) {
    m_core->ClearMessageHandlers();
    m_display->RegisterMessageHandlers();
    m_dcScript->RegisterMessageHandlers();
    m_wrtl->RegisterMessageHandlers();
    RegisterMessageHandlers();
    return m_core->Start(startArg, TransportOptions(startFlag, startValue, optionalValue));
}

bool Client::IsStarted() const {
    return m_core->IsStarted();
}

void Client::ConnectToServerWindow(std::uintptr_t serverWindow) {
    m_core->ServerAvailable(serverWindow);
}

XeLUMOResult Client::Register() {
    return m_core->Register();
}

XeLUMOResult Client::Unregister() {
    return m_core->Unregister();
}

ParameterDescriptor Client::GetParameter(std::int32_t id) const {
    return LookUpParameter(*m_parameterNames, id);
}

void Client::RegisterMessageHandlers() {
    ICore& core = *m_core;
    core.AddMessageHandler(1001, Fixed(this, kRecord564Size, &Client::OnServerMessage1001));
    core.AddMessageHandler(2232, Record(this, &Client::OnServerMessage2232));
    core.AddMessageHandler(1006, Fixed(this, kRecord528Size, &Client::OnServerMessage1006));
    core.AddMessageHandler(1000, Fixed(this, kInstrumentDataRecordSize, &Client::OnInstrumentData));
    core.AddMessageHandler(1008, Record(this, &Client::OnServerMessage1008));
    core.AddMessageHandler(1010, Record(this, &Client::OnServerMessage1010));
    core.AddMessageHandler(1009, Fixed(this, kRecord400Size, &Client::OnServerMessage1009));
    core.AddMessageHandler(1020, Record(this, &Client::OnServerMessage1020));
    core.AddMessageHandler(2202, Fixed(this, kRecord564Size, &Client::OnServerMessage2202));
    core.AddMessageHandler(2208, Record(this, &Client::OnServerMessage2208));
    core.AddMessageHandler(2215,
                           Fixed(this, kInstrumentDataRecordSize, &Client::OnServerMessage2215));
    core.AddMessageHandler(2218, Fixed(this, kRecord528Size, &Client::OnServerMessage2218));
    core.AddMessageHandler(2210, Flag(this, &Client::OnServerMessage2210));
    core.AddMessageHandler(2225, Record(this, &Client::OnServerMessage2225));
    core.AddMessageHandler(1100, Record(this, &Client::OnServerMessage1100));
    core.AddMessageHandler(2231, Record(this, &Client::OnServerMessage2231));
    core.AddMessageHandler(1002, Measurement(this));
    core.AddMessageHandler(1004, RawReply(this));
    core.AddMessageHandler(2233,
                           Fixed(this, kInstrumentDataRecordSize, &Client::OnServerMessage2233));
    core.AddMessageHandler(2216, Record(this, &Client::OnServerMessage2216));
    core.AddMessageHandler(2221, Record(this, &Client::OnServerMessage2221));
    core.AddMessageHandler(2224, Record(this, &Client::OnServerMessage2224));
    core.AddMessageHandler(2222, Record(this, &Client::OnServerMessage2222));
    core.AddMessageHandler(2081, Record(this, &Client::OnServerMessage2081));
    core.AddMessageHandler(2082, Result(this, &Client::OnServerMessage2082));
    core.AddMessageHandler(2083, Result(this, &Client::OnServerMessage2083));
    core.AddMessageHandler(2223, Record(this, &Client::OnServerMessage2223));
    core.AddMessageHandler(2200, Result(this, &Client::OnServerMessage2200));
    core.AddMessageHandler(2201, Result(this, &Client::OnServerMessage2201));
    core.AddMessageHandler(2220, Record(this, &Client::OnServerMessage2220));
    core.AddMessageHandler(2207, Result(this, &Client::OnServerMessage2207));
    core.AddMessageHandler(2217, Result(this, &Client::OnServerMessage2217));
    core.AddMessageHandler(2203, Result(this, &Client::OnServerMessage2203));
    core.AddMessageHandler(2211, Result(this, &Client::OnServerMessage2211));
    core.AddMessageHandler(2204, Result(this, &Client::OnServerMessage2204));
    core.AddMessageHandler(2205, Result(this, &Client::OnServerMessage2205));
    core.AddMessageHandler(2206, Fixed(this, kRecord564Size, &Client::OnServerMessage2206));
    core.AddMessageHandler(2212, Result(this, &Client::OnServerMessage2212));
    core.AddMessageHandler(2214, Result(this, &Client::OnServerMessage2214));
    core.AddMessageHandler(2209, Result(this, &Client::OnServerMessage2209));
    core.AddMessageHandler(2013, Result(this, &Client::OnServerMessage2013));
    core.AddMessageHandler(2011, Result(this, &Client::OnServerMessage2011));
    core.AddMessageHandler(2005, Result(this, &Client::OnServerMessage2005));
    core.AddMessageHandler(2003, Result(this, &Client::OnServerMessage2003));
    core.AddMessageHandler(2100, Result(this, &Client::OnServerMessage2100));
    core.AddMessageHandler(2017, Result(this, &Client::OnServerMessage2017));
    core.AddMessageHandler(2019, Result(this, &Client::OnServerMessage2019));
    core.AddMessageHandler(2004, Record(this, &Client::OnServerMessage2004));
    core.AddMessageHandler(2030, Result(this, &Client::OnServerMessage2030));
    core.AddMessageHandler(2031, Result(this, &Client::OnServerMessage2031));
    core.AddMessageHandler(2080, Record(this, &Client::OnServerMessage2080));
    core.AddMessageHandler(2010, Record(this, &Client::OnServerMessage2010));
    core.AddMessageHandler(2014, Result(this, &Client::OnServerMessage2014));
    core.AddMessageHandler(2009, Record(this, &Client::OnServerMessage2009));
    core.AddMessageHandler(2002, Result(this, &Client::OnServerMessage2002));
    core.AddMessageHandler(2008, Result(this, &Client::OnServerMessage2008));
    core.AddMessageHandler(2012, Result(this, &Client::OnServerMessage2012));
    core.AddMessageHandler(2007, Result(this, &Client::OnServerMessage2007));
    core.AddMessageHandler(2016, Result(this, &Client::OnServerMessage2016));
    core.AddMessageHandler(2020, Result(this, &Client::OnServerMessage2020));
    core.AddMessageHandler(2021, Result(this, &Client::OnServerMessage2021));
    core.AddMessageHandler(2023, Result(this, &Client::OnServerMessage2023));
    core.AddMessageHandler(2024, Result(this, &Client::OnServerMessage2024));
    core.AddMessageHandler(2022, Result(this, &Client::OnServerMessage2022));
    core.AddMessageHandler(2015, DataReplyHandler(this));
    core.AddMessageHandler(1021, Record(this, &Client::OnServerMessage1021));
    core.AddMessageHandler(1022, Result(this, &Client::OnServerMessage1022));
}

}  // namespace Quorvel::Lumo::Api
