// An IPv4 socket of the library: one handle, its event object and its blocking mode.
// Every operation returns 0 or a result code (network/socket_results.h), never throws,
// and logs nothing. Which failures close the socket is part of each operation's contract:
// callers find out that they must reopen by GetSocket() returning kNoSocket.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "network/socket_types.h"

namespace Orvane::Network {

class KxSocketBase {
  public:
    // Starts the platform's socket library for the object's lifetime (result ignored).
    KxSocketBase();
    // Closes, then balances the constructor's start-up.
    virtual ~KxSocketBase();
    KxSocketBase(const KxSocketBase&) = delete;
    KxSocketBase& operator=(const KxSocketBase&) = delete;

    // TranslateError of the calling thread's last platform socket error.
    virtual std::uint32_t GetLastSocketError();
    // The raw bytes of the peer's address record from its third byte on (port and address,
    // not a dotted text), up to the first zero byte; always 0.
    virtual std::uint32_t GetPeerName(std::string& out);
    // Closes the event and the socket if a socket is open; harmless when none is. Always 0.
    virtual std::uint32_t Close();
    // Creates the socket of the object's kind if none is open and connects it without
    // blocking longer than the given time.
    virtual std::uint32_t Connect(const char* host, unsigned short port, long seconds,
                                  long microseconds) = 0;
    // Opens a socket of the object's kind bound to every local address at `port`.
    virtual std::uint32_t Listen(unsigned short port, int backlog) = 0;
    virtual std::uint32_t Send(const char* data, unsigned int length, unsigned int& sent);
    virtual std::uint32_t Receive(char* buffer, unsigned int size, unsigned int& received);

    SocketHandle GetSocket() const { return m_socket; }
    EventHandle GetEvent() const { return m_event; }
    bool IsBlocking() const { return m_blocking; }
    const SocketAddressV4& GetPeerAddress() const { return m_peerAddress; }

    // Version 2.2 of the platform's socket library, exactly.
    std::uint32_t StartWinsock();
    // Failure closes the socket (kBlockingModeNotChanged).
    std::uint32_t SetNonBlocking();
    std::uint32_t SetBlocking();

    // Failure leaves the socket open.
    std::uint32_t SetMulticastSendInterface(const char* address);
    // `sent` is what the system took (a short send is no error); failure leaves the socket
    // open and `sent` 0.
    std::uint32_t SendTo(const char* host, unsigned short port, const char* data,
                         unsigned int length, unsigned int& sent);
    std::uint32_t ReceiveFrom(char* buffer, unsigned int size, unsigned int& received,
                              char* hostText, unsigned int hostSize, unsigned short& port);

    // The local host's addresses as dotted texts, in the resolver's order.
    std::uint32_t GetLocalAddresses(std::vector<std::string>& out);
    // `name` null looks up the local host's own name.
    std::uint32_t LookupHost(const char* name, HostEntry& out);
    std::uint32_t GetHostAddress(const char* name, std::string& out);

    // A time-out leaves `client` untouched and returns 0.
    std::uint32_t Accept(KxSocketBase& client, long seconds, long microseconds);
    std::uint32_t AcceptAndClose();

    std::uint32_t EnableEvents();
    std::uint32_t DisableEvents();
    std::uint32_t EnumEvents();

    std::uint32_t JoinMulticastGroup(const char* group, const char* interfaceAddress);
    std::uint32_t LeaveMulticastGroup(const char* group);
    bool IsSameSubnet(const char* address, const char* mask, const char* other);

    std::uint32_t SetKeepAlive(bool on, unsigned int seconds, unsigned int intervalSeconds);
    std::uint32_t SetReceiveBufferSize();
    std::uint32_t SetNoDelay();

    std::uint32_t WaitReadable(int& count, long seconds, long microseconds);
    std::uint32_t WaitReadableOrError(bool& ready, long seconds, long microseconds);

    // The library's code for a platform socket error number.
    static std::uint32_t TranslateError(int platformError);

  protected:
    // The shared body of Connect for both kinds.
    std::uint32_t ConnectAs(SocketKind kind, const char* host, unsigned short port, long seconds,
                            long microseconds);
    // The shared body of Listen and Bind: a stream socket also listens.
    std::uint32_t OpenBound(SocketKind kind, std::uint32_t address, unsigned short port,
                            int backlog);
    // Replaces the event object; failure closes the socket (kNoEventObject).
    std::uint32_t RenewEvent();

    SocketHandle m_socket = kNoSocket;
    SocketAddressV4 m_peerAddress{};
    EventHandle m_event = kNoEvent;
    bool m_blocking = true;
};

}  // namespace Orvane::Network
