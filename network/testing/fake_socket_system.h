// An in-process socket system for tests: hands out handles, records what the socket
// classes asked for and fails the calls a test scripts, with Winsock error numbers.
//
//   FakeSocketSystem fake;
//   Orvane::Platform::ScopedOverride<SocketSystem> use(fake);
//   fake.FailNext("SendTo", 10051);      // the next SendTo fails, later ones succeed
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "network/socket_system.h"

namespace Orvane::Network::Testing {

class FakeSocketSystem final : public SocketSystem {
  public:
    struct Datagram {
        SocketHandle socket;
        std::string sendInterface;  // the socket's multicast send interface, "" if not set
        std::string destination;
        unsigned short port;
        std::vector<unsigned char> bytes;
    };

    // The next call of the operation `name` (the method's name) fails with `error`;
    // calling it again queues a failure for each following call.
    void FailNext(const std::string& name, int error);

    // What the host-name look-up finds; `hostLookupError` non-zero makes it fail.
    std::vector<std::string> hostAddresses;
    int hostNameError = 0;
    int hostLookupError = 0;
    // Start-up outcome.
    int startupError = 0;
    std::uint16_t grantedVersion = 0x0202;
    // What Wait reports when it does not fail (0 = the time ran out).
    int waitReadyCount = 1;
    // Makes NewEvent return this value instead of a fresh event.
    bool newEventFails = false;

    // Inspection.
    std::vector<Datagram> sent;
    std::vector<std::string> calls;  // every operation called, by name, in order
    std::vector<SocketHandle> closedSockets;
    int startups = 0;
    int cleanups = 0;
    int openEvents = 0;
    int CallCount(const std::string& name) const;
    bool IsOpen(SocketHandle handle) const;

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

  private:
    // Records the call and returns its scripted outcome (0 when none is queued).
    int Call(const std::string& name);

    std::map<std::string, std::deque<int>> m_failures;
    std::map<SocketHandle, std::string> m_sendInterfaces;
    std::vector<SocketHandle> m_open;
    SocketHandle m_nextHandle = 100;
    EventHandle m_nextEvent = 1;
    int m_lastError = 0;
};

}  // namespace Orvane::Network::Testing
