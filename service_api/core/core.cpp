#include "service_api/core/core.h"

#include "platform/kept_exception.h"

#include <cstring>
#include <exception>
#include <new>
#include <utility>

namespace Quorvel::Lumo::Api {

using Orvane::Platform::CurrentLocalTime;

namespace {

// Received blocks up to this size are copied to the stack instead of the heap.
constexpr std::size_t kCopiedInPlace = 512;

}  // namespace

Core::~Core() {
    StopKeepingExceptions();
}

void Core::StopKeepingExceptions() noexcept {
    try {
        Stop();
    } catch (...) {
        // Nothing leaves a destructor: the thread's next wait for messages throws it.
        Orvane::Platform::KeepException(std::current_exception());
    }
}

void Core::SetDefaultHandler(LumoMessageHandler handler) {
    m_defaultHandler =
        handler ? std::make_shared<const LumoMessageHandler>(std::move(handler)) : nullptr;
}

void Core::AddMessageHandler(std::int32_t messageCode, LumoMessageHandler handler) {
    m_messageHandlers[messageCode] = std::make_shared<const LumoMessageHandler>(std::move(handler));
}

std::uint64_t Core::RemoveMessageHandler(std::int32_t messageCode) {
    return m_messageHandlers.erase(messageCode);
}

void Core::ClearMessageHandlers() {
    m_messageHandlers.clear();
}

void Core::SetEventHandler(LumoCoreEvent event, LumoEventHandler handler) {
    m_eventHandlers[event] = std::move(handler);
}

XeLUMOResult Core::Send(std::uint32_t messageCode, const void* payload, std::uint32_t payloadSize,
                        std::uint32_t argument1, std::uint32_t argument2) {
    if (!IsRegistered()) {
        return LUMO_NOT_REGISTERED;
    }
    return m_window->Send(messageCode, payload, payloadSize, argument1, argument2);
}

XeLUMOResult Core::Start(std::uint32_t alternateRegistration, LumoTransportOptions options) {
    // A window made while the core stops would be the one that Stop destroys.
    if (m_window != nullptr || m_stopping) {
        return LUMO_ALREADY_STARTED;
    }
    try {
        m_window = std::make_unique<WindowsMessagingWindow>(*this, options, alternateRegistration);
    } catch (const std::bad_alloc&) {
        return LUMO_SERVICE_INTERNAL_ERROR;
    }
    return LUMO_SUCCESS;
}

XeLUMOResult Core::Stop() {
    const Lifetime::Witness alive = m_lifetime.Watch();
    const bool nested = std::exchange(m_stopping, true);
    // The window goes also when what the unregistration let in threw.
    std::exception_ptr failed;
    try {
        Unregister();
        if (*alive && m_window != nullptr) {
            m_window->WithdrawBeforeClosing();
        }
    } catch (...) {
        failed = std::current_exception();
    }
    if (*alive) {
        m_stopping = nested;
        m_window.reset();
    }
    if (failed) {
        std::rethrow_exception(failed);
    }
    return LUMO_SUCCESS;
}

XeLUMOResult Core::Register() {
    // A registration made while the core stops would outlive the window it was made for.
    if (m_stopping || m_window == nullptr) {
        return LUMO_NOT_INITIALIZED;
    }
    return m_window->Register();
}

XeLUMOResult Core::Unregister() {
    return m_window != nullptr ? m_window->Unregister() : LUMO_SUCCESS;
}

void Core::ServerAvailable(Orvane::Platform::WindowHandle serverWindow) {
    if (m_window != nullptr) {
        m_window->ServerAvailable(serverWindow);
    }
}

Core::SharedHandler Core::HandlerFor(const sLUMOChunk& header) const {
    // A reply goes to whoever handles the request it answers; an unclaimed one stays a
    // plain 1004.
    auto found = m_messageHandlers.end();
    if (header.messageId == MessageCode::kReply) {
        found = m_messageHandlers.find(static_cast<std::int32_t>(header.argument1));
    }
    if (found == m_messageHandlers.end()) {
        found = m_messageHandlers.find(static_cast<std::int32_t>(header.messageId));
    }
    return found != m_messageHandlers.end() ? found->second : m_defaultHandler;
}

void Core::OnMessage(const Orvane::Platform::CopyDataBlock& received) {
    // The window passes nothing shorter; a block without a whole header carries no message.
    if (received.cbData < sizeof(sLUMOChunk)) {
        return;
    }
    // The sender's block is valid only during its send; handlers get a copy of their own,
    // on the stack when it is as small as most replies are.
    alignas(16) char inPlace[kCopiedInPlace];
    std::unique_ptr<char[]> onHeap;
    char* copy = inPlace;
    if (received.cbData > sizeof inPlace) {
        onHeap = std::make_unique_for_overwrite<char[]>(received.cbData);
        copy = onHeap.get();
    }
    std::memcpy(copy, received.lpData, received.cbData);
    sLUMOChunk header;
    std::memcpy(&header, copy, sizeof(header));
    m_lastMessageTime = CurrentLocalTime();
    ++m_messageCount;

    if (const SharedHandler call = HandlerFor(header)) {
        (*call)(header, copy + sizeof(header), received.cbData - sizeof(header));
    }
}

void Core::Fire(LumoCoreEvent event) {
    const auto found = m_eventHandlers.find(event);
    if (found == m_eventHandlers.end()) {
        return;
    }
    const LumoEventHandler call = found->second;
    call();
}

void Core::OnServerAvailable() {
    Fire(LumoCoreEvent::ServerAvailable);
}

void Core::OnRegistered() {
    m_registrationTime = CurrentLocalTime();
    Fire(LumoCoreEvent::Registered);
}

void Core::OnUnregistered() {
    Fire(LumoCoreEvent::Unregistered);
}

void Core::OnServerDown() {
    Fire(LumoCoreEvent::ServerDown);
}

}  // namespace Quorvel::Lumo::Api
