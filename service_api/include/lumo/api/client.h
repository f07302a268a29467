/// @file
/// The client session of the measuring-arm service: the class an application derives from.
#pragma once

#include "lumo/api/client_requests.h"
#include "lumo/api/dc_script_client.h"
#include "lumo/api/display_client.h"
#include "lumo/api/internal_error_handler.h"
#include "lumo/api/parameter_names.h"
#include "lumo/api/result_codes.h"
#include "lumo/api/service_record.h"
#include "lumo/api/wrtl_client.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

/// The client library of the measuring-arm service.
namespace Quorvel::Lumo::Api {

class Core;

/// The application's session with the measuring-arm service.
///
/// Derive from it, supply the five pure callbacks, call Start once and pump the thread's
/// window messages (PumpMessages): every message of the service then arrives as a call of
/// one of the virtual callbacks below, on that thread. Destroying the object ends the
/// session.
///
/// Callbacks are named after the message that brings them where the message has no name
/// of its own, `OnServerMessage<id>`, and receive:
/// - an XeLUMOResult: the service's verdict on the request of the same id, taken from the
///   reply's argument2 (0: done);
/// - a `bool`: a yes/no event;
/// - a `const std::uint8_t*`: a fixed-size record (its size is given), zero-extended when
///   the service sent less, the received bytes themselves otherwise;
/// - a ServiceRecord: a record whose layout belongs to the service, with its header.
///
/// Records and pointers live only during the call. Every callback but the five pure ones
/// does nothing unless overridden.
///
/// Commands (`SendRequest<id>`) send one request and return at once with the result of
/// handing it to the service; the service's verdict arrives later, in the callback of the
/// same id.
class Client : public IInternalErrorHandler {
  public:
    /// Makes the session: its connection core, the three sub-clients that share it and the
    /// parameter table. Opens no window and sends nothing: Start does.
    /// @par Thread
    /// The thread that is to call Start and pump the session's messages.
    Client();
    /// Ends the session: unregisters (2001) when registered and closes the message window
    /// before anything is released; no callback arrives from then on. Throws nothing: what
    /// another window of the thread throws meanwhile is kept for the thread's next
    /// PumpMessages.
    /// @lumo_call
    virtual ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Opens the session's hidden message window, which then waits for the service's
    /// broadcast; callbacks arrive from the next PumpMessages on.
    /// @param startArg non-zero: register with the alternate code 100 instead of 2000.
    /// @param optionalValue the client key, eight bytes little-endian; null for none (all
    /// zero), as most applications have.
    /// @param startValue the client type, which the registration carries; 0 for none.
    /// @param startFlag register as soon as the service appears (true, as most
    /// applications do); false: only when Register is called.
    /// @retval LUMO_SUCCESS (0) the window is open.
    /// @retval LUMO_ALREADY_STARTED (25) it was open already; the running session stays as
    /// it is.
    /// @retval LUMO_SERVICE_INTERNAL_ERROR (7) memory ran out.
    /// @lumo_call
    XeLUMOResult Start(std::uint32_t startArg, const std::uint64_t* optionalValue,
                       std::uint32_t startValue, bool startFlag);
    /// Whether the session's message window is open (Start succeeded).
    /// @lumo_local
    bool IsStarted() const;
    /// For an application that found the service's window itself (by `FindWindowW`, say)
    /// instead of waiting for its broadcast: as if the service had announced that window;
    /// registers when Start was given `startFlag`. Does nothing before Start, or while a
    /// service is known.
    /// @param serverWindow the service's window handle (an `HWND`) as a number.
    /// @lumo_call
    void ConnectToServerWindow(std::uintptr_t serverWindow);
    /// Registers with the known service: for a session that unregistered, or that does not
    /// register by itself. OnConnectedToServer follows.
    /// @retval LUMO_SUCCESS (0) registered, or registered already (then nothing is sent,
    /// and the session counts as not registered until the service is lost: see the table).
    /// @retval LUMO_NOT_INITIALIZED (10) before Start, or while no service is known.
    /// @retval LUMO_SERVER_NOT_AVAILABLE (24) the service went away while it took the
    /// registration.
    /// @retval LUMO_EXECUTION_FAILED (3) the service did not take it.
    /// @lumo_call
    XeLUMOResult Register();
    /// Unregisters (sends 2001) when registered; OnUnregisteredFromServer follows. The
    /// session stays open and does not register by itself again until Register.
    /// @return LUMO_SUCCESS (0), always.
    /// @lumo_call
    XeLUMOResult Unregister();

