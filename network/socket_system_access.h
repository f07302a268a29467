// The socket system the socket classes talk to: the build's own, or a test's fake.
#pragma once

#include "network/socket_system.h"
#include "platform/service.h"

namespace Orvane::Network {

inline SocketSystem& System() {
    return Orvane::Platform::Get<SocketSystem>();
}

}  // namespace Orvane::Network
