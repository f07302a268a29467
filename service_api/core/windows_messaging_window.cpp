#include "service_api/core/windows_messaging_window.h"

#include "lumo/api/chunk.h"
#include "platform/service.h"
#include "service_api/core/outgoing_message.h"
#include "service_api/core/registration.h"

#include <cstring>
#include <memory>
#include <utility>

namespace Quorvel::Lumo::Api {

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
    m_registered = false;
    m_registering = false;
    m_withdrawWhenRegistered = false;
    ++m_serverEpoch;
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
    if (std::exchange(m_withdrawWhenRegistered, false)) {
        m_autoRegister = m_savedAutoRegister;
    }
    if (m_registered || m_registering) {
        return LUMO_SUCCESS;
    }
    m_autoRegister = m_savedAutoRegister;
    const auto request = BuildRegistrationRequest(CurrentLocalTime(), m_clientKey, m_clientType);
    const std::uint32_t code =
        m_alternateRegistration != 0 ? MessageCode::kRegisterAlternate : MessageCode::kRegister;
    const std::uint32_t server = m_serverEpoch;
    const Lifetime::Witness alive = m_lifetime.Watch();
    m_registering = true;
    XeLUMOResult sent;
    try {
        sent = Send(code, request.data(), kRegistrationRequestSize, 0, 0);
    } catch (...) {
        // A handler failed on what the service answered, or another window of this thread
        // failed meanwhile: the service took the request all the same. An Unregister asked
        // inside the send is not carried out under the exception.
        if (*alive && m_registering) {
            m_registering = m_withdrawWhenRegistered = false;
            m_registered = true;
            m_registrationTime = CurrentLocalTime();
            TellQuietly(&Listener::OnRegistered);
        }
        throw;
    }
    if (!*alive) {
        return LUMO_SERVER_NOT_AVAILABLE;
    }
    m_registering = false;
    // The service may go while it takes the registration (its shutdown message arrives
    // inside the send): a registration with a server that is gone does not count, so that
    // the next server is registered with.
    if (m_serverEpoch != server) {
        return LUMO_SERVER_NOT_AVAILABLE;
    }
    if (sent != LUMO_SUCCESS) {
        m_withdrawWhenRegistered = false;
        return sent;
    }
    m_registered = true;
    m_registrationTime = CurrentLocalTime();
    if (std::exchange(m_withdrawWhenRegistered, false)) {
        // The application's last word was to unregister: it hears only that.
        return Withdraw();
    }
    m_listener.OnRegistered();
    return LUMO_SUCCESS;
}

XeLUMOResult WindowsMessagingWindow::Unregister() {
    if (!m_registered && !m_registering) {
        return LUMO_SUCCESS;
    }
    if (!m_withdrawWhenRegistered) {
        m_savedAutoRegister = m_autoRegister;
        m_autoRegister = false;
    }
    m_withdrawWhenRegistered = m_registering;
    return m_registering ? LUMO_SUCCESS : Withdraw();
}

XeLUMOResult WindowsMessagingWindow::Withdraw() {
    m_registered = false;
    const Lifetime::Witness alive = m_lifetime.Watch();
    try {
        Send(MessageCode::kUnregister, nullptr, 0, 0, 0);
    } catch (...) {
        // The service has the unregistration: the listener learns it before the failure goes on.
        if (*alive && !m_registered) {
            TellQuietly(&Listener::OnUnregistered);
        }
        throw;
    }
    if (*alive && !m_registered) {
        m_listener.OnUnregistered();
    }
    return LUMO_SUCCESS;
}

void WindowsMessagingWindow::WithdrawBeforeClosing() {
    if (!m_registering) {
        return;
    }
    m_registering = m_withdrawWhenRegistered = m_autoRegister = false;
    Send(MessageCode::kUnregister, nullptr, 0, 0, 0);
}

void WindowsMessagingWindow::TellQuietly(void (Listener::*call)()) {
    m_quiet = true;
    (m_listener.*call)();
    m_quiet = false;
}

XeLUMOResult WindowsMessagingWindow::Send(std::uint32_t messageCode, const void* payload,
                                          std::uint32_t payloadSize, std::uint32_t argument1,
                                          std::uint32_t argument2) {
    if (m_serverWindow == 0) {
        return LUMO_INVALID_HANDLE;
    }
    if (payloadSize > kLargestPayload) {
        return LUMO_BAD_PARAMETER;
    }
    // The outermost send frames its block in a buffer the window keeps, so that a large
    // request costs no fresh memory each time; a send from inside that one's delivery (a
    // handler of what the service answered) frames into a buffer of its own.
    std::vector<std::uint8_t> nested;
    std::vector<std::uint8_t>& message = m_sendBufferInUse ? nested : m_sendBuffer;
    // The service answers to the low half of our handle: window handles fit in 32 bits.
    BuildOutgoingMessage(message, messageCode, payload, payloadSize, argument1, argument2,
                         static_cast<std::uint32_t>(m_window));
    if (&message == &nested) {
        return Deliver(m_serverWindow, message.data(), static_cast<std::uint32_t>(message.size()));
    }
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
    return Deliver(m_serverWindow, message.data(), static_cast<std::uint32_t>(message.size()));
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
    return Deliver(target, block.get(), static_cast<std::uint32_t>(total));
}

XeLUMOResult WindowsMessagingWindow::Deliver(WindowHandle target, const void* data,
                                             std::uint32_t size) {
    return m_windows.SendCopyData(target, {0, size, data}) == 0 ? LUMO_EXECUTION_FAILED
                                                                : LUMO_SUCCESS;
}

}  // namespace Quorvel::Lumo::Api
