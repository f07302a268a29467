// BSD sockets behind the socket classes in the Linux build. Every failing call reports its
// errno through Failed(), the one point where errno becomes a Winsock number.
#include "network/native_socket_system.h"
#include "network/system_address_record.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "network/errno_mapping.h"
#include "network/winsock_errors.h"
#include "platform/service.h"

namespace Orvane::Network {
namespace {

thread_local int t_lastError = 0;

// THE errno-to-Winsock point: everything above sees Winsock numbers only.
int Failed() {
    t_lastError = WinsockErrorFromErrno(errno);
    return t_lastError;
}

int Succeeded() {
    t_lastError = 0;
    return 0;
}

int Outcome(bool ok) {
    return ok ? Succeeded() : Failed();
}

int Fd(SocketHandle handle) {
    return static_cast<int>(handle);
}

sockaddr_in ToSystem(const SocketAddressV4& address) {
    return ToSystemRecord<sockaddr_in>(address, AF_INET);
}

SocketAddressV4 FromSystem(const sockaddr_in& record) {
    return FromSystemRecord(record);
}

int SetIntOption(SocketHandle handle, int level, int name, int value) {
    return Outcome(setsockopt(Fd(handle), level, name, &value, sizeof value) == 0);
}

// Linux has no event objects: one records what it was told to watch, so that the
// operations on it behave as on Windows without a socket notifying it.
struct WatchedEvents {
    unsigned networkEvents = kNoNetworkEvents;
};

short PollEventsFor(WaitFor what) {
    switch (what) {
        case WaitFor::Writable:
            return POLLOUT;
        case WaitFor::ReadableOrError:
            return POLLIN | POLLPRI;
        case WaitFor::Readable:
        default:
            return POLLIN;
    }
}

}  // namespace

int NativeSocketSystem::Startup(std::uint16_t requestedVersion, std::uint16_t& grantedVersion) {
    // The BSD interface needs no start-up: grant what was asked.
    grantedVersion = requestedVersion;
    return 0;
}

void NativeSocketSystem::Cleanup() {}

int NativeSocketSystem::LastError() {
    return t_lastError;
}

int NativeSocketSystem::Open(SocketKind kind, SocketHandle& handle) {
    const int fd = socket(AF_INET, kind == SocketKind::Stream ? SOCK_STREAM : SOCK_DGRAM, 0);
    handle = fd < 0 ? kNoSocket : static_cast<SocketHandle>(fd);
    return Outcome(fd >= 0);
}

int NativeSocketSystem::CloseSocket(SocketHandle handle) {
    return Outcome(close(Fd(handle)) == 0);
}

int NativeSocketSystem::SetNonBlockingMode(SocketHandle handle, bool nonBlocking) {
    // One system call, as on Windows: the announcer switches before every announcement.
    int on = nonBlocking ? 1 : 0;
    return Outcome(ioctl(Fd(handle), FIONBIO, &on) == 0);
}

int NativeSocketSystem::Bind(SocketHandle handle, const SocketAddressV4& address) {
    const sockaddr_in record = ToSystem(address);
    return Outcome(bind(Fd(handle), reinterpret_cast<const sockaddr*>(&record), sizeof record) ==
                   0);
}

int NativeSocketSystem::Listen(SocketHandle handle, int backlog) {
    return Outcome(listen(Fd(handle), backlog) == 0);
}

int NativeSocketSystem::Connect(SocketHandle handle, const SocketAddressV4& address) {
    const sockaddr_in record = ToSystem(address);
    if (connect(Fd(handle), reinterpret_cast<const sockaddr*>(&record), sizeof record) == 0) {
        return Succeeded();
    }
    // A non-blocking connect under way is "would block" in Winsock's terms.
    if (errno == EINPROGRESS) {
        t_lastError = WinsockError::kWouldBlock;
        return t_lastError;
    }
    return Failed();
}

int NativeSocketSystem::Accept(SocketHandle handle, SocketHandle& accepted, SocketAddressV4& peer) {
    sockaddr_in record{};
    socklen_t length = sizeof record;
    const int fd = accept(Fd(handle), reinterpret_cast<sockaddr*>(&record), &length);
    if (fd < 0) {
        return Failed();
    }
    accepted = static_cast<SocketHandle>(fd);
    peer = FromSystem(record);
    return Succeeded();
}

int NativeSocketSystem::PeerName(SocketHandle handle, SocketAddressV4& peer) {
    sockaddr_in record{};
    socklen_t length = sizeof record;
    if (getpeername(Fd(handle), reinterpret_cast<sockaddr*>(&record), &length) != 0) {
        return Failed();
    }
    peer = FromSystem(record);
    return Succeeded();
}

int NativeSocketSystem::Wait(SocketHandle handle, WaitFor what, const WaitTime* timeout,
                             int& readyCount) {
    pollfd entry{Fd(handle), PollEventsFor(what), 0};
    const int milliseconds =
        timeout == nullptr
            ? -1
            : static_cast<int>(timeout->seconds * 1000 + (timeout->microseconds + 999) / 1000);
    const int result = poll(&entry, 1, milliseconds);
    if (result < 0) {
        return Failed();
    }
    readyCount = result;
    return Succeeded();
}

int NativeSocketSystem::SendTo(SocketHandle handle, const SocketAddressV4& to, const char* data,
                               unsigned length, unsigned& sent) {
    const sockaddr_in record = ToSystem(to);
    const ssize_t result = sendto(Fd(handle), data, length, MSG_NOSIGNAL,
                                  reinterpret_cast<const sockaddr*>(&record), sizeof record);
    if (result < 0) {
        return Failed();
    }
    sent = static_cast<unsigned>(result);
    return Succeeded();
}

int NativeSocketSystem::Send(SocketHandle handle, const char* data, unsigned length,
                             unsigned& sent) {
    const ssize_t result = send(Fd(handle), data, length, MSG_NOSIGNAL);
    if (result < 0) {
        return Failed();
    }
    sent = static_cast<unsigned>(result);
    return Succeeded();
}

int NativeSocketSystem::Receive(SocketHandle handle, char* buffer, unsigned size,
                                unsigned& received) {
    const ssize_t result = recv(Fd(handle), buffer, size, 0);
    if (result < 0) {
        return Failed();
    }
    received = static_cast<unsigned>(result);
    return Succeeded();
}

int NativeSocketSystem::ReceiveFrom(SocketHandle handle, char* buffer, unsigned size,
                                    unsigned& received, SocketAddressV4& from) {
    sockaddr_in record{};
    socklen_t length = sizeof record;
    const ssize_t result =
        recvfrom(Fd(handle), buffer, size, 0, reinterpret_cast<sockaddr*>(&record), &length);
    if (result < 0) {
        return Failed();
    }
    received = static_cast<unsigned>(result);
    from = FromSystem(record);
    return Succeeded();
}

int NativeSocketSystem::SetMulticastInterface(SocketHandle handle, std::uint32_t interfaceAddress) {
    in_addr value{};
    value.s_addr = interfaceAddress;
    return Outcome(setsockopt(Fd(handle), IPPROTO_IP, IP_MULTICAST_IF, &value, sizeof value) == 0);
}

int NativeSocketSystem::ChangeMembership(SocketHandle handle, MembershipChange change,
                                         std::uint32_t group, std::uint32_t interfaceAddress) {
    ip_mreq request{};
    request.imr_multiaddr.s_addr = group;
    request.imr_interface.s_addr = interfaceAddress;
    const int option = change == MembershipChange::Join ? IP_ADD_MEMBERSHIP : IP_DROP_MEMBERSHIP;
    return Outcome(setsockopt(Fd(handle), IPPROTO_IP, option, &request, sizeof request) == 0);
}

int NativeSocketSystem::SetReceiveBufferSize(SocketHandle handle, int bytes) {
    return SetIntOption(handle, SOL_SOCKET, SO_RCVBUF, bytes);
}

int NativeSocketSystem::SetNoDelay(SocketHandle handle, bool on) {
    return SetIntOption(handle, IPPROTO_TCP, TCP_NODELAY, on ? 1 : 0);
}

int NativeSocketSystem::SetKeepAlive(SocketHandle handle, bool on, unsigned idleMs,
                                     unsigned intervalMs) {
    if (const int error = SetIntOption(handle, SOL_SOCKET, SO_KEEPALIVE, on ? 1 : 0);
        error != 0 || !on) {
        return error;
    }
    // Linux counts these in whole seconds, at least one.
    auto seconds = [](unsigned ms) { return static_cast<int>(ms < 1000 ? 1 : ms / 1000); };
    if (const int error = SetIntOption(handle, IPPROTO_TCP, TCP_KEEPIDLE, seconds(idleMs));
        error != 0) {
        return error;
    }
    return SetIntOption(handle, IPPROTO_TCP, TCP_KEEPINTVL, seconds(intervalMs));
}

EventHandle NativeSocketSystem::NewEvent() {
    return reinterpret_cast<EventHandle>(new WatchedEvents);
}

void NativeSocketSystem::CloseEvent(EventHandle event) {
    delete reinterpret_cast<WatchedEvents*>(event);
}

int NativeSocketSystem::SelectEvents(SocketHandle /*handle*/, EventHandle event,
                                     unsigned networkEvents) {
    reinterpret_cast<WatchedEvents*>(event)->networkEvents = networkEvents;
    return Succeeded();
}

int NativeSocketSystem::EnumNetworkEvents(SocketHandle handle, EventHandle /*event*/) {
    // Reading the pending events is all there is to do: they are not reported.
    pollfd entry{Fd(handle), POLLIN, 0};
    return Outcome(poll(&entry, 1, 0) >= 0);
}

int NativeSocketSystem::HostName(char* buffer, unsigned size) {
    return Outcome(gethostname(buffer, size) == 0);
}

int NativeSocketSystem::HostByName(const char* name, HostEntry& entry) {
    entry.addresses.clear();
    const hostent* found = gethostbyname(name);
    if (found == nullptr || found->h_addrtype != AF_INET) {
        t_lastError = found == nullptr && h_errno == TRY_AGAIN ? WinsockError::kTryAgain
                                                               : WinsockError::kHostNotFound;
        return t_lastError;
    }
    const std::size_t length = std::min<std::size_t>(found->h_length, sizeof(std::uint32_t));
    for (char** address = found->h_addr_list; *address != nullptr; ++address) {
        std::uint32_t value = 0;
        std::memcpy(&value, *address, length);
        entry.addresses.push_back(value);
    }
    return Succeeded();
}

int NativeSocketSystem::FindReceiveMessageFunction(SocketHandle /*handle*/, void*& function) {
    function = reinterpret_cast<void*>(&recvmsg);
    return Succeeded();
}

int NativeSocketSystem::SetPacketInfo(SocketHandle handle, bool on) {
    return SetIntOption(handle, IPPROTO_IP, IP_PKTINFO, on ? 1 : 0);
}

int NativeSocketSystem::ReceiveMessage(void* function, SocketHandle handle, char* buffer,
                                       unsigned size, char* /*control*/, unsigned /*controlLength*/,
                                       unsigned& received, SocketAddressV4& from,
                                       std::uint32_t& interfaceIndex) {
    // Linux's control header is wider than Winsock's, so the caller's 24-byte buffer
    // cannot hold the packet information: use one sized for it.
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))] = {};
    sockaddr_in record{};
    iovec data{buffer, size};
    msghdr message{};
    message.msg_name = &record;
    message.msg_namelen = sizeof record;
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    auto* receive = reinterpret_cast<ssize_t (*)(int, msghdr*, int)>(function);
    const ssize_t result = receive(Fd(handle), &message, 0);
    if (result < 0) {
        return Failed();
    }
    received = static_cast<unsigned>(result);
    from = FromSystem(record);
    interfaceIndex = 0;
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
         header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level == IPPROTO_IP && header->cmsg_type == IP_PKTINFO) {
            in_pktinfo info{};
            std::memcpy(&info, CMSG_DATA(header), sizeof info);
            interfaceIndex = static_cast<std::uint32_t>(info.ipi_ifindex);
        }
    }
    return Succeeded();
}

}  // namespace Orvane::Network

namespace Orvane::Platform {

template <>
Network::SocketSystem& DefaultService<Network::SocketSystem>() {
    static Network::NativeSocketSystem system;
    return system;
}

}  // namespace Orvane::Platform
