// The simulated measuring-arm service: a hidden top-level window that announces itself
// with the "LUMO_SERVERAVAILABLE" broadcast, takes a client's registration through
// WM_COPYDATA and sends it what the script asks for.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "platform/windows_api.h"
#include "tools/common/output.h"
#include "tools/lumo-sim/script.h"
#include "tools/lumo-sim/service_messages.h"

namespace LumoSim {

class SimService {
  public:
    explicit SimService(const LumoTools::Output& output);
    ~SimService();
    SimService(const SimService&) = delete;
    SimService& operator=(const SimService&) = delete;

    // Creates the window and broadcasts it; false when there already is one or creation failed.
    bool CreateServiceWindow();
    // The service vanishes: the window goes and the client is forgotten.
    void DestroyServiceWindow();

    // Runs one script command; false when it failed (a wait timed out, a send was refused).
    bool Run(const Command& command);

  private:
    static LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam,
                                            LPARAM lParam);
    LRESULT OnCopyData(const COPYDATASTRUCT& data);
    void ForgetClient(const char* reason);
    void CheckClientAlive();

    bool Broadcast();
    bool Send(const Command& command);
    // Sends `message` to the window `to` (the registered client, or nobody when none is)
    // and prints it as `event`.
    bool Deliver(const ServiceMessage& message, const char* event, HWND to);
    // Queues the scripted answer to a request; it goes out once the request's send is over.
    void QueueAnswer(std::uint32_t requestId);
    void SendQueuedAnswers();
    bool Wait(const Command& command, const std::function<bool()>& done);
    // Dispatches window messages until `done` holds or `milliseconds` pass.
    bool PumpUntil(std::uint32_t milliseconds, const std::function<bool()>& done);

    const LumoTools::Output& output_;
    SimSettings settings_;
    UINT serverAvailableMessage_;
    HWND window_ = nullptr;
    HWND client_ = nullptr;
    std::map<std::uint32_t, std::uint32_t> receivedCount_;  // by message id
    std::map<std::uint32_t, std::uint32_t> awaitedCount_;   // consumed by wait-message
    std::vector<ServiceMessage> queuedAnswers_;
};

}  // namespace LumoSim
