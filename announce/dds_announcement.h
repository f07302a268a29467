// Sends the announcement datagram of the identified instrument by UDP: in loopback mode to
// 127.0.0.1 port 50999, in multicast mode to 224.192.168.224 port 50999 once on every
// local interface. Announce stores new contents and sends them; Reannounce and Withdraw
// repeat the last contents (same sequence number) as an announcement or a withdrawal.
//
// Results of the sending operations: 0 sent; 2 no socket is open (nothing sent, as before
// the first Announce); 0x10015 nothing sent although nothing failed (no interface, or every
// interface unreachable); otherwise a socket result code (network/socket_results.h).
// One thread uses an announcer; nothing is locked.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "announce/announcement_datagram.h"
#include "announce/dds_instrument_info.h"
#include "network/kx_socket_udp.h"

class DdsAnnouncement {
  public:
    static constexpr std::uint32_t kResultNoSocket = 2;
    static constexpr std::uint32_t kResultNothingSent = 0x10015;

    // Nothing is opened until the first Announce.
    DdsAnnouncement(bool loopbackOnly, bool sendOnUpdate);
    virtual ~DdsAnnouncement();
    DdsAnnouncement(const DdsAnnouncement&) = delete;
    DdsAnnouncement& operator=(const DdsAnnouncement&) = delete;

    // Copies `info`, opens the socket if none is open (building the interface list in
    // multicast mode), rebuilds the datagram and, when sending on update, sends it.
    std::uint32_t Announce(const DdsInstrumentInfo& info);
    std::uint32_t Reannounce();
    std::uint32_t Withdraw();
    // Rebuilds only when `state` changes; sends in any case.
    std::uint32_t SetState(unsigned char state);
    // Never sends on `address` again, also after the interface list is rebuilt.
    void ExcludeAddress(const char* address);
    std::uint32_t SendToAllInterfaces();
    std::uint32_t SendToLoopback();
    // New contents and a new sequence number from `info`.
    void BuildContents(const DdsInstrumentInfo& info);

    // Inspection.
    const unsigned char* Packet() const { return m_packet; }
    std::uint32_t SendLength() const { return m_sendLength; }
    const DdsInstrumentInfo& Info() const { return m_info; }
    const std::vector<std::string>& Addresses() const { return m_addresses; }
    const std::vector<std::string>& ExcludedAddresses() const { return m_excludedAddresses; }
    const Orvane::Network::KxSocketUDP& Socket() const { return m_socket; }
    bool IsLoopbackOnly() const { return m_loopbackOnly; }
    bool SendsOnUpdate() const { return m_sendOnUpdate; }

  private:
    std::uint32_t SendAs(std::uint16_t messageType);
    std::uint32_t SendToHost(const char* host, unsigned int& sent);
    // After a failed send: a new socket and one more try of the same send.
    std::uint32_t ResendOnNewSocket(const char* host);
    std::uint32_t OpenAndListInterfaces();
    void RemoveAddress(const std::string& address);

    std::uint32_t m_sendLength = 0;
    Orvane::Network::KxSocketUDP m_socket;
    DdsInstrumentInfo m_info;
    AnnouncementDatagram::Buffer m_packet = {};
    std::vector<std::string> m_addresses;
    std::vector<std::string> m_excludedAddresses;
    bool m_loopbackOnly;
    bool m_sendOnUpdate;
};
