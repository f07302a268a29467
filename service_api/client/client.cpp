#include "lumo/api/client.h"

#include "service_api/client/client_messages.h"
#include "service_api/client/parameter_table.h"
#include "service_api/client/payload_decoders.h"
#include "service_api/client/record_forwarding.h"
#include "service_api/core/core.h"

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

// The handlers of the messages decoded their own way.
LumoMessageHandler OwnKindHandler(Client* client, std::int32_t messageId) {
    switch (messageId) {
        case MessageCode::kInstrumentData:
            return Fixed(client, kInstrumentDataRecordSize, &Client::OnInstrumentData);
        case 2210:
            return Flag(client, &Client::OnServerMessage2210);
        case MessageCode::kMeasurement:
            return Measurement(client);
        case MessageCode::kReply:
            return RawReply(client);
        default:
            return DataReplyHandler(client);
    }
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
    m_core->SetEventHandler(LumoCoreEvent::ServerAvailable, [this] { OnServerAvailable(); });
    m_core->SetEventHandler(LumoCoreEvent::Registered, [this] { OnConnectedToServer(); });
    m_core->SetEventHandler(LumoCoreEvent::ServerDown, [this] { OnServerDown(); });
    m_core->SetEventHandler(LumoCoreEvent::Unregistered, [this] { OnUnregisteredFromServer(); });
}

Client::~Client() {
    // The deriving application is gone by now: what the service still says while the
    // session closes (the unregistration's send lets replies in) must not reach it.
    Detach();
    m_core->StopKeepingExceptions();
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
    // clang-format off
#define LUMO_RESULT(id, slot) core.AddMessageHandler(id, Result(this, &Client::OnServerMessage##id));
#define LUMO_RECORD(id, slot) core.AddMessageHandler(id, Record(this, &Client::OnServerMessage##id));
#define LUMO_FIXED(id, slot, size) \
    core.AddMessageHandler(id, Fixed(this, size, &Client::OnServerMessage##id));
#define LUMO_OWN(id, slot) core.AddMessageHandler(id, OwnKindHandler(this, id));
    LUMO_CLIENT_MESSAGES(LUMO_RESULT, LUMO_RECORD, LUMO_FIXED, LUMO_OWN)
#undef LUMO_RESULT
#undef LUMO_RECORD
#undef LUMO_FIXED
#undef LUMO_OWN
    // clang-format on
}

}  // namespace Quorvel::Lumo::Api
