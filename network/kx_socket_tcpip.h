// The stream kind of the library's socket.
#pragma once

#include "network/kx_socket_base.h"

namespace Orvane::Network {

class KxSocketTCPIP : public KxSocketBase {
  public:
    KxSocketTCPIP() = default;
    ~KxSocketTCPIP() override = default;

    std::uint32_t Connect(const char* host, unsigned short port, long seconds,
                          long microseconds) override;
    // Binds to every local address at `port` and listens with `backlog`.
    std::uint32_t Listen(unsigned short port, int backlog) override;
};

}  // namespace Orvane::Network
