#include "network/kx_socket_udp.h"

#include <new>

#include "network/address_text.h"
#include "network/sender_description.h"
#include "network/socket_results.h"
#include "network/socket_system_access.h"
#include "network/winsock_errors.h"

namespace Orvane::Network {

KxSocketUDP::~KxSocketUDP() {
    delete[] m_controlBuffer;
}

std::uint32_t KxSocketUDP::Connect(const char* host, unsigned short port, long seconds,
                                   long microseconds) {
    return ConnectAs(SocketKind::Datagram, host, port, seconds, microseconds);
}

std::uint32_t KxSocketUDP::Listen(unsigned short port, int /*backlog*/) {
    return OpenBound(SocketKind::Datagram, 0, port, 0);
}

std::uint32_t KxSocketUDP::Bind(const char* address, unsigned short port) {
    if (address == nullptr) {
        return SocketResult::kBindOrListenFailed;
    }
    return OpenBound(SocketKind::Datagram, AddressFromText(address), port, 0);
}

std::uint32_t KxSocketUDP::OpenSocket() {
    if (m_socket == kNoSocket && System().Open(SocketKind::Datagram, m_socket) != 0) {
        m_socket = kNoSocket;
        Close();
        return SocketResult::kCreateOrConnectFailed;
    }
    if (SetNonBlocking() != 0) {
        return SocketResult::kCreateOrConnectFailed;
    }
    return RenewEvent();
}

std::uint32_t KxSocketUDP::EnablePacketInfo() {
    if (m_controlBuffer != nullptr) {
        return SocketResult::kOk;
    }
    if (m_socket == kNoSocket) {
        return TranslateError(WinsockError::kNotASocket);
    }
    void* function = nullptr;
    if (const int error = System().FindReceiveMessageFunction(m_socket, function); error != 0) {
        return TranslateError(error);
    }
    if (System().SetPacketInfo(m_socket, true) != 0) {
        return SocketResult::kOptionNotSet;
    }
    char* control = new (std::nothrow) char[kControlBufferLength]();
    if (control == nullptr) {
        return SocketResult::kOutOfMemory;
    }
    m_receiveMessageFunction = function;
    m_controlBuffer = control;
    m_controlBufferLength = kControlBufferLength;
    return SocketResult::kOk;
}

std::uint32_t KxSocketUDP::ReceiveFromWithInterface(char* buffer, unsigned int size,
                                                    unsigned int& received, char* hostText,
                                                    unsigned int hostSize, unsigned short& port,
                                                    std::uint32_t& interfaceIndex) {
    received = 0;
    if (const std::uint32_t result = EnablePacketInfo(); result != 0) {
        return result;
    }
    SocketAddressV4 from;
    const int error =
        System().ReceiveMessage(m_receiveMessageFunction, m_socket, buffer, size, m_controlBuffer,
                                m_controlBufferLength, received, from, interfaceIndex);
    if (error != 0) {
        received = 0;
        return TranslateError(error);
    }
    DescribeSender(from, hostText, hostSize, port);
    return SocketResult::kOk;
}

}  // namespace Orvane::Network
