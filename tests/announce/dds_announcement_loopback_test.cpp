// The announcer on the build's own sockets: what a listener on 127.0.0.1:50999 receives.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "announce/dds_announcement.h"
#include "network/kx_socket_udp.h"
#include "tests/announce/example_instrument.h"

namespace {

using Orvane::Network::KxSocketUDP;
using Bytes = std::vector<unsigned char>;

// The port is fixed; another program on this machine may hold it for a moment.
bool BindListener(KxSocketUDP& listener) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (listener.Bind("127.0.0.1", 50999) == 0) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

Bytes ReceiveOne(KxSocketUDP& listener) {
    int ready = 0;
    if (listener.WaitReadable(ready, 5, 0) != 0 || ready == 0) {
        return {};
    }
    unsigned char buffer[512];
    char host[32];
    unsigned int received = 0;
    unsigned short port = 0;
    if (listener.ReceiveFrom(reinterpret_cast<char*>(buffer), sizeof buffer, received, host,
                             sizeof host, port) != 0) {
        return {};
    }
    return Bytes(buffer, buffer + received);
}

TEST(AnnouncerOnLoopback, AnnounceThenWithdrawReachAListener) {
    KxSocketUDP listener;
    ASSERT_TRUE(BindListener(listener)) << "127.0.0.1:50999 stayed busy";

    DdsAnnouncement announcement(true, true);
    ASSERT_EQ(announcement.Announce(ExampleInstrument()), 0u);
    const Bytes announced = ReceiveOne(listener);
    ASSERT_EQ(announced.size(), 51u);
    const std::uint16_t sequence = SequenceOf(announced.data());
    EXPECT_EQ(announced, ExampleDatagram(0x1391, sequence));

    ASSERT_EQ(announcement.Withdraw(), 0u);
    EXPECT_EQ(ReceiveOne(listener), ExampleDatagram(0x1392, sequence));
}

}  // namespace
