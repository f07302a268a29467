// What the message window reports to its owner, the core.
#pragma once

#include "platform/message_window.h"

namespace Quorvel::Lumo::Api {

class Listener {
  public:
    virtual ~Listener() = default;
    // A block of at least a chunk header, as the window received it; valid during the call.
    virtual void OnMessage(const Orvane::Platform::CopyDataBlock& received) = 0;
    virtual void OnServerAvailable() = 0;
    virtual void OnRegistered() = 0;
    virtual void OnUnregistered() = 0;
    virtual void OnServerDown() = 0;
};

}  // namespace Quorvel::Lumo::Api
