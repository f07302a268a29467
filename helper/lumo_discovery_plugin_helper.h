// The helper process's one object: the service client, the owner of the announcement and
// of the identified instrument, and the end of the plug-in's channel.
//
//   constructed -> Initialize (0 ready, -1 failed) -> Run (until the plug-in's exit
//   message, a channel failure or a wait failure) -> DeInitialize -> destroyed
//
// Everything runs on the process's one thread, the service's callbacks included (they
// arrive from the window messages that Run dispatches). The only exception is
// ConsoleCtrlHandler, which the system calls on a thread of its own.
#pragma once

#include <atomic>
#include <cstdint>

#include "announce/dds_announcement.h"
#include "announce/dds_instrument_info.h"
#include "helper/error_handlers.h"
#include "lumo/api/client.h"
#include "platform/kernel_handle.h"

class LumoDiscoveryPluginHelper : public IThreadErrorHandler, public Quorvel::Lumo::Api::Client {
  public:
    LumoDiscoveryPluginHelper();
    ~LumoDiscoveryPluginHelper() override;
    LumoDiscoveryPluginHelper(const LumoDiscoveryPluginHelper&) = delete;
    LumoDiscoveryPluginHelper& operator=(const LumoDiscoveryPluginHelper&) = delete;

    // Opens the stop event and both channels; 0 on success, -1 on failure. In debug mode a
    // missing plug-in channel is no failure.
    int Initialize(bool debugMode);
    // Closes what Initialize opened, except the plug-in's channel; safe to repeat; 0.
    int DeInitialize();
    // The loop: 0 after the plug-in's exit message, -1 after a failure in the loop, or the
    // channel library's code when the channel's data-ready event is not available.
    int Run();
    // Initialize, Run, DeInitialize, under a guard that turns a machine fault or an
    // escaping exception into a crash dump and a normal return, also when it happens in one
    // of the service's callbacks; a run ended that way withdraws the announcement
    // afterwards.
    void Execute(bool debugMode);

    // The console's control events; a Windows BOOL. Sends PluginMsgExit to the plug-in
    // when the console closes or the session ends.
    static int ConsoleCtrlHandler(std::uint32_t eventType);

    // Sends PluginMsgError with the text to the plug-in, if there is one; always 0.
    int ReportErrorToPlugin(const char* text);
    // Sends PluginMsgExit to the plug-in, if there is one: the write's result, else 0.
    std::uint32_t SendUserLoggedMessage();

    // IThreadErrorHandler
    void OnSpontaneousError(std::uint32_t errorCode) override;
    void NotifyUserLogged() override;
    void OnUnhandledException(std::uint32_t exceptionCode) override;

    // Quorvel::Lumo::Api::Client
    void OnConnectedToServer() override;
    void OnInstrumentData(const std::uint8_t* record) override;
    void OnReliableMeasurement(const std::uint8_t* measurement) override;
    void OnServerDown() override;
    void OnUnreliableMeasurement(const std::uint8_t* measurement) override;

    // Inspection.
    const DdsInstrumentInfo& InstrumentInfo() const { return instrumentInfo; }
    bool ConnectedToServer() const { return connectedToServer != 0; }
    bool InstrumentAnnounced() const { return instrumentAnnounced != 0; }
    Orvane::Platform::KernelHandle StopEvent() const { return stopEvent; }
    std::uint32_t OwnChannel() const { return ownChannel; }
    std::uint32_t PluginChannel() const { return pluginChannel.load(); }

  private:
    // Steps 5.1 to 5.8 of the loop: the result of Run before the final withdrawal.
    int RunLoop(Orvane::Platform::KernelHandle dataReady, char* receiveBuffer);
    // After a failed read or wait: the error goes to the plug-in, the loop ends with -1.
    int FailLoop(const char* failureText);
    // Starts the service client when it is neither connected nor started.
    void StartClientIfNeeded();
    std::uint32_t SendToPlugin(std::uint32_t code, const void* data, std::uint32_t length);

    DdsAnnouncement announcement;
    DdsInstrumentInfo instrumentInfo;
    std::uint8_t connectedToServer;
    std::uint8_t instrumentAnnounced;
    Orvane::Platform::KernelHandle stopEvent;
    std::uint32_t ownChannel;
    // Read by the console control handler on the system's thread too.
    std::atomic<std::uint32_t> pluginChannel;
};