    /// The parameter of `id`.
    /// @throws std::out_of_range ("invalid map<K, T> key") for an id that is not in the
    /// table.
    /// @lumo_local
    ParameterDescriptor GetParameter(std::int32_t id) const;
    /// The 33 parameters of this API version, by id.
    /// @lumo_local
    const ParameterNames& GetParameterNames() const { return *m_parameterNames; }

    /// Request 2002, an 84-byte record: 0, 0, `a`, `b`, `c`, `d`, 0 (u32 each), then zeros.
    /// @lumo_request
    XeLUMOResult SendRequest2002(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                 std::uint32_t d);
    /// Request 2002 in its second form, an 84-byte record: `a`, 1, 0, 0, 0, `b` (u32
    /// each), then zeros.
    /// @lumo_request
    XeLUMOResult SendRequest2002(std::uint32_t a, std::uint32_t b);
    /// Request 2004, a 280-byte record: `a` to `e` (u32 each), then zeros.
    /// @lumo_request
    XeLUMOResult SendRequest2004(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d,
                                 std::uint32_t e);
    /// Request 2005 with `value` in the chunk (argument1) and no payload.
    /// @lumo_request
    XeLUMOResult SendRequest2005(std::int32_t value);
    /// Request 2007, a 520-byte record: `value` (u32), then `text` as UTF-16 up to its
    /// first zero unit, cut at 256 units, then zeros.
    /// @lumo_request
    XeLUMOResult SendRequest2007(std::uint32_t value, const std::wstring& text);
    /// Request 2008, no payload. @lumo_request
    XeLUMOResult SendRequest2008();
    /// Request 2009 with `value` in the chunk (argument1) and no payload.
    /// @lumo_request
    XeLUMOResult SendRequest2009(std::int32_t value);
    /// Request 2010, no payload. @lumo_request
    XeLUMOResult SendRequest2010();
    /// Request 2011, a 72-byte record: `value` (u64), then zeros.
    /// @lumo_request
    XeLUMOResult SendRequest2011(std::uint64_t value);
    /// Request 2012, no payload. @lumo_request
    XeLUMOResult SendRequest2012();
    /// Request 2013, no payload. @lumo_request
    XeLUMOResult SendRequest2013();
    /// Request 2014, no payload. @lumo_request
    XeLUMOResult SendRequest2014();
    /// Request 2016, a record of 48 + `size` bytes: `a`, `b`, `c` (u32 each), 36 zero
    /// bytes, then the `size` bytes at `data`. Its answer is a data reply
    /// (OnServerMessage2015).
    /// @retval LUMO_BAD_PARAMETER (5) without sending, for a null `data` with a non-zero
    /// `size`, or a record larger than kLargestPayload.
    /// @lumo_request
    XeLUMOResult SendRequest2016(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                 const std::uint8_t* data, std::uint32_t size);
    /// Request 2019 with `value` in the chunk (argument1) and no payload.
    /// @lumo_request
    XeLUMOResult SendRequest2019(std::int32_t value);
    /// Request 2020, no payload. @lumo_request
    XeLUMOResult SendRequest2020();
    /// Request 2021, no payload. @lumo_request
    XeLUMOResult SendRequest2021();
    /// Request 2022, a 260-byte record: `value` (u32), then zeros.
    /// @lumo_request
    XeLUMOResult SendRequest2022(std::uint32_t value);
    /// Request 2023, no payload. @lumo_request
    XeLUMOResult SendRequest2023();
    /// Request 2024, no payload. @lumo_request
    XeLUMOResult SendRequest2024();
    /// Request 2030, no payload. @lumo_request
    XeLUMOResult SendRequest2030();
    /// Request 2031, no payload. @lumo_request
    XeLUMOResult SendRequest2031();
    /// Request 2080, no payload. @lumo_request
    XeLUMOResult SendRequest2080();
    /// Request 2081, no payload. @lumo_request
    XeLUMOResult SendRequest2081();
    /// Request 2082, no payload. @lumo_request
    XeLUMOResult SendRequest2082();
    /// Request 2083, no payload. @lumo_request
    XeLUMOResult SendRequest2083();
    /// Request 2100, the two bytes as they are.
    /// @lumo_request
    XeLUMOResult SendRequest2100(const std::uint8_t (&bytes)[2]);
    /// Request 2200, no payload. @lumo_request
    XeLUMOResult SendRequest2200();
    /// Request 2201, no payload. @lumo_request
    XeLUMOResult SendRequest2201();
    /// Request 2203, `request` encoded with the payload archive.
    /// @lumo_request
    XeLUMOResult SendRequest2203(const sLUMORequest2203& request);
    /// Request 2204, `request` encoded with the payload archive.
    /// @retval LUMO_TOO_MANY_ELEMENTS (21) without sending, for a text longer than its
    /// 32-bit count can say.
    /// @lumo_request
    XeLUMOResult SendRequest2204(const sLUMORequest2204& request);
    /// Request 2205, `request` encoded with the payload archive.
    /// @retval LUMO_TOO_MANY_ELEMENTS (21) without sending, for a list longer than its
    /// 32-bit count can say.
    /// @lumo_request
    XeLUMOResult SendRequest2205(const sLUMORequest2205& request);
    /// Request 2206, no payload; the answer is a 564-byte record (OnServerMessage2206).
    /// @lumo_request
    XeLUMOResult SendRequest2206();
    /// Request 2207, `request` encoded with the payload archive.
    /// @lumo_request
    XeLUMOResult SendRequest2207(const sLUMORequest2207& request);
    /// Request 2211, no payload. @lumo_request
    XeLUMOResult SendRequest2211();
    /// Request 2212, `request` encoded with the payload archive.
    /// @retval LUMO_TOO_MANY_ELEMENTS (21) without sending, for a text longer than its
    /// 32-bit count can say.
    /// @lumo_request
    XeLUMOResult SendRequest2212(const sLUMORequest2212& request);
    /// Request 2214, encoded with the payload archive as (`false`, `value`, `number`):
    /// one byte, u32, double.
    /// @lumo_request
    XeLUMOResult SendRequest2214(std::uint32_t value, double number);
    /// Request 2216, no payload. @lumo_request
    XeLUMOResult SendRequest2216();
    /// Request 2217, no payload. @lumo_request
    XeLUMOResult SendRequest2217();
    /// Request 2220, no payload, 0 in the chunk (argument1). @lumo_request
    XeLUMOResult SendRequest2220();
    /// Request 2220 in its second form, no payload, 1 in the chunk (argument1).
    /// @lumo_request
    XeLUMOResult SendRequest2220SecondForm();
    /// Request 2221, no payload. @lumo_request
    XeLUMOResult SendRequest2221();
    /// Request 2222, no payload. @lumo_request
    XeLUMOResult SendRequest2222();
    /// Request 2223, no payload. @lumo_request
    XeLUMOResult SendRequest2223();
    /// Request 2224, no payload. @lumo_request
    XeLUMOResult SendRequest2224();
    /// Request 2233, no payload: asks for the instrument data record, which arrives in
    /// OnServerMessage2233.
    /// @lumo_request
    XeLUMOResult SendRequest2233();
    /// Request 1021, no payload. @lumo_request
    XeLUMOResult SendRequest1021();
    /// The access request (1022): proves knowledge of `text` without sending it. The
    /// request carries 0 (u32), the SHA-256 of "t:text" as 64 lowercase hexadecimal digits
    /// (a narrow text) and t, the time in seconds since 1970 (s64); `text` is neither kept
    /// nor sent. The verdict arrives in OnServerMessage1022.
    /// @lumo_request
    XeLUMOResult SendRequest1022(std::string_view text);

