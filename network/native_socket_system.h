// The build's own socket system: Winsock 2 in the Windows build
// (native_socket_system_win.cpp), BSD sockets with errno mapped onto the Winsock numbering
// in the Linux build (native_socket_system_posix.cpp).
#pragma once

#include "network/socket_system.h"

namespace Orvane::Network {

class NativeSocketSystem final : public SocketSystem {
  public:
    int Startup(std::uint16_t requestedVersion, std::uint16_t& grantedVersion) override;
    void Cleanup() override;
    int LastError() override;

    int Open(SocketKind kind, SocketHandle& handle) override;
    int CloseSocket(SocketHandle handle) override;
    int SetNonBlockingMode(SocketHandle handle, bool nonBlocking) override;
    int Bind(SocketHandle handle, const SocketAddressV4& address) override;
    int Listen(SocketHandle handle, int backlog) override;
    int Connect(SocketHandle handle, const SocketAddressV4& address) override;
    int Accept(SocketHandle handle, SocketHandle& accepted, SocketAddressV4& peer) override;
    int PeerName(SocketHandle handle, SocketAddressV4& peer) override;
    int Wait(SocketHandle handle, WaitFor what, const WaitTime* timeout, int& readyCount) override;

    int SendTo(SocketHandle handle, const SocketAddressV4& to, const char* data, unsigned length,
               unsigned& sent) override;
    int Send(SocketHandle handle, const char* data, unsigned length, unsigned& sent) override;
    int Receive(SocketHandle handle, char* buffer, unsigned size, unsigned& received) override;
    int ReceiveFrom(SocketHandle handle, char* buffer, unsigned size, unsigned& received,
                    SocketAddressV4& from) override;

    int SetMulticastInterface(SocketHandle handle, std::uint32_t interfaceAddress) override;
    int ChangeMembership(SocketHandle handle, MembershipChange change, std::uint32_t group,
                         std::uint32_t interfaceAddress) override;
    int SetReceiveBufferSize(SocketHandle handle, int bytes) override;
    int SetNoDelay(SocketHandle handle, bool on) override;
    int SetKeepAlive(SocketHandle handle, bool on, unsigned idleMs, unsigned intervalMs) override;

    EventHandle NewEvent() override;
    void CloseEvent(EventHandle event) override;
    int SelectEvents(SocketHandle handle, EventHandle event, unsigned networkEvents) override;
    int EnumNetworkEvents(SocketHandle handle, EventHandle event) override;

    int HostName(char* buffer, unsigned size) override;
    int HostByName(const char* name, HostEntry& entry) override;

    int FindReceiveMessageFunction(SocketHandle handle, void*& function) override;
    int SetPacketInfo(SocketHandle handle, bool on) override;
    int ReceiveMessage(void* function, SocketHandle handle, char* buffer, unsigned size,
                       char* control, unsigned controlLength, unsigned& received,
                       SocketAddressV4& from, std::uint32_t& interfaceIndex) override;
};

}  // namespace Orvane::Network
