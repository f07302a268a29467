// The client's hidden window towards the measuring-arm service. It learns the service's
// window from the service's broadcast, watches every 500 ms that it still exists, registers
// and unregisters the client, sends framed messages, and hands every received block and
// every change of the connection to its listener.
//
// State: no server -> (broadcast) server available -> (Register) registered; Unregister
// goes back to server available; losing the server (window gone, or the service's
// shutdown message) goes back to no server from either.
#pragma once

#include "lumo/api/result_codes.h"
#include "platform/local_time.h"
#include "platform/message_window.h"
#include "service_api/core/lifetime.h"
#include "service_api/core/listener.h"
#include "service_api/core/transport_options.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace Quorvel::Lumo::Api {

class WindowsMessagingWindow final : private Orvane::Platform::MessageWindowEvents {
  public:
    using WindowHandle = Orvane::Platform::WindowHandle;

    static constexpr std::uintptr_t kLivenessTimerId = 1280;
    static constexpr std::uint32_t kLivenessPeriodMs = 500;
    static constexpr int kMessageFilterAttempts = 6;

    // Creates the window "LUMO_SERVICEMESSAGEWINDOW"; a failure to create it is not
    // reported (the service then never appears). A non-zero `alternateRegistration`
    // registers with code 100 instead of 2000.
    WindowsMessagingWindow(Listener& listener, LumoTransportOptions options,
                           std::uint32_t alternateRegistration);
    // Destroys the window; does not unregister (the core does).
    ~WindowsMessagingWindow();
    WindowsMessagingWindow(const WindowsMessagingWindow&) = delete;
    WindowsMessagingWindow& operator=(const WindowsMessagingWindow&) = delete;

    // 10 without a server; 0 without sending when already registered or registering (from
    // inside the registration's send it takes back an Unregister asked there); 24 when the
    // server was lost while it took the request; else the result of sending it. When what
    // the send let in threw, the service has the registration all the same: the window
    // counts it, the listener is told quietly, and the exception goes on.
    XeLUMOResult Register();
    // Always 0; sends 2001 only when registered, and turns auto-registration off until the
    // next Register, so that a restarted service is not joined behind the user's back. The
    // state changes before the send: a nested Unregister finds nothing to do, and a
    // Register from inside the send registers anew (the listener then hears only that).
    // From inside the registration's send, the 2001 follows once the registration is done.
    XeLUMOResult Unregister();
    // For a window about to be destroyed while its registration's send is under way: the
    // registration is withdrawn at once, from inside that send.
    void WithdrawBeforeClosing();
    // 4 without a server window, 5 for a payload above kLargestPayload (nothing is sent), 3
    // when it did not take the message, else 0.
    XeLUMOResult Send(std::uint32_t messageCode, const void* payload, std::uint32_t payloadSize,
                      std::uint32_t argument1, std::uint32_t argument2);
    // Sends the three parts back to back, without a header. 4 without a target, 5 without a
    // first part. The block always has the summed size: a second part without a pointer,
    // or a third part whose second part had none, leaves its bytes unwritten.
    XeLUMOResult SendRaw(WindowHandle target, const void* first, std::uint32_t firstSize,
                         const void* second, std::uint32_t secondSize, const void* third,
                         std::uint32_t thirdSize);
    // As the service's broadcast, for a caller that learnt the service's window itself.
    void ServerAvailable(WindowHandle serverWindow);
    // Runs the server-lost steps when the service's window is gone.
    void CheckServer();
    // Forgets the server and the registration silently: the timer keeps running and the
    // listener hears nothing.
    void Reset();

    static const wchar_t* ClassNameText();

    WindowHandle Handle() const { return m_window; }
    bool IsServerAvailable() const { return m_serverAvailable; }
    bool IsRegistered() const { return m_registered; }
    bool IsRegistering() const { return m_registering; }
    // A handler threw inside one of this window's sends: what the listener is told until
    // the exception has left is the state, and no handler should run for it.
    bool IsQuiet() const { return m_quiet; }
    bool IsMessageFilterSet() const { return m_messageFilterSet; }
    WindowHandle ServerWindow() const { return m_serverWindow; }
    // When the last registration was sent; zero after the server was lost.
    const Orvane::Platform::LocalTime& RegistrationTime() const { return m_registrationTime; }

  private:
    bool OnRegisteredMessage(std::uint32_t message, std::uintptr_t wParam,
                             std::intptr_t lParam) override;
    bool OnCopyData(const Orvane::Platform::CopyDataBlock& block) override;
    bool OnTimer(std::uintptr_t timerId) override;

    void ForgetServer();
    void ServerLost();
    XeLUMOResult Withdraw();
    void TellQuietly(void (Listener::*call)());
    XeLUMOResult Deliver(WindowHandle target, const void* data, std::uint32_t size);

    Orvane::Platform::MessageWindowService& m_windows;
    bool m_serverAvailable = false;
    std::uint32_t m_serverAvailableMessage = 0;
    bool m_messageFilterSet = false;
    Listener& m_listener;
    bool m_registered = false;
    // A registration's send is under way: the service may answer, and so call back in,
    // while it takes the request.
    bool m_registering = false;
    // An Unregister from inside the registration's send, carried out once it is done.
    bool m_withdrawWhenRegistered = false;
    bool m_quiet = false;
    // Counts the servers forgotten, so that a send can tell whether its server was lost
    // (and perhaps another one found) while it ran.
    std::uint32_t m_serverEpoch = 0;
    WindowHandle m_serverWindow = 0;
    Orvane::Platform::LocalTime m_registrationTime{};
    std::uint32_t m_clientType;
    std::array<std::uint8_t, 8> m_clientKey;
    bool m_autoRegister;
    bool m_savedAutoRegister;
    std::uint32_t m_alternateRegistration;
    WindowHandle m_window = 0;
    std::vector<std::uint8_t> m_sendBuffer;
    bool m_sendBufferInUse = false;
    // The listener may end the session (destroying this window) from any of its calls, and
    // so may what the service sends back during a send.
    Lifetime m_lifetime;
};

}  // namespace Quorvel::Lumo::Api
