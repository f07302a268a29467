#include "network/kx_socket_base.h"

#include <cstdlib>
#include <cstring>

#include "network/address_text.h"
#include "network/sender_description.h"
#include "network/socket_results.h"
#include "network/socket_system_access.h"
#include "network/winsock_errors.h"

namespace Orvane::Network {
namespace {

constexpr std::uint16_t kWinsockVersion = 0x0202;  // 2.2, major in the low byte
constexpr unsigned kHostNameBufferSize = 256;
constexpr int kReceiveBufferBytes = 131070;
constexpr const char* kLoopbackAddress = "127.0.0.1";

std::uint32_t StartupFailureCode(int error) {
    switch (error) {
        case WinsockError::kSystemNotReady:
            return SocketResult::kStartupSystemNotReady;
        case WinsockError::kVersionNotSupported:
            return SocketResult::kStartupVersionNotSupported;
        case WinsockError::kInProgress:
            return SocketResult::kStartupInProgress;
        case WinsockError::kProcessLimit:
            return SocketResult::kStartupProcessLimit;
        case WinsockError::kFault:
            return SocketResult::kStartupFault;
        default:
            return SocketResult::kStartupFailed;
    }
}

SocketAddressV4 MakeAddress(std::uint32_t address, unsigned short port) {
    SocketAddressV4 record;
    record.port = PortToNetworkOrder(port);
    record.address = address;
    return record;
}

// Multicast groups are told by their first number alone, read as atoi does.
bool IsMulticastGroupText(const char* group) {
    if (group == nullptr) {
        return false;
    }
    const int first = std::atoi(group);
    return first >= 224 && first <= 247;
}

struct Octets {
    int value[4] = {};
};

// Each dotted part read with atoi; missing parts read as 0.
Octets ReadOctets(const char* text) {
    Octets octets;
    for (int i = 0; i < 4 && text != nullptr; ++i) {
        octets.value[i] = std::atoi(text);
        text = std::strchr(text, '.');
        if (text != nullptr) {
            ++text;
        }
    }
    return octets;
}

bool EqualUnderMask(const Octets& a, const Octets& mask, const Octets& b) {
    for (int i = 0; i < 4; ++i) {
        if ((a.value[i] & mask.value[i]) != (b.value[i] & mask.value[i])) {
            return false;
        }
    }
    return true;
}

// Every call that takes the handle fails alike on both platforms when there is none.
template <class... Params, class... Args>
int CallOnSocket(SocketHandle socket, int (SocketSystem::*call)(SocketHandle, Params...),
                 Args&&... args) {
    if (socket == kNoSocket) {
        return WinsockError::kNotASocket;
    }
    return (System().*call)(socket, std::forward<Args>(args)...);
}

}  // namespace

KxSocketBase::KxSocketBase() {
    StartWinsock();
}

KxSocketBase::~KxSocketBase() {
    KxSocketBase::Close();
    System().Cleanup();
}

std::uint32_t KxSocketBase::StartWinsock() {
    std::uint16_t granted = 0;
    const int error = System().Startup(kWinsockVersion, granted);
    if (error != 0) {
        System().Cleanup();
        return StartupFailureCode(error);
    }
    if (granted != kWinsockVersion) {
        System().Cleanup();
        return SocketResult::kStartupWrongVersion;
    }
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::GetLastSocketError() {
    return TranslateError(System().LastError());
}

std::uint32_t KxSocketBase::GetPeerName(std::string& out) {
    SocketAddressV4 peer;
    CallOnSocket(m_socket, &SocketSystem::PeerName, peer);
    // The record holds 14 bytes from its third byte on; the text ends at the first zero.
    const auto* bytes = reinterpret_cast<const char*>(&peer) + 2;
    out.assign(bytes, strnlen(bytes, sizeof peer - 2));
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::Close() {
    if (m_socket == kNoSocket) {
        return SocketResult::kOk;
    }
    if (m_event != kNoEvent) {
        System().CloseEvent(m_event);
        m_event = kNoEvent;
    }
    System().CloseSocket(m_socket);
    m_socket = kNoSocket;
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::Send(const char* data, unsigned int length, unsigned int& sent) {
    const int error = CallOnSocket(m_socket, &SocketSystem::Send, data, length, sent);
    if (error != 0) {
        sent = 0;
        return error == WinsockError::kWouldBlock ? SocketResult::kWouldBlock
                                                  : SocketResult::kSendFailed;
    }
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::Receive(char* buffer, unsigned int size, unsigned int& received) {
    const int error = CallOnSocket(m_socket, &SocketSystem::Receive, buffer, size, received);
    if (error != 0) {
        received = 0;
        return TranslateError(error);
    }
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::SetNonBlocking() {
    if (CallOnSocket(m_socket, &SocketSystem::SetNonBlockingMode, true) != 0) {
        Close();
        return SocketResult::kBlockingModeNotChanged;
    }
    m_blocking = false;
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::SetBlocking() {
    if (CallOnSocket(m_socket, &SocketSystem::SetNonBlockingMode, false) != 0) {
        Close();
        return SocketResult::kBlockingModeNotChanged;
    }
    m_blocking = true;
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::SetMulticastSendInterface(const char* address) {
    if (address == nullptr) {
        return TranslateError(WinsockError::kFault);
    }
    return TranslateError(
        CallOnSocket(m_socket, &SocketSystem::SetMulticastInterface, AddressFromText(address)));
}

std::uint32_t KxSocketBase::SendTo(const char* host, unsigned short port, const char* data,
                                   unsigned int length, unsigned int& sent) {
    sent = 0;
    if (host == nullptr || (data == nullptr && length > 0)) {
        return TranslateError(WinsockError::kFault);
    }
    unsigned int taken = 0;
    const int error = CallOnSocket(m_socket, &SocketSystem::SendTo,
                                   MakeAddress(AddressFromText(host), port), data, length, taken);
    if (error != 0) {
        return TranslateError(error);
    }
    sent = taken;
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::ReceiveFrom(char* buffer, unsigned int size, unsigned int& received,
                                        char* hostText, unsigned int hostSize,
                                        unsigned short& port) {
    SocketAddressV4 from;
    int error;
    // A datagram socket reports an earlier send's port-unreachable as a reset: skip it.
    do {
        error = CallOnSocket(m_socket, &SocketSystem::ReceiveFrom, buffer, size, received, from);
    } while (error == WinsockError::kConnectionReset);
    if (error != 0) {
        received = 0;
        return TranslateError(error);
    }
    DescribeSender(from, hostText, hostSize, port);
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::GetLocalAddresses(std::vector<std::string>& out) {
    out.clear();
    HostEntry entry;
    if (LookupHost(nullptr, entry) != 0) {
        return SocketResult::kHostLookupFailed;
    }
    for (const std::uint32_t address : entry.addresses) {
        out.push_back(AddressToText(address));
    }
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::LookupHost(const char* name, HostEntry& out) {
    StartWinsock();
    char buffer[kHostNameBufferSize] = {};
    if (name != nullptr) {
        std::strncpy(buffer, name, kHostNameBufferSize - 1);
    } else if (System().HostName(buffer, kHostNameBufferSize) != 0) {
        System().Cleanup();
        return SocketResult::kHostLookupFailed;
    }
    const bool found = System().HostByName(buffer, out) == 0;
    // The object's own start-up keeps the library initialised past this clean-up.
    System().Cleanup();
    return found ? SocketResult::kOk : SocketResult::kHostLookupFailed;
}

std::uint32_t KxSocketBase::GetHostAddress(const char* name, std::string& out) {
    HostEntry entry;
    if (LookupHost(name, entry) != 0) {
        return SocketResult::kHostLookupFailed;
    }
    if (entry.addresses.empty()) {
        return SocketResult::kHostHasNoAddress;
    }
    out = AddressToText(entry.addresses.front());
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::Accept(KxSocketBase& client, long seconds, long microseconds) {
    const WaitTime timeout{seconds, microseconds};
    int ready = 0;
    if (CallOnSocket(m_socket, &SocketSystem::Wait, WaitFor::Readable, &timeout, ready) != 0) {
        return SocketResult::kAcceptFailed;
    }
    if (ready == 0) {
        return SocketResult::kOk;
    }
    client.Close();
    if (CallOnSocket(m_socket, &SocketSystem::Accept, client.m_socket, client.m_peerAddress) != 0) {
        client.m_socket = kNoSocket;
        return SocketResult::kAcceptFailed;
    }
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::AcceptAndClose() {
    int ready = 0;
    if (CallOnSocket(m_socket, &SocketSystem::Wait, WaitFor::Readable, nullptr, ready) != 0) {
        return SocketResult::kAcceptFailed;
    }
    SocketHandle accepted = kNoSocket;
    SocketAddressV4 peer;
    if (CallOnSocket(m_socket, &SocketSystem::Accept, accepted, peer) != 0) {
        return SocketResult::kAcceptFailed;
    }
    System().CloseSocket(accepted);
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::EnableEvents() {
    if (m_event == kNoEvent) {
        return SocketResult::kNoEventObject;
    }
    return TranslateError(
        CallOnSocket(m_socket, &SocketSystem::SelectEvents, m_event, kReadEvent | kCloseEvent));
}

std::uint32_t KxSocketBase::DisableEvents() {
    if (m_event == kNoEvent) {
        return SocketResult::kNoEventObject;
    }
    return TranslateError(
        CallOnSocket(m_socket, &SocketSystem::SelectEvents, m_event, kNoNetworkEvents));
}

std::uint32_t KxSocketBase::EnumEvents() {
    if (m_event == kNoEvent) {
        return SocketResult::kNoEventObject;
    }
    return TranslateError(CallOnSocket(m_socket, &SocketSystem::EnumNetworkEvents, m_event));
}

std::uint32_t KxSocketBase::JoinMulticastGroup(const char* group, const char* interfaceAddress) {
    if (!IsMulticastGroupText(group)) {
        return SocketResult::kNotMulticastGroup;
    }
    std::vector<std::string> addresses;
    const std::uint32_t result = GetLocalAddresses(addresses);
    if (result != 0) {
        return result;
    }
    addresses.emplace_back(kLoopbackAddress);
    if (interfaceAddress != nullptr && interfaceAddress[0] != '\0') {
        std::erase_if(addresses,
                      [&](const std::string& address) { return address != interfaceAddress; });
        if (addresses.empty()) {
            return SocketResult::kInterfaceNotLocal;
        }
    }
    const std::uint32_t groupAddress = AddressFromText(group);
    for (const auto& address : addresses) {
        const int error =
            CallOnSocket(m_socket, &SocketSystem::ChangeMembership, MembershipChange::Join,
                         groupAddress, AddressFromText(address.c_str()));
        // An interface that refuses the group is skipped; any other failure ends the joining.
        if (error != 0 && error != WinsockError::kInvalidArgument) {
            break;
        }
    }
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::LeaveMulticastGroup(const char* group) {
    if (!IsMulticastGroupText(group)) {
        return SocketResult::kNotMulticastGroup;
    }
    std::vector<std::string> addresses;
    const std::uint32_t result = GetLocalAddresses(addresses);
    if (result != 0) {
        return result;
    }
    const std::uint32_t groupAddress = AddressFromText(group);
    for (const auto& address : addresses) {
        CallOnSocket(m_socket, &SocketSystem::ChangeMembership, MembershipChange::Leave,
                     groupAddress, AddressFromText(address.c_str()));
    }
    return SocketResult::kOk;
}

bool KxSocketBase::IsSameSubnet(const char* address, const char* mask, const char* other) {
    const Octets maskOctets = ReadOctets(mask);
    const Octets otherOctets = ReadOctets(other);
    if (address == nullptr || std::strcmp(address, kLoopbackAddress) != 0) {
        return EqualUnderMask(ReadOctets(address), maskOctets, otherOctets);
    }
    std::vector<std::string> locals;
    GetLocalAddresses(locals);
    for (const auto& local : locals) {
        if (EqualUnderMask(ReadOctets(local.c_str()), maskOctets, otherOctets)) {
            return true;
        }
    }
    return false;
}

std::uint32_t KxSocketBase::SetKeepAlive(bool on, unsigned int seconds,
                                         unsigned int intervalSeconds) {
    return TranslateError(CallOnSocket(m_socket, &SocketSystem::SetKeepAlive, on, seconds * 1000,
                                       intervalSeconds * 1000));
}

std::uint32_t KxSocketBase::SetReceiveBufferSize() {
    if (CallOnSocket(m_socket, &SocketSystem::SetReceiveBufferSize, kReceiveBufferBytes) != 0) {
        return SocketResult::kOptionNotSet;
    }
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::SetNoDelay() {
    if (CallOnSocket(m_socket, &SocketSystem::SetNoDelay, true) != 0) {
        Close();
        return SocketResult::kOptionNotSet;
    }
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::WaitReadable(int& count, long seconds, long microseconds) {
    const WaitTime timeout{seconds, microseconds};
    if (CallOnSocket(m_socket, &SocketSystem::Wait, WaitFor::Readable, &timeout, count) != 0) {
        return SocketResult::kWaitReadableFailed;
    }
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::WaitReadableOrError(bool& ready, long seconds, long microseconds) {
    const WaitTime timeout{seconds, microseconds};
    int count = 0;
    ready = false;
    if (CallOnSocket(m_socket, &SocketSystem::Wait, WaitFor::ReadableOrError, &timeout, count) !=
        0) {
        return SocketResult::kWaitReadableOrErrorFailed;
    }
    ready = count > 0;
    return SocketResult::kOk;
}

std::uint32_t KxSocketBase::ConnectAs(SocketKind kind, const char* host, unsigned short port,
                                      long seconds, long microseconds) {
    if (host == nullptr) {
        return SocketResult::kCreateOrConnectFailed;
    }
    if (m_socket == kNoSocket && System().Open(kind, m_socket) != 0) {
        m_socket = kNoSocket;
        return SocketResult::kCreateOrConnectFailed;
    }
    if (SetNonBlocking() != 0) {
        return SocketResult::kCreateOrConnectFailed;
    }
    const int error =
        CallOnSocket(m_socket, &SocketSystem::Connect, MakeAddress(AddressFromText(host), port));
    if (error != 0 && error != WinsockError::kWouldBlock) {
        Close();
        return SocketResult::kCreateOrConnectFailed;
    }
    const WaitTime timeout{seconds, microseconds};
    int ready = 0;
    if (CallOnSocket(m_socket, &SocketSystem::Wait, WaitFor::Writable, &timeout, ready) != 0) {
        Close();
        return SocketResult::kCreateOrConnectFailed;
    }
    if (ready == 0) {
        Close();
        return SocketResult::kConnectTimedOut;
    }
    const std::uint32_t outcome = GetLastSocketError();
    if (outcome != 0 && outcome != SocketResult::kUnknownPlatformError) {
        return outcome;
    }
    return RenewEvent();
}

std::uint32_t KxSocketBase::OpenBound(SocketKind kind, std::uint32_t address, unsigned short port,
                                      int backlog) {
    if (m_socket != kNoSocket) {
        return SocketResult::kAlreadyOpen;
    }
    if (System().Open(kind, m_socket) != 0) {
        m_socket = kNoSocket;
        return SocketResult::kCreateOrConnectFailed;
    }
    if (CallOnSocket(m_socket, &SocketSystem::Bind, MakeAddress(address, port)) != 0 ||
        (kind == SocketKind::Stream &&
         CallOnSocket(m_socket, &SocketSystem::Listen, backlog) != 0)) {
        Close();
        return SocketResult::kBindOrListenFailed;
    }
    return RenewEvent();
}

std::uint32_t KxSocketBase::RenewEvent() {
    if (m_event != kNoEvent) {
        System().CloseEvent(m_event);
    }
    m_event = System().NewEvent();
    if (m_event == kNoEvent) {
        Close();
        return SocketResult::kNoEventObject;
    }
    return SocketResult::kOk;
}

}  // namespace Orvane::Network
