// The connection core: owns the message window while started, mirrors its connection
// state, sends requests, and routes every received message to the handler of its code.
// A reply (1004) goes to the handler of the code it answers (argument1) when there is one.
// Everything runs on the thread that pumps the window's messages; nothing waits.
#pragma once

#include "platform/local_time.h"
#include "service_api/core/icore.h"
#include "service_api/core/lifetime.h"
#include "service_api/core/listener.h"
#include "service_api/core/windows_messaging_window.h"

#include <cstdint>
#include <map>
#include <memory>

namespace Quorvel::Lumo::Api {

class Core final : public ICore, public Listener {
  public:
    Core() = default;
    // Stops (unregistering when registered) before the handlers go, keeping what a handler
    // throws meanwhile.
    ~Core() override;
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    void SetDefaultHandler(LumoMessageHandler handler) override;
    void AddMessageHandler(std::int32_t messageCode, LumoMessageHandler handler) override;
    std::uint64_t RemoveMessageHandler(std::int32_t messageCode) override;
    void ClearMessageHandlers() override;
    void SetEventHandler(LumoCoreEvent event, LumoEventHandler handler) override;
    XeLUMOResult Send(std::uint32_t messageCode, const void* payload, std::uint32_t payloadSize,
                      std::uint32_t argument1, std::uint32_t argument2) override;
    // 25 also while the core stops.
    XeLUMOResult Start(std::uint32_t alternateRegistration, LumoTransportOptions options) override;
    // A handler may end this core while the unregistration's send lets messages in: Stop
    // then touches nothing more. Every other call out is the last thing its caller does.
    // A registration still being taken is withdrawn before the window goes.
    XeLUMOResult Stop() override;
    // Stop for a destructor: what a handler throws meanwhile is kept for this thread
    // (platform/kept_exception.h), whose next wait for messages throws it.
    void StopKeepingExceptions() noexcept;
    // The window answers 0 without a word when it is registered already: a second Register
    // leaves the core unregistered while the service still counts the client, until the
    // server is lost. 10 when not started, and while the core stops.
    XeLUMOResult Register() override;
    XeLUMOResult Unregister() override;
    // Hands the window a service window learnt without the broadcast; ignored before Start.
    void ServerAvailable(Orvane::Platform::WindowHandle serverWindow);
    bool IsStarted() const override { return m_window != nullptr; }
    // The window's registration takes requests (docs/protocol.md: registered, and inside
    // the unregistration's send).
    bool IsRegistered() const override { return m_window != nullptr && m_window->TakesRequests(); }
    bool IsServerAvailable() const override {
        return m_window != nullptr && m_window->IsServerAvailable();
    }

    // From the message window. A handler's exception leaves through OnMessage, after the
    // received copy was freed; an empty handler raises std::bad_function_call.
    void OnMessage(const Orvane::Platform::CopyDataBlock& received) override;
    void OnServerAvailable() override;
    void OnRegistered() override;
    void OnUnregistered() override;
    void OnServerDown() override;

    // Messages received since construction, also those that nobody handled.
    std::uint32_t MessageCount() const { return m_messageCount; }
    const Orvane::Platform::LocalTime& LastMessageTime() const { return m_lastMessageTime; }
    const Orvane::Platform::LocalTime& RegistrationTime() const { return m_registrationTime; }

  private:
    // Shared, so that a handler is called on a reference of its own (it may replace or
    // remove itself while it runs) without copying the function on every message.
    using SharedHandler = std::shared_ptr<const LumoMessageHandler>;

    SharedHandler HandlerFor(const sLUMOChunk& header) const;
    void Fire(LumoCoreEvent event);

    Orvane::Platform::LocalTime m_registrationTime{};
    Orvane::Platform::LocalTime m_lastMessageTime{};
    std::uint32_t m_messageCount = 0;
    std::unique_ptr<WindowsMessagingWindow> m_window;
    std::map<std::int32_t, SharedHandler> m_messageHandlers;
    std::map<LumoCoreEvent, LumoEventHandler> m_eventHandlers;
    SharedHandler m_defaultHandler;
    bool m_stopping = false;
    Lifetime m_lifetime;
};

}  // namespace Quorvel::Lumo::Api
