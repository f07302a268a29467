// The application's side of the measuring-arm service: derive from Client, start it once,
// and receive every message of the service as a call of one of the virtual callbacks below.
// The callbacks run on the thread that dispatches the process's window messages, the same
// thread that must call Start.
//
// Callbacks are named after the message that brings them where the message has no name of
// its own. Their arguments:
//   XeLUMOResult       the service's verdict on a request the application sent;
//   bool               a yes/no event;
//   const uint8_t*     a fixed-size record (size noted), zero-extended when the service
//                      sent less, the received bytes themselves otherwise;
//   ServiceRecord      a record whose layout belongs to the service, with its header.
// Records and pointers live only during the call.
//
// Commands (SendRequest<id>) send one request and return at once with the result of
// handing it to the service: 2 before registration, 4 when the service's window is
// unknown, 5 for a request larger than a message can carry (4 GiB less its header), 3
// when the service did not take it, else 0. The service's verdict arrives later
// in the callback of the same id.
#pragma once

#include "lumo/api/client_requests.h"
#include "lumo/api/dc_script_client.h"
#include "lumo/api/display_client.h"
#include "lumo/api/internal_error_handler.h"
#include "lumo/api/parameter_names.h"
#include "lumo/api/result_codes.h"
#include "lumo/api/service_record.h"
#include "lumo/api/wrtl_client.h"
#include "service_api/client/payload_decoders.h"
#include "service_api/core/core.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace Quorvel::Lumo::Api {

class Client : public IInternalErrorHandler {
  public:
    // The connection core and the three sub-clients, which share it.
    Client();
    // Ends the session: unregisters when registered and closes the message window before
    // anything is released; no callback arrives from then on. What another window of the
    // thread throws meanwhile is kept for the thread's next wait for messages.
    virtual ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // Opens the message window and waits for the service. `startFlag` registers as soon as
    // the service appears, `startValue` is the client type, the eight bytes of
    // `*optionalValue` (little-endian; zero when null) are the client key, and a non-zero
    // `startArg` selects the alternate registration. 25 when started already (the running
    // session stays as it is), 7 when memory ran out, else 0.
    XeLUMOResult Start(std::uint32_t startArg, const std::uint64_t* optionalValue,
                       std::uint32_t startValue, bool startFlag);
    bool IsStarted() const;
    // For a caller that found the service's window itself instead of waiting for its
    // broadcast: as if the service had announced it (registers with the start flag on).
    // Nothing happens before Start.
    void ConnectToServerWindow(std::uintptr_t serverWindow);
    // Registers with the service that is known (10 before one is): for a session that
    // unregistered, or that does not register by itself. 0 when registered already.
    XeLUMOResult Register();
    // Unregisters (sends 2001) when registered; OnUnregisteredFromServer follows. The
    // session stays open and does not register by itself again until Register.
    XeLUMOResult Unregister();

    // The parameter of `id`; std::out_of_range ("invalid map<K, T> key") when there is none.
    ParameterDescriptor GetParameter(std::int32_t id) const;
    const ParameterNames& GetParameterNames() const { return *m_parameterNames; }

    // 84-byte record: 0, 0, a, b, c, d, 0, then zeros.
    XeLUMOResult SendRequest2002(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                 std::uint32_t d);
    // 84-byte record, the second form: a, 1, 0, 0, 0, b, then zeros.
    XeLUMOResult SendRequest2002(std::uint32_t a, std::uint32_t b);
    // 280-byte record: a to e, then zeros.
    XeLUMOResult SendRequest2004(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                                 std::uint32_t e);
    XeLUMOResult SendRequest2005(std::int32_t value);  // value in the chunk
    // 520-byte record: the value, then the text cut to 256 UTF-16 units and terminated.
    XeLUMOResult SendRequest2007(std::uint32_t value, const std::wstring& text);
    XeLUMOResult SendRequest2008();
    XeLUMOResult SendRequest2009(std::int32_t value);  // value in the chunk
    XeLUMOResult SendRequest2010();
    XeLUMOResult SendRequest2011(std::uint64_t value);  // 72-byte record
    XeLUMOResult SendRequest2012();
    XeLUMOResult SendRequest2013();
    XeLUMOResult SendRequest2014();
    // 48 + size bytes: a, b, c, 36 zero bytes, then the data; 5 without data of that size.
    XeLUMOResult SendRequest2016(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                 const std::uint8_t* data, std::uint32_t size);
    XeLUMOResult SendRequest2019(std::int32_t value);  // value in the chunk
    XeLUMOResult SendRequest2020();
    XeLUMOResult SendRequest2021();
    XeLUMOResult SendRequest2022(std::uint32_t value);  // 260-byte record
    XeLUMOResult SendRequest2023();
    XeLUMOResult SendRequest2024();
    XeLUMOResult SendRequest2030();
    XeLUMOResult SendRequest2031();
    XeLUMOResult SendRequest2080();
    XeLUMOResult SendRequest2081();
    XeLUMOResult SendRequest2082();
    XeLUMOResult SendRequest2083();
    XeLUMOResult SendRequest2100(const std::uint8_t (&bytes)[2]);
    XeLUMOResult SendRequest2200();
    XeLUMOResult SendRequest2201();
    XeLUMOResult SendRequest2203(const sLUMORequest2203& request);
    XeLUMOResult SendRequest2204(const sLUMORequest2204& request);
    XeLUMOResult SendRequest2205(const sLUMORequest2205& request);
    XeLUMOResult SendRequest2206();
    XeLUMOResult SendRequest2207(const sLUMORequest2207& request);
    XeLUMOResult SendRequest2211();
    XeLUMOResult SendRequest2212(const sLUMORequest2212& request);
    // Encoded as (false, value, number).
    XeLUMOResult SendRequest2214(std::uint32_t value, double number);
    XeLUMOResult SendRequest2216();
    XeLUMOResult SendRequest2217();
    XeLUMOResult SendRequest2220();            // 0 in the chunk
    XeLUMOResult SendRequest2220SecondForm();  // 1 in the chunk
    XeLUMOResult SendRequest2221();
    XeLUMOResult SendRequest2222();
    XeLUMOResult SendRequest2223();
    XeLUMOResult SendRequest2224();
    XeLUMOResult SendRequest2233();
    XeLUMOResult SendRequest1021();
    // The access request: proves knowledge of `text` by its digest with the current time.
    XeLUMOResult SendRequest1022(std::string_view text);

