#include "service_api/core/windows_messaging_window.h"

#include "lumo/api/chunk.h"
#include "platform/kept_exception.h"
#include "platform/service.h"
#include "service_api/core/outgoing_message.h"
#include "service_api/core/registration.h"

#include <array>
#include <cstring>
#include <memory>
#include <utility>

namespace Quorvel::Lumo::Api {
namespace {

// A registration, with its header, fits: what is framed in place needs no memory.
constexpr std::size_t kFramedInPlace = sizeof(LumoMessageHeader) + kRegistrationRequestSize;

}  // namespace

using Orvane::Platform::CopyDataBlock;
using Orvane::Platform::CurrentLocalTime;
using Orvane::Platform::Get;
using Orvane::Platform::MessageWindowService;

WindowsMessagingWindow::WindowsMessagingWindow(Listener& listener, LumoTransportOptions options,
                                               std::uint32_t alternateRegistration)
    : m_windows(Get<MessageWindowService>()),
      m_listener(listener),
      m_clientType(options.clientType),
      m_clientKey(options.clientKey),
      m_autoRegister(options.autoRegister != 0),
      m_savedAutoRegister(options.autoRegister != 0),
      m_alternateRegistration(alternateRegistration) {
    m_window = m_windows.Create(ClassNameText(), L"LUMO_SERVICEMESSAGEWINDOW", *this);
    m_serverAvailableMessage = m_windows.RegisterMessage(L"LUMO_SERVERAVAILABLE");
    // A service running with higher rights can reach us only through an open filter;
    // where there is no filter at all, messages pass anyway.
    for (int attempt = 0; attempt < kMessageFilterAttempts && !m_messageFilterSet; ++attempt) {
        m_messageFilterSet = m_windows.OpenMessageFilter(m_window, m_serverAvailableMessage);
    }
}

WindowsMessagingWindow::~WindowsMessagingWindow() {
    if (m_window != 0) {
        m_windows.Destroy(m_window);
    }
}

const wchar_t* WindowsMessagingWindow::ClassNameText() {
    return L"WindowsMessagingWindow";
}

bool WindowsMessagingWindow::OnRegisteredMessage(std::uint32_t message, std::uintptr_t,
                                                 std::intptr_t lParam) {
    if (m_serverAvailableMessage == 0 || message != m_serverAvailableMessage) {
        return false;
    }
    ServerAvailable(static_cast<WindowHandle>(lParam));
    return true;
}

void WindowsMessagingWindow::ServerAvailable(WindowHandle serverWindow) {
    // The first announcement wins until that server is lost.
    if (m_serverAvailable) {
        return;
    }
    m_serverWindow = serverWindow;
    m_serverAvailable = true;
    m_windows.StartTimer(m_window, kLivenessTimerId, kLivenessPeriodMs);
    const Lifetime::Witness alive = m_lifetime.Watch();
    m_listener.OnServerAvailable();
    if (*alive && m_autoRegister) {
        Register();
    }
}

bool WindowsMessagingWindow::OnTimer(std::uintptr_t timerId) {
    if (timerId != kLivenessTimerId) {
        return false;
    }
    CheckServer();
    return true;
}

void WindowsMessagingWindow::CheckServer() {
    if (!m_windows.IsWindow(m_serverWindow)) {
        ServerLost();
    }
}

bool WindowsMessagingWindow::OnCopyData(const CopyDataBlock& block) {
    if (block.cbData < sizeof(sLUMOChunk)) {
        return false;
    }
    std::uint32_t messageId;
    std::memcpy(&messageId, block.lpData, sizeof(messageId));
    // The service says goodbye with an ordinary message, which its listener still gets.
    const Lifetime::Witness alive = m_lifetime.Watch();
    if (messageId == MessageCode::kServiceShutdown) {
        ServerLost();
    }
    if (*alive) {
        m_listener.OnMessage(block);
    }
    // Default handling answers the sender; the service expects nothing else.
    return false;
}

void WindowsMessagingWindow::ForgetServer() {
    m_serverAvailable = false;
    m_registration = Registration::None;
    m_serverWindow = 0;
    m_registrationTime = {};
}

void WindowsMessagingWindow::ServerLost() {
    ForgetServer();
    m_windows.StopTimer(m_window, kLivenessTimerId);
    m_listener.OnServerDown();
}

void WindowsMessagingWindow::Reset() {
    ForgetServer();
}

XeLUMOResult WindowsMessagingWindow::Register() {
    if (!m_serverAvailable) {
        return LUMO_NOT_INITIALIZED;
    }
    m_autoRegister = m_savedAutoRegister;
    switch (m_registration) {
        case Registration::Registered:
        case Registration::RegisteredTwice:
            m_registration = Registration::RegisteredTwice;
            return LUMO_SUCCESS;
        case Registration::Registering:
        case Registration::RegisteringToWithdraw:
            // The registration under way counts, and takes back an Unregister asked
            // inside its send.
            m_registration = Registration::Registering;
            return LUMO_SUCCESS;
        case Registration::None:
        case Registration::Unregistering:
            break;
    }
    return SendRegistration();
}

XeLUMOResult WindowsMessagingWindow::SendRegistration() {
    const Registration before = m_registration;
    const auto request = BuildRegistrationRequest(CurrentLocalTime(), m_clientKey, m_clientType);
    const std::uint32_t code =
        m_alternateRegistration != 0 ? MessageCode::kRegisterAlternate : MessageCode::kRegister;
    const Lifetime::Witness alive = m_lifetime.Watch();
    m_registration = Registration::Registering;
    XeLUMOResult sent = LUMO_SUCCESS;
    try {
        sent = Transmit(code, request.data(), kRegistrationRequestSize, 0, 0);
        Orvane::Platform::ThrowKeptException();
    } catch (...) {
        // Framed without memory, the request was delivered: a handler failed on what the
        // service answered, or another window of this thread failed meanwhile. What the
        // service answered stands (unknown, it took the request); an Unregister asked
        // inside the send is not carried out under the exception.
        if (*alive && IsRegistering() && sent == LUMO_SUCCESS) {
            m_autoRegister = m_savedAutoRegister;
            Count();
        } else if (*alive && IsRegistering()) {
            m_registration = before;
        }
        throw;
    }
    // The window may close while the service takes the registration, and the service may
    // go (its shutdown message arrives inside the send, perhaps with another service behind
    // it): a registration with a server that is gone does not count.
    if (!*alive || !IsRegistering()) {
        return LUMO_SERVER_NOT_AVAILABLE;
    }
    if (sent != LUMO_SUCCESS) {
        m_registration = before;
        return sent;
    }
    const bool withdraw = m_registration == Registration::RegisteringToWithdraw;
    Count();
    if (withdraw) {
        // The application's last word was to unregister: it hears only that.
        return Withdraw(true);
    }
    m_listener.OnRegistered();
    return LUMO_SUCCESS;
}

void WindowsMessagingWindow::Count() {
    m_registration = Registration::Registered;
    m_registrationTime = CurrentLocalTime();
}

XeLUMOResult WindowsMessagingWindow::Unregister() {
    if (m_registration == Registration::Registered) {
        TurnAutoRegistrationOff();
        return Withdraw(true);
    }
    if (m_registration == Registration::Registering) {
        TurnAutoRegistrationOff();
        m_registration = Registration::RegisteringToWithdraw;
    }
    return LUMO_SUCCESS;
}

void WindowsMessagingWindow::TurnAutoRegistrationOff() {
    m_savedAutoRegister = m_autoRegister;
    m_autoRegister = false;
}

XeLUMOResult WindowsMessagingWindow::Withdraw(bool heard) {
    m_registration = Registration::Unregistering;
    const Lifetime::Witness alive = m_lifetime.Watch();
    // Whatever else happens to the registration during the send (registered anew, the
    // server lost, the window closed) is what the listener has heard instead.
    const auto done = [&] {
        const bool mine = *alive && m_registration == Registration::Unregistering;
        if (mine) {
            m_registration = Registration::None;
        }
        return mine;
    };
    try {
        Send(MessageCode::kUnregister, nullptr, 0, 0, 0);
    } catch (...) {
        // The service has the unregistration; what was still to be heard is not.
        done();
        throw;
    }
    if (done() && heard) {
        m_listener.OnUnregistered();
    }
    return LUMO_SUCCESS;
}

void WindowsMessagingWindow::WithdrawBeforeClosing() {
    if (!IsRegistering()) {
        return;
    }
    Count();
    Withdraw(false);
}

XeLUMOResult WindowsMessagingWindow::Send(std::uint32_t messageCode, const void* payload,
                                          std::uint32_t payloadSize, std::uint32_t argument1,
                                          std::uint32_t argument2) {
    const XeLUMOResult sent = Transmit(messageCode, payload, payloadSize, argument1, argument2);
    Orvane::Platform::ThrowKeptException();
    return sent;
}

XeLUMOResult WindowsMessagingWindow::Transmit(std::uint32_t messageCode, const void* payload,
                                              std::uint32_t payloadSize, std::uint32_t argument1,
                                              std::uint32_t argument2) {
    if (m_serverWindow == 0) {
        return LUMO_INVALID_HANDLE;
    }
    if (payloadSize > kLargestPayload) {
        return LUMO_BAD_PARAMETER;
    }
    const std::uint32_t size = sizeof(LumoMessageHeader) + payloadSize;
    const auto deliver = [&](std::uint8_t* block) {
        // The service answers to the low half of our handle: window handles fit in 32 bits.
        BuildOutgoingMessage(block, messageCode, payload, payloadSize, argument1, argument2,
                             static_cast<std::uint32_t>(m_window));
        return Deliver(m_serverWindow, block, size);
    };
    // A registration, an unregistration and most requests are framed on the stack: they
    // never fail for want of memory, so that a session can always end its registration.
    std::array<std::uint8_t, kFramedInPlace> inPlace;
    if (size <= inPlace.size()) {
        return deliver(inPlace.data());
    }
    // A larger block goes into a buffer the window keeps, so that a large request costs no
    // fresh memory each time; a send from inside that one's delivery (a handler of what the
    // service answered) frames into a buffer of its own.
    if (m_sendBufferInUse) {
        return deliver(std::make_unique_for_overwrite<std::uint8_t[]>(size).get());
    }
    m_sendBuffer.resize(size);
    // Given back also when what the delivery let in threw, and not once it ended the session.
    struct InUse {
        WindowsMessagingWindow& window;
        const Lifetime::Witness alive;
        ~InUse() {
            if (*alive) {
                window.m_sendBufferInUse = false;
            }
        }
    } const inUse{*this, m_lifetime.Watch()};
    m_sendBufferInUse = true;
    return deliver(m_sendBuffer.data());
}

XeLUMOResult WindowsMessagingWindow::SendRaw(WindowHandle target, const void* first,
                                             std::uint32_t firstSize, const void* second,
                                             std::uint32_t secondSize, const void* third,
                                             std::uint32_t thirdSize) {
    if (target == 0) {
        return LUMO_INVALID_HANDLE;
    }
    const std::uint64_t total = std::uint64_t{firstSize} + secondSize + thirdSize;
    // A block must say its size in 32 bits; a larger sum would be cut and overrun.
    if (first == nullptr || firstSize == 0 || total > UINT32_MAX) {
        return LUMO_BAD_PARAMETER;
    }
    const auto block = std::make_unique_for_overwrite<std::uint8_t[]>(total);
    std::memcpy(block.get(), first, firstSize);
    if (second != nullptr) {
        std::memcpy(block.get() + firstSize, second, secondSize);
        if (third != nullptr) {
            std::memcpy(block.get() + firstSize + secondSize, third, thirdSize);
        }
    }
    const XeLUMOResult sent = Deliver(target, block.get(), static_cast<std::uint32_t>(total));
    Orvane::Platform::ThrowKeptException();
    return sent;
}

XeLUMOResult WindowsMessagingWindow::Deliver(WindowHandle target, const void* data,
                                             std::uint32_t size) {
    return m_windows.SendCopyData(target, {0, size, data}) == 0 ? LUMO_EXECUTION_FAILED
                                                                : LUMO_SUCCESS;
}

}  // namespace Quorvel::Lumo::Api
