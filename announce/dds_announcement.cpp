#include "announce/dds_announcement.h"

#include <algorithm>
#include <cstring>

#include "network/socket_results.h"
#include "platform/debug_output.h"
#include "platform/service.h"

namespace {

constexpr const char* kMulticastGroup = "224.192.168.224";
constexpr const char* kLoopbackAddress = "127.0.0.1";
constexpr unsigned short kPort = 50999;

void DebugText(const wchar_t* text) {
    Orvane::Platform::Get<Orvane::Platform::DebugOutput>().Write(text);
}

bool IsOpen(const Orvane::Network::KxSocketUDP& socket) {
    return socket.GetSocket() != Orvane::Network::kNoSocket;
}

}  // namespace

DdsAnnouncement::DdsAnnouncement(bool loopbackOnly, bool sendOnUpdate)
    : m_loopbackOnly(loopbackOnly), m_sendOnUpdate(sendOnUpdate) {
    std::memset(&m_info, 0, sizeof m_info);
}

DdsAnnouncement::~DdsAnnouncement() {
    m_socket.Close();
}

std::uint32_t DdsAnnouncement::Announce(const DdsInstrumentInfo& info) {
    std::memcpy(&m_info, &info, sizeof m_info);
    if (!IsOpen(m_socket)) {
        if (const std::uint32_t result = OpenAndListInterfaces(); result != 0) {
            return result;
        }
    }
    BuildContents(m_info);
    if (!m_sendOnUpdate) {
        return 0;
    }
    return SendAs(AnnouncementDatagram::kAnnounce);
}

std::uint32_t DdsAnnouncement::OpenAndListInterfaces() {
    if (const std::uint32_t result = m_socket.OpenSocket(); result != 0) {
        return result;
    }
    if (const std::uint32_t result = m_socket.SetNonBlocking(); result != 0) {
        return result;
    }
    if (m_loopbackOnly) {
        // Not read in this mode; kept so that both modes list what they send on.
        m_addresses.emplace_back(kLoopbackAddress);
        return 0;
    }
    if (const std::uint32_t result = m_socket.GetLocalAddresses(m_addresses); result != 0) {
        m_socket.Close();
        return result;
    }
    RemoveAddress(kLoopbackAddress);
    for (const auto& excluded : m_excludedAddresses) {
        RemoveAddress(excluded);
    }
    return 0;
}

void DdsAnnouncement::RemoveAddress(const std::string& address) {
    std::erase(m_addresses, address);
}

std::uint32_t DdsAnnouncement::Reannounce() {
    return SendAs(AnnouncementDatagram::kAnnounce);
}

std::uint32_t DdsAnnouncement::Withdraw() {
    return SendAs(AnnouncementDatagram::kWithdraw);
}

std::uint32_t DdsAnnouncement::SetState(unsigned char state) {
    if (state != m_info.state) {
        m_info.state = state;
        BuildContents(m_info);
    }
    return SendAs(AnnouncementDatagram::kAnnounce);
}

void DdsAnnouncement::ExcludeAddress(const char* address) {
    if (address == nullptr) {
        return;
    }
    m_excludedAddresses.emplace_back(address);
    RemoveAddress(address);
}

void DdsAnnouncement::BuildContents(const DdsInstrumentInfo& info) {
    m_sendLength = AnnouncementDatagram::Build(info, m_packet);
}

std::uint32_t DdsAnnouncement::SendAs(std::uint16_t messageType) {
    AnnouncementDatagram::SetMessageType(m_packet, messageType);
    return m_loopbackOnly ? SendToLoopback() : SendToAllInterfaces();
}

std::uint32_t DdsAnnouncement::SendToHost(const char* host, unsigned int& sent) {
    return m_socket.SendTo(host, kPort, reinterpret_cast<const char*>(m_packet), m_sendLength,
                           sent);
}

std::uint32_t DdsAnnouncement::SendToAllInterfaces() {
    if (!IsOpen(m_socket)) {
        return kResultNoSocket;
    }
    if (m_addresses.empty()) {
        return kResultNothingSent;
    }
    std::uint32_t overall = kResultNothingSent;
    std::uint32_t error = 0;
    for (const auto& address : m_addresses) {
        error = m_socket.SetMulticastSendInterface(address.c_str());
        if (error != 0) {
            DebugText(L"m_socket.SetMulticastSendInterface failed.\n");
            break;
        }
        unsigned int sent = 0;
        error = SendToHost(kMulticastGroup, sent);
        if (error == 0) {
            overall = 0;
        } else if (error == Orvane::Network::SocketResult::kNetworkUnreachable) {
            // This interface has no way to the group; the others may.
            error = 0;
        } else {
            // A datagram that goes out only on the retry leaves `overall` as it was.
            error = ResendOnNewSocket(kMulticastGroup);
            if (error != 0) {
                break;
            }
        }
    }
    return error != 0 ? error : overall;
}

std::uint32_t DdsAnnouncement::SendToLoopback() {
    if (!IsOpen(m_socket)) {
        return kResultNoSocket;
    }
    unsigned int sent = 0;
    if (SendToHost(kLoopbackAddress, sent) == 0) {
        return 0;
    }
    return ResendOnNewSocket(kLoopbackAddress);
}

std::uint32_t DdsAnnouncement::ResendOnNewSocket(const char* host) {
    m_socket.Close();
    if (const std::uint32_t result = m_socket.OpenSocket(); result != 0) {
        DebugText(L"m_socket.OpenSocket failed.\n");
        return result;
    }
    if (const std::uint32_t result = m_socket.SetNonBlocking(); result != 0) {
        DebugText(L"m_socket.SetNonBlocking failed.\n");
        return result;
    }
    unsigned int sent = 0;
    if (const std::uint32_t result = SendToHost(host, sent); result != 0) {
        DebugText(L"m_socket.SendTo failed.\n");
        return result;
    }
    return 0;
}