    // How the library names itself: L"6.3.0.0" (the version its registration carries) of
    // L"2022-01-12".
    static const wchar_t* ApiVersionText() { return L"6.3.0.0"; }
    static const wchar_t* ApiReleaseDate() { return L"2022-01-12"; }

    Display::DisplayClient& GetDisplayClient() { return *m_display; }
    DcScript::Client& GetDcScriptClient() { return *m_dcScript; }
    Wrtl::Client& GetWrtlClient() { return *m_wrtl; }

    void OnInternalError(std::uint32_t /*kind*/, std::uint32_t /*messageId*/) override {}

    virtual void OnServerMessage1010(const ServiceRecord& /*record*/) {}
    // Registered with the service: requests can be sent from now on.
    virtual void OnConnectedToServer() = 0;
    virtual void OnServerMessage1009(const std::uint8_t* /*record*/) {}  // 400 bytes
    virtual void OnServerMessage2208(const ServiceRecord& /*record*/) {}
    // The attached instrument (message 1000): a 700-byte record.
    virtual void OnInstrumentData(const std::uint8_t* record) = 0;
    virtual void OnServerMessage1100(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2215(const std::uint8_t* /*record*/) {}  // 700 bytes
    virtual void OnServerMessage2210(bool /*value*/) {}
    virtual void OnServerMessage1001(const std::uint8_t* /*record*/) {}  // 564 bytes
    virtual void OnServerMessage2232(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage1006(const std::uint8_t* /*record*/) {}  // 528 bytes
    // A measurement (message 1002) whose status word has kReliableMeasurementBit set.
    virtual void OnReliableMeasurement(const std::uint8_t* measurement) = 0;
    virtual void OnServerMessage2231(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2216(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2221(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2222(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2013(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2224(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2223(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2081(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2082(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2083(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2200(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2201(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2220(const ServiceRecord& /*record*/) {}
    // Data reply: a 48-byte header and the data behind it (null when there is none).
    virtual void OnServerMessage2015(XeLUMOResult /*result*/, const std::uint8_t* /*header*/,
                                     const std::uint8_t* /*data*/, std::uint32_t /*dataSize*/) {}
    virtual void OnServerMessage2030(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2031(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2207(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2004(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2019(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2017(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2100(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2003(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2005(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2011(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2080(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2010(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2014(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2233(const std::uint8_t* /*record*/) {}  // 700 bytes
    virtual void OnServerMessage2009(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2002(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2008(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2012(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2217(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2203(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2211(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2204(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2205(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2206(const std::uint8_t* /*record*/) {}  // 564 bytes
    virtual void OnServerMessage2212(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2214(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2007(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2016(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2020(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2021(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2023(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2024(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2022(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage2209(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage1022(XeLUMOResult /*result*/) {}
    virtual void OnServerMessage1021(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage1008(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2202(const std::uint8_t* /*record*/) {}  // 564 bytes
    // The service went away (its window vanished, or it said it is shutting down).
    virtual void OnServerDown() = 0;
    // Unregistered (by Unregister, or when the session ends).
    virtual void OnUnregisteredFromServer() {}
    // The service announced itself; registration follows when the session auto-registers.
    virtual void OnServerAvailable() {}
    virtual void OnServerMessage2225(const ServiceRecord& /*record*/) {}
    virtual void OnServerMessage2218(const std::uint8_t* /*record*/) {}  // 528 bytes
    // A measurement (message 1002) without kReliableMeasurementBit.
    virtual void OnUnreliableMeasurement(const std::uint8_t* measurement) = 0;
    virtual void OnServerMessage1020(const ServiceRecord& /*record*/) {}
    // A reply that no one else claims, as it came: its two arguments and its payload
    // (null when empty).
    virtual void OnServerMessage1004(std::uint32_t /*argument1*/, std::uint32_t /*argument2*/,
                                     const std::uint8_t* /*payload*/,
                                     std::uint32_t /*payloadSize*/) {}

  private:
    void RegisterMessageHandlers();
    void Detach();

    std::unique_ptr<Core> m_core;
    std::unique_ptr<Display::DisplayClient> m_display;
    std::unique_ptr<DcScript::Client> m_dcScript;
    std::unique_ptr<Wrtl::Client> m_wrtl;
    std::unique_ptr<ParameterNames> m_parameterNames;
};

}  // namespace Quorvel::Lumo::Api
