// The operating system's socket interface as the socket classes see it: one call per
// system call they make, each returning 0 or a platform error number in the Windows Sockets
// numbering. The classes hold every rule (what closes a socket, which code a failure
// gives); an implementation only makes the call.
//
// The classes reach the implementation through Orvane::Platform::Get<SocketSystem>():
// NativeSocketSystem (Winsock 2 on Windows, BSD sockets on Linux) unless a test installed a
// fake with ScopedOverride<SocketSystem>.
#pragma once

#include <cstdint>

#include "network/socket_types.h"

namespace Orvane::Network {

class SocketSystem {
  public:
    virtual ~SocketSystem() = default;

    // Library start-up and clean-up, counted like WSAStartup/WSACleanup. `grantedVersion`
    // has the major number in its low byte.
    virtual int Startup(std::uint16_t requestedVersion, std::uint16_t& grantedVersion) = 0;
    virtual void Cleanup() = 0;
    // The error of the calling thread's last socket call.
    virtual int LastError() = 0;

    virtual int Open(SocketKind kind, SocketHandle& handle) = 0;
    virtual int CloseSocket(SocketHandle handle) = 0;
    virtual int SetNonBlockingMode(SocketHandle handle, bool nonBlocking) = 0;
    virtual int Bind(SocketHandle handle, const SocketAddressV4& address) = 0;
    virtual int Listen(SocketHandle handle, int backlog) = 0;
    // A connect that cannot complete at once reports WinsockError::kWouldBlock.
    virtual int Connect(SocketHandle handle, const SocketAddressV4& address) = 0;
    virtual int Accept(SocketHandle handle, SocketHandle& accepted, SocketAddressV4& peer) = 0;
    virtual int PeerName(SocketHandle handle, SocketAddressV4& peer) = 0;
    // `readyCount` is 0 when the time ran out; a null `timeout` waits for ever.
    virtual int Wait(SocketHandle handle, WaitFor what, const WaitTime* timeout,
                     int& readyCount) = 0;

    virtual int SendTo(SocketHandle handle, const SocketAddressV4& to, const char* data,
                       unsigned length, unsigned& sent) = 0;
    virtual int Send(SocketHandle handle, const char* data, unsigned length, unsigned& sent) = 0;
    virtual int Receive(SocketHandle handle, char* buffer, unsigned size, unsigned& received) = 0;
    virtual int ReceiveFrom(SocketHandle handle, char* buffer, unsigned size, unsigned& received,
                            SocketAddressV4& from) = 0;

    // Addresses with their bytes in network order.
    virtual int SetMulticastInterface(SocketHandle handle, std::uint32_t interfaceAddress) = 0;
    virtual int ChangeMembership(SocketHandle handle, MembershipChange change, std::uint32_t group,
                                 std::uint32_t interfaceAddress) = 0;
    virtual int SetReceiveBufferSize(SocketHandle handle, int bytes) = 0;
    virtual int SetNoDelay(SocketHandle handle, bool on) = 0;
    virtual int SetKeepAlive(SocketHandle handle, bool on, unsigned idleMs,
                             unsigned intervalMs) = 0;

    // kNoEvent when no event could be made.
    virtual EventHandle NewEvent() = 0;
    virtual void CloseEvent(EventHandle event) = 0;
    virtual int SelectEvents(SocketHandle handle, EventHandle event, unsigned networkEvents) = 0;
    virtual int EnumNetworkEvents(SocketHandle handle, EventHandle event) = 0;

    virtual int HostName(char* buffer, unsigned size) = 0;
    virtual int HostByName(const char* name, HostEntry& entry) = 0;

    // Receiving with the arriving interface: the system's receive-with-control-data
    // function is looked up once per socket and handed back to each receive.
    virtual int FindReceiveMessageFunction(SocketHandle handle, void*& function) = 0;
    virtual int SetPacketInfo(SocketHandle handle, bool on) = 0;
    virtual int ReceiveMessage(void* function, SocketHandle handle, char* buffer, unsigned size,
                               char* control, unsigned controlLength, unsigned& received,
                               SocketAddressV4& from, std::uint32_t& interfaceIndex) = 0;
};

}  // namespace Orvane::Network