    /// The API version that the registration carries.
    /// @return L"6.3.0.0"
    /// @lumo_pure
    static const wchar_t* ApiVersionText() { return L"6.3.0.0"; }
    /// The release date of that API version.
    /// @return L"2022-01-12"
    /// @lumo_pure
    static const wchar_t* ApiReleaseDate() { return L"2022-01-12"; }

    /// The display sub-client: its commands and observers.
    /// @lumo_local
    Display::DisplayClient& GetDisplayClient() { return *m_display; }
    /// The script sub-client: its commands and observers.
    /// @lumo_local
    DcScript::Client& GetDcScriptClient() { return *m_dcScript; }
    /// The Wrtl sub-client: its commands and observers.
    /// @lumo_local
    Wrtl::Client& GetWrtlClient() { return *m_wrtl; }

    void OnInternalError(std::uint32_t /*kind*/, std::uint32_t /*messageId*/) override {}

    /// Event 1010, a record of the service's. @lumo_callback
    virtual void OnServerMessage1010(const ServiceRecord& /*record*/) {}
    /// Registered with the service: requests can be sent from now on. Comes after Start
    /// (with its `startFlag`), ConnectToServerWindow or Register, each time the service
    /// takes a registration.
    /// @lumo_callback
    virtual void OnConnectedToServer() = 0;
    /// Event 1009, a 400-byte record. @lumo_callback
    virtual void OnServerMessage1009(const std::uint8_t* /*record*/) {}
    /// Event 2208, a record of the service's. @lumo_callback
    virtual void OnServerMessage2208(const ServiceRecord& /*record*/) {}
    /// The attached instrument (event 1000): a 700-byte record. The fields an application
    /// reads, at their byte offsets:
    /// | Offset | Field |
    /// |---|---|
    /// | 0 | u8: minor number of the first version |
    /// | 1, 2 | u8 each: major and minor number of the second version |
    /// | 20 | the instrument's name, UTF-16, zero-terminated |
    /// | 416 | u32: the instrument type |
    /// | 524 | u32: major number of the first version |
    /// | 534 | u8: the instrument sub-type |
    /// @lumo_callback
    virtual void OnInstrumentData(const std::uint8_t* record) = 0;
    /// Event 1100, a record of the service's. @lumo_callback
    virtual void OnServerMessage1100(const ServiceRecord& /*record*/) {}
    /// Event 2215, a 700-byte instrument data record (as OnInstrumentData). @lumo_callback
    virtual void OnServerMessage2215(const std::uint8_t* /*record*/) {}
    /// Event 2210, a yes/no taken from the chunk's argument1. @lumo_callback
    virtual void OnServerMessage2210(bool /*value*/) {}
    /// Event 1001, a 564-byte record. @lumo_callback
    virtual void OnServerMessage1001(const std::uint8_t* /*record*/) {}
    /// Event 2232, a record of the service's. @lumo_callback
    virtual void OnServerMessage2232(const ServiceRecord& /*record*/) {}
    /// Event 1006, a 528-byte record. @lumo_callback
    virtual void OnServerMessage1006(const std::uint8_t* /*record*/) {}
    /// A measurement (event 1002) whose status word, its first u32, has bit 0x00200000
    /// set: one the instrument vouches for. The record is as the service sent it.
    /// @lumo_callback
    virtual void OnReliableMeasurement(const std::uint8_t* measurement) = 0;
    /// Event 2231, a record of the service's. @lumo_callback
    virtual void OnServerMessage2231(const ServiceRecord& /*record*/) {}
    /// The answer to SendRequest2216, a record of the service's. @lumo_callback
    virtual void OnServerMessage2216(const ServiceRecord& /*record*/) {}
    /// The answer to SendRequest2221, a record of the service's. @lumo_callback
    virtual void OnServerMessage2221(const ServiceRecord& /*record*/) {}
    /// The answer to SendRequest2222, a record of the service's. @lumo_callback
    virtual void OnServerMessage2222(const ServiceRecord& /*record*/) {}
    /// The verdict on SendRequest2013. @lumo_callback
    virtual void OnServerMessage2013(XeLUMOResult /*result*/) {}
    /// The answer to SendRequest2224, a record of the service's. @lumo_callback
    virtual void OnServerMessage2224(const ServiceRecord& /*record*/) {}
    /// The answer to SendRequest2223, a record of the service's. @lumo_callback
    virtual void OnServerMessage2223(const ServiceRecord& /*record*/) {}
    /// The answer to SendRequest2081, a record of the service's. @lumo_callback
    virtual void OnServerMessage2081(const ServiceRecord& /*record*/) {}
    /// The verdict on SendRequest2082. @lumo_callback
    virtual void OnServerMessage2082(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2083. @lumo_callback
    virtual void OnServerMessage2083(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2200. @lumo_callback
    virtual void OnServerMessage2200(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2201. @lumo_callback
    virtual void OnServerMessage2201(XeLUMOResult /*result*/) {}
    /// The answer to SendRequest2220 (either form), a record of the service's.
    /// @lumo_callback
    virtual void OnServerMessage2220(const ServiceRecord& /*record*/) {}
    /// A data reply (2015), the answer to requests such as 2016: the service's verdict, a
    /// 48-byte header (all zero unless the reply succeeded), and the data behind it with its
    /// size (null and 0 when there is none). A successful reply shorter than its header
    /// arrives as LUMO_SERVICE_INTERNAL_ERROR (7).
    /// @lumo_callback
    virtual void OnServerMessage2015(XeLUMOResult /*result*/, const std::uint8_t* /*header*/,
                                     const std::uint8_t* /*data*/, std::uint32_t /*dataSize*/) {}
    /// The verdict on SendRequest2030. @lumo_callback
    virtual void OnServerMessage2030(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2031. @lumo_callback
    virtual void OnServerMessage2031(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2207. @lumo_callback
    virtual void OnServerMessage2207(XeLUMOResult /*result*/) {}
    /// The answer to SendRequest2004, a record of the service's. @lumo_callback
    virtual void OnServerMessage2004(const ServiceRecord& /*record*/) {}
    /// The verdict on SendRequest2019. @lumo_callback
    virtual void OnServerMessage2019(XeLUMOResult /*result*/) {}
    /// A verdict of the service in message 2017. @lumo_callback
    virtual void OnServerMessage2017(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2100. @lumo_callback
    virtual void OnServerMessage2100(XeLUMOResult /*result*/) {}
    /// A verdict of the service in message 2003. @lumo_callback
    virtual void OnServerMessage2003(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2005. @lumo_callback
    virtual void OnServerMessage2005(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2011. @lumo_callback
    virtual void OnServerMessage2011(XeLUMOResult /*result*/) {}
    /// The answer to SendRequest2080, a record of the service's. @lumo_callback
    virtual void OnServerMessage2080(const ServiceRecord& /*record*/) {}
    /// The answer to SendRequest2010, a record of the service's. @lumo_callback
    virtual void OnServerMessage2010(const ServiceRecord& /*record*/) {}
    /// The verdict on SendRequest2014. @lumo_callback
    virtual void OnServerMessage2014(XeLUMOResult /*result*/) {}
    /// The answer to SendRequest2233, a 700-byte instrument data record (as
    /// OnInstrumentData).
    /// @lumo_callback
    virtual void OnServerMessage2233(const std::uint8_t* /*record*/) {}
    /// The answer to SendRequest2009, a record of the service's. @lumo_callback
    virtual void OnServerMessage2009(const ServiceRecord& /*record*/) {}
    /// The verdict on SendRequest2002. @lumo_callback
    virtual void OnServerMessage2002(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2008. @lumo_callback
    virtual void OnServerMessage2008(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2012. @lumo_callback
    virtual void OnServerMessage2012(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2217. @lumo_callback
    virtual void OnServerMessage2217(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2203. @lumo_callback
    virtual void OnServerMessage2203(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2211. @lumo_callback
    virtual void OnServerMessage2211(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2204. @lumo_callback
    virtual void OnServerMessage2204(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2205. @lumo_callback
    virtual void OnServerMessage2205(XeLUMOResult /*result*/) {}
    /// The answer to SendRequest2206, a 564-byte record. @lumo_callback
    virtual void OnServerMessage2206(const std::uint8_t* /*record*/) {}
    /// The verdict on SendRequest2212. @lumo_callback
    virtual void OnServerMessage2212(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2214. @lumo_callback
    virtual void OnServerMessage2214(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2007. @lumo_callback
    virtual void OnServerMessage2007(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2016. @lumo_callback
    virtual void OnServerMessage2016(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2020. @lumo_callback
    virtual void OnServerMessage2020(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2021. @lumo_callback
    virtual void OnServerMessage2021(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2023. @lumo_callback
    virtual void OnServerMessage2023(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2024. @lumo_callback
    virtual void OnServerMessage2024(XeLUMOResult /*result*/) {}
    /// The verdict on SendRequest2022. @lumo_callback
    virtual void OnServerMessage2022(XeLUMOResult /*result*/) {}
    /// A verdict of the service in message 2209. @lumo_callback
    virtual void OnServerMessage2209(XeLUMOResult /*result*/) {}
    /// The verdict on the access request, SendRequest1022. @lumo_callback
    virtual void OnServerMessage1022(XeLUMOResult /*result*/) {}
    /// The answer to SendRequest1021, a record of the service's. @lumo_callback
    virtual void OnServerMessage1021(const ServiceRecord& /*record*/) {}
    /// Event 1008, a record of the service's. @lumo_callback
    virtual void OnServerMessage1008(const ServiceRecord& /*record*/) {}
    /// Event 2202, a 564-byte record. @lumo_callback
    virtual void OnServerMessage2202(const std::uint8_t* /*record*/) {}
    /// The service went away: its window vanished (the session looks every 500 ms), or it
    /// said it is shutting down (1005). The session is no longer registered; it waits for
    /// the service's next broadcast, and registers again by itself when Start was given
    /// `startFlag` and Unregister was not called since.
    /// @lumo_callback
    virtual void OnServerDown() = 0;
    /// Unregistered by Unregister. Not called as the session ends: the deriving object is
    /// gone by then.
    /// @lumo_callback
    virtual void OnUnregisteredFromServer() {}
    /// The service announced itself; registration follows when the session registers by
    /// itself.
    /// @lumo_callback
    virtual void OnServerAvailable() {}
    /// Event 2225, a record of the service's. @lumo_callback
    virtual void OnServerMessage2225(const ServiceRecord& /*record*/) {}
    /// Event 2218, a 528-byte record. @lumo_callback
    virtual void OnServerMessage2218(const std::uint8_t* /*record*/) {}
    /// A measurement (event 1002) whose status word, its first u32, has bit 0x00200000
    /// clear. The record is as the service sent it.
    /// @lumo_callback
    virtual void OnUnreliableMeasurement(const std::uint8_t* measurement) = 0;
    /// Event 1020, a record of the service's. @lumo_callback
    virtual void OnServerMessage1020(const ServiceRecord& /*record*/) {}
    /// A reply (1004) that no other callback claims, as it came: the code of the request it
    /// answers (its argument1), the service's verdict (its argument2), and its payload with
    /// its size (null and 0 when it is empty).
    /// @lumo_callback
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
