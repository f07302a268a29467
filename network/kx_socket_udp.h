// The datagram kind of the library's socket, with receiving that tells the arriving
// interface.
#pragma once

#include "network/kx_socket_base.h"

namespace Orvane::Network {

class KxSocketUDP : public KxSocketBase {
  public:
    KxSocketUDP() = default;
    ~KxSocketUDP() override;

    std::uint32_t Connect(const char* host, unsigned short port, long seconds,
                          long microseconds) override;
    // Binds to every local address at `port`; `backlog` is not used by datagrams.
    std::uint32_t Listen(unsigned short port, int backlog) override;
    // Creates the socket if none is open (an open one is kept), makes it non-blocking and
    // gives it a new event object. Any failure closes it.
    virtual std::uint32_t OpenSocket();
    // As Listen, bound to the given dotted address.
    virtual std::uint32_t Bind(const char* address, unsigned short port);

    // Once per object: looks up the system's receive-with-control-data function and asks
    // for packet information.
    std::uint32_t EnablePacketInfo();
    std::uint32_t ReceiveFromWithInterface(char* buffer, unsigned int size, unsigned int& received,
                                           char* hostText, unsigned int hostSize,
                                           unsigned short& port, std::uint32_t& interfaceIndex);

  private:
    static constexpr unsigned int kControlBufferLength = 24;

    void* m_receiveMessageFunction = nullptr;
    char* m_controlBuffer = nullptr;
    std::uint32_t m_controlBufferLength = 0;
};

}  // namespace Orvane::Network
