#include "network/kx_socket_tcpip.h"

namespace Orvane::Network {

std::uint32_t KxSocketTCPIP::Connect(const char* host, unsigned short port, long seconds,
                                     long microseconds) {
    return ConnectAs(SocketKind::Stream, host, port, seconds, microseconds);
}

std::uint32_t KxSocketTCPIP::Listen(unsigned short port, int backlog) {
    return OpenBound(SocketKind::Stream, 0, port, backlog);
}

}  // namespace Orvane::Network
