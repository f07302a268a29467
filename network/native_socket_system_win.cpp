// Winsock 2 behind the socket classes in the Windows build.
#include "network/native_socket_system.h"

#include <algorithm>
#include <cstring>

#include "platform/service.h"
#include "platform/windows_api.h"

// After the system headers: s_addr is a macro there.
#include "network/system_address_record.h"

namespace Orvane::Network {
namespace {

SOCKET Native(SocketHandle handle) {
    // The handle is kept in 32 bits; none (all bits set) widens to INVALID_SOCKET.
    return handle == kNoSocket ? INVALID_SOCKET : static_cast<SOCKET>(handle);
}

int Outcome(bool ok) {
    return ok ? 0 : WSAGetLastError();
}

sockaddr_in ToSystem(const SocketAddressV4& address) {
    return ToSystemRecord<sockaddr_in>(address, AF_INET);
}

SocketAddressV4 FromSystem(const sockaddr_in& record) {
    return FromSystemRecord(record);
}

int SetIntOption(SocketHandle handle, int level, int name, int value) {
    return Outcome(setsockopt(Native(handle), level, name, reinterpret_cast<const char*>(&value),
                              sizeof value) == 0);
}

}  // namespace

int NativeSocketSystem::Startup(std::uint16_t requestedVersion, std::uint16_t& grantedVersion) {
    WSADATA data{};
    const int error = WSAStartup(requestedVersion, &data);
    grantedVersion = data.wVersion;
    return error;
}

void NativeSocketSystem::Cleanup() {
    WSACleanup();
}

int NativeSocketSystem::LastError() {
    return WSAGetLastError();
}

int NativeSocketSystem::Open(SocketKind kind, SocketHandle& handle) {
    const SOCKET native = socket(AF_INET, kind == SocketKind::Stream ? SOCK_STREAM : SOCK_DGRAM, 0);
    handle = native == INVALID_SOCKET ? kNoSocket : static_cast<SocketHandle>(native);
    return Outcome(native != INVALID_SOCKET);
}

int NativeSocketSystem::CloseSocket(SocketHandle handle) {
    return Outcome(closesocket(Native(handle)) == 0);
}

int NativeSocketSystem::SetNonBlockingMode(SocketHandle handle, bool nonBlocking) {
    u_long value = nonBlocking ? 1 : 0;
    return Outcome(ioctlsocket(Native(handle), FIONBIO, &value) == 0);
}

int NativeSocketSystem::Bind(SocketHandle handle, const SocketAddressV4& address) {
    const sockaddr_in record = ToSystem(address);
    return Outcome(
        bind(Native(handle), reinterpret_cast<const sockaddr*>(&record), sizeof record) == 0);
}

int NativeSocketSystem::Listen(SocketHandle handle, int backlog) {
    return Outcome(listen(Native(handle), backlog) == 0);
}

int NativeSocketSystem::Connect(SocketHandle handle, const SocketAddressV4& address) {
    const sockaddr_in record = ToSystem(address);
    return Outcome(
        connect(Native(handle), reinterpret_cast<const sockaddr*>(&record), sizeof record) == 0);
}

int NativeSocketSystem::Accept(SocketHandle handle, SocketHandle& accepted, SocketAddressV4& peer) {
    sockaddr_in record{};
    int length = sizeof record;
    const SOCKET native = accept(Native(handle), reinterpret_cast<sockaddr*>(&record), &length);
    if (native == INVALID_SOCKET) {
        return WSAGetLastError();
    }
    accepted = static_cast<SocketHandle>(native);
    peer = FromSystem(record);
    return 0;
}

int NativeSocketSystem::PeerName(SocketHandle handle, SocketAddressV4& peer) {
    sockaddr_in record{};
    int length = sizeof record;
    if (getpeername(Native(handle), reinterpret_cast<sockaddr*>(&record), &length) != 0) {
        return WSAGetLastError();
    }
    peer = FromSystem(record);
    return 0;
}

int NativeSocketSystem::Wait(SocketHandle handle, WaitFor what, const WaitTime* timeout,
                             int& readyCount) {
    fd_set primary;
    fd_set errors;
    FD_ZERO(&primary);
    FD_ZERO(&errors);
    FD_SET(Native(handle), &primary);
    FD_SET(Native(handle), &errors);
    timeval limit{};
    if (timeout != nullptr) {
        limit.tv_sec = timeout->seconds;
        limit.tv_usec = timeout->microseconds;
    }
    const bool writable = what == WaitFor::Writable;
    const int result = select(0, writable ? nullptr : &primary, writable ? &primary : nullptr,
                              what == WaitFor::ReadableOrError ? &errors : nullptr,
                              timeout == nullptr ? nullptr : &limit);
    if (result == SOCKET_ERROR) {
        return WSAGetLastError();
    }
    readyCount = result;
    return 0;
}

int NativeSocketSystem::SendTo(SocketHandle handle, const SocketAddressV4& to, const char* data,
                               unsigned length, unsigned& sent) {
    const sockaddr_in record = ToSystem(to);
    const int result = sendto(Native(handle), data, static_cast<int>(length), 0,
                              reinterpret_cast<const sockaddr*>(&record), sizeof record);
    if (result == SOCKET_ERROR) {
        return WSAGetLastError();
    }
    sent = static_cast<unsigned>(result);
    return 0;
}

int NativeSocketSystem::Send(SocketHandle handle, const char* data, unsigned length,
                             unsigned& sent) {
    const int result = send(Native(handle), data, static_cast<int>(length), 0);
    if (result == SOCKET_ERROR) {
        return WSAGetLastError();
    }
    sent = static_cast<unsigned>(result);
    return 0;
}

int NativeSocketSystem::Receive(SocketHandle handle, char* buffer, unsigned size,
                                unsigned& received) {
    const int result = recv(Native(handle), buffer, static_cast<int>(size), 0);
    if (result == SOCKET_ERROR) {
        return WSAGetLastError();
    }
    received = static_cast<unsigned>(result);
    return 0;
}

int NativeSocketSystem::ReceiveFrom(SocketHandle handle, char* buffer, unsigned size,
                                    unsigned& received, SocketAddressV4& from) {
    sockaddr_in record{};
    int length = sizeof record;
    const int result = recvfrom(Native(handle), buffer, static_cast<int>(size), 0,
                                reinterpret_cast<sockaddr*>(&record), &length);
    if (result == SOCKET_ERROR) {
        return WSAGetLastError();
    }
    received = static_cast<unsigned>(result);
    from = FromSystem(record);
    return 0;
}

int NativeSocketSystem::SetMulticastInterface(SocketHandle handle, std::uint32_t interfaceAddress) {
    in_addr value{};
    value.s_addr = interfaceAddress;
    return Outcome(setsockopt(Native(handle), IPPROTO_IP, IP_MULTICAST_IF,
                              reinterpret_cast<const char*>(&value), sizeof value) == 0);
}

int NativeSocketSystem::ChangeMembership(SocketHandle handle, MembershipChange change,
                                         std::uint32_t group, std::uint32_t interfaceAddress) {
    ip_mreq request{};
    request.imr_multiaddr.s_addr = group;
    request.imr_interface.s_addr = interfaceAddress;
    const int option = change == MembershipChange::Join ? IP_ADD_MEMBERSHIP : IP_DROP_MEMBERSHIP;
    return Outcome(setsockopt(Native(handle), IPPROTO_IP, option,
                              reinterpret_cast<const char*>(&request), sizeof request) == 0);
}

int NativeSocketSystem::SetReceiveBufferSize(SocketHandle handle, int bytes) {
    return SetIntOption(handle, SOL_SOCKET, SO_RCVBUF, bytes);
}

int NativeSocketSystem::SetNoDelay(SocketHandle handle, bool on) {
    return SetIntOption(handle, IPPROTO_TCP, TCP_NODELAY, on ? 1 : 0);
}

int NativeSocketSystem::SetKeepAlive(SocketHandle handle, bool on, unsigned idleMs,
                                     unsigned intervalMs) {
    tcp_keepalive values{};
    values.onoff = on ? 1 : 0;
    values.keepalivetime = idleMs;
    values.keepaliveinterval = intervalMs;
    DWORD returned = 0;
    return Outcome(WSAIoctl(Native(handle), SIO_KEEPALIVE_VALS, &values, sizeof values, nullptr, 0,
                            &returned, nullptr, nullptr) == 0);
}

EventHandle NativeSocketSystem::NewEvent() {
    // WSA_INVALID_EVENT is null, which the classes store like any other value.
    return reinterpret_cast<EventHandle>(WSACreateEvent());
}

void NativeSocketSystem::CloseEvent(EventHandle event) {
    WSACloseEvent(reinterpret_cast<WSAEVENT>(event));
}

int NativeSocketSystem::SelectEvents(SocketHandle handle, EventHandle event,
                                     unsigned networkEvents) {
    long mask = 0;
    if (networkEvents & kReadEvent) {
        mask |= FD_READ;
    }
    if (networkEvents & kCloseEvent) {
        mask |= FD_CLOSE;
    }
    return Outcome(WSAEventSelect(Native(handle), reinterpret_cast<WSAEVENT>(event), mask) == 0);
}

int NativeSocketSystem::EnumNetworkEvents(SocketHandle handle, EventHandle event) {
    WSANETWORKEVENTS events{};
    return Outcome(
        WSAEnumNetworkEvents(Native(handle), reinterpret_cast<WSAEVENT>(event), &events) == 0);
}

int NativeSocketSystem::HostName(char* buffer, unsigned size) {
    return Outcome(gethostname(buffer, static_cast<int>(size)) == 0);
}

int NativeSocketSystem::HostByName(const char* name, HostEntry& entry) {
    entry.addresses.clear();
    const hostent* found = gethostbyname(name);
    if (found == nullptr) {
        return WSAGetLastError();
    }
    if (found->h_addrtype != AF_INET) {
        return WSAHOST_NOT_FOUND;
    }
    const std::size_t length = std::min<std::size_t>(found->h_length, sizeof(std::uint32_t));
    for (char** address = found->h_addr_list; *address != nullptr; ++address) {
        std::uint32_t value = 0;
        std::memcpy(&value, *address, length);
        entry.addresses.push_back(value);
    }
    return 0;
}

int NativeSocketSystem::FindReceiveMessageFunction(SocketHandle handle, void*& function) {
    GUID id = WSAID_WSARECVMSG;
    LPFN_WSARECVMSG found = nullptr;
    DWORD returned = 0;
    if (WSAIoctl(Native(handle), SIO_GET_EXTENSION_FUNCTION_POINTER, &id, sizeof id, &found,
                 sizeof found, &returned, nullptr, nullptr) != 0) {
        return WSAGetLastError();
    }
    function = reinterpret_cast<void*>(found);
    return 0;
}

int NativeSocketSystem::SetPacketInfo(SocketHandle handle, bool on) {
    return SetIntOption(handle, IPPROTO_IP, IP_PKTINFO, on ? 1 : 0);
}

int NativeSocketSystem::ReceiveMessage(void* function, SocketHandle handle, char* buffer,
                                       unsigned size, char* control, unsigned controlLength,
                                       unsigned& received, SocketAddressV4& from,
                                       std::uint32_t& interfaceIndex) {
    sockaddr_in record{};
    WSABUF data{static_cast<ULONG>(size), buffer};
    WSAMSG message{};
    message.name = reinterpret_cast<sockaddr*>(&record);
    message.namelen = sizeof record;
    message.lpBuffers = &data;
    message.dwBufferCount = 1;
    message.Control = WSABUF{static_cast<ULONG>(controlLength), control};
    DWORD count = 0;
    const auto receive = reinterpret_cast<LPFN_WSARECVMSG>(function);
    if (receive(Native(handle), &message, &count, nullptr, nullptr) != 0) {
        return WSAGetLastError();
    }
    received = count;
    from = FromSystem(record);
    interfaceIndex = 0;
    for (WSACMSGHDR* header = WSA_CMSG_FIRSTHDR(&message); header != nullptr;
         header = WSA_CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level == IPPROTO_IP && header->cmsg_type == IP_PKTINFO) {
            IN_PKTINFO info{};
            std::memcpy(&info, WSA_CMSG_DATA(header), sizeof info);
            interfaceIndex = info.ipi_ifindex;
        }
    }
    return 0;
}

}  // namespace Orvane::Network

namespace Orvane::Platform {

template <>
Network::SocketSystem& DefaultService<Network::SocketSystem>() {
    static Network::NativeSocketSystem system;
    return system;
}

}  // namespace Orvane::Platform
