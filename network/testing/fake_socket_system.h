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

    // The next call of the operation `name` (the method's name) fails with `error` (a
    // failing NewEvent gives no event); calling it again queues a failure for each
    // following call.
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
    void Cleanup() override { ++cleanups; }
    int LastError() override { return m_lastError; }

    int Open(SocketKind kind, SocketHandle& handle) override;
    int CloseSocket(SocketHandle handle) override;
    int SetNonBlockingMode(SocketHandle, bool) override { return Call("SetNonBlockingMode"); }
    int Bind(SocketHandle, const SocketAddressV4&) override { return Call("Bind"); }
    int Listen(SocketHandle, int) override { return Call("Listen"); }
    int Connect(SocketHandle, const SocketAddressV4&) override { return Call("Connect"); }
    int Accept(SocketHandle handle, SocketHandle& accepted, SocketAddressV4& peer) override;
    int PeerName(SocketHandle, SocketAddressV4&) override { return Call("PeerName"); }
    int Wait(SocketHandle handle, WaitFor what, const WaitTime* timeout, int& readyCount) override;

    int SendTo(SocketHandle handle, const SocketAddressV4& to, const char* data, unsigned length,
               unsigned& sent) override;
    int Send(SocketHandle handle, const char* data, unsigned length, unsigned& sent) override;
    int Receive(SocketHandle, char*, unsigned, unsigned& received) override {
        received = 0;
        return Call("Receive");
    }
    int ReceiveFrom(SocketHandle, char*, unsigned, unsigned& received, SocketAddressV4&) override {
        received = 0;
        return Call("ReceiveFrom");
    }

    int SetMulticastInterface(SocketHandle handle, std::uint32_t interfaceAddress) override;
    int ChangeMembership(SocketHandle, MembershipChange, std::uint32_t, std::uint32_t) override {
        return Call("ChangeMembership");
    }
    int SetReceiveBufferSize(SocketHandle, int) override { return Call("SetReceiveBufferSize"); }
    int SetNoDelay(SocketHandle, bool) override { return Call("SetNoDelay"); }
    int SetKeepAlive(SocketHandle, bool, unsigned, unsigned) override {
        return Call("SetKeepAlive");
    }

    EventHandle NewEvent() override;
    void CloseEvent(EventHandle) override {
        calls.push_back("CloseEvent");
        --openEvents;
    }
    int SelectEvents(SocketHandle, EventHandle, unsigned) override { return Call("SelectEvents"); }
    int EnumNetworkEvents(SocketHandle, EventHandle) override { return Call("EnumNetworkEvents"); }

    int HostName(char* buffer, unsigned size) override;
    int HostByName(const char* name, HostEntry& entry) override;

    int FindReceiveMessageFunction(SocketHandle, void*& function) override {
        function = this;
        return Call("FindReceiveMessageFunction");
    }
    int SetPacketInfo(SocketHandle, bool) override { return Call("SetPacketInfo"); }
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
