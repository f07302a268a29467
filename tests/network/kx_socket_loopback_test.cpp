// The socket classes on the build's own socket system, over the loopback interface only.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>

#include "network/address_text.h"
#include "network/kx_socket_tcpip.h"
#include "network/kx_socket_udp.h"

namespace Orvane::Network {
namespace {

constexpr const char* kLoopback = "127.0.0.1";

// Binds `socket` to a free loopback port of a range no other test of this project uses.
unsigned short BindSomewhere(KxSocketUDP& socket) {
    for (unsigned short port = 46100; port < 46300; ++port) {
        if (socket.Bind(kLoopback, port) == 0) {
            return port;
        }
    }
    return 0;
}

template <class Socket>
unsigned short ListenSomewhere(Socket& socket) {
    for (unsigned short port = 46300; port < 46500; ++port) {
        if (socket.Listen(port, 1) == 0) {
            return port;
        }
    }
    return 0;
}

// Waits up to five seconds for a datagram.
bool Readable(KxSocketBase& socket) {
    int count = 0;
    return socket.WaitReadable(count, 5, 0) == 0 && count > 0;
}

// Read plainly, or with the interface it came in on; before it came, a non-blocking
// socket would block.
TEST(KxSocketLoopback, DatagramReachesABoundSocketWithItsSender) {
    for (const bool withInterface : {false, true}) {
        KxSocketUDP receiver;
        const unsigned short port = BindSomewhere(receiver);
        ASSERT_NE(port, 0);
        ASSERT_EQ(withInterface ? receiver.EnablePacketInfo() : 0u, 0u);
        ASSERT_EQ(receiver.SetNonBlocking(), 0u);
        char buffer[64] = {};
        unsigned int received = 5;
        EXPECT_EQ(receiver.Receive(buffer, sizeof buffer, received), 0x10033u);
        EXPECT_EQ(received, 0u);
        // A wait for it takes its whole time and finds nothing.
        const auto started = std::chrono::steady_clock::now();
        int ready = -1;
        EXPECT_EQ(receiver.WaitReadable(ready, 0, 100000), 0u);
        EXPECT_EQ(ready, 0);
        EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(90));
        KxSocketUDP sender;
        ASSERT_EQ(sender.OpenSocket(), 0u);
        EXPECT_EQ(sender.OpenSocket(), 0u);  // kept open

        const char payload[] = {'d', 'a', 't', 0, 'a'};
        unsigned int sent = 0;
        ASSERT_EQ(sender.SendTo(kLoopback, port, payload, sizeof payload, sent), 0u);
        EXPECT_EQ(sent, sizeof payload);

        ASSERT_TRUE(Readable(receiver));
        char host[32] = {};
        unsigned short from = 0;
        std::uint32_t interfaceIndex = 0;
        ASSERT_EQ(
            withInterface
                ? receiver.ReceiveFromWithInterface(buffer, sizeof buffer, received, host,
                                                    sizeof host, from, interfaceIndex)
                : receiver.ReceiveFrom(buffer, sizeof buffer, received, host, sizeof host, from),
            0u);
        EXPECT_EQ(std::string(buffer, received), std::string(payload, sizeof payload));
        EXPECT_STREQ(host, kLoopback);
        EXPECT_NE(from, 0);
        EXPECT_EQ(interfaceIndex != 0, withInterface);
    }
}

TEST(KxSocketLoopback, StreamConnectAcceptAndExchange) {
    KxSocketTCPIP server;
    const unsigned short port = ListenSomewhere(server);
    ASSERT_NE(port, 0);
    KxSocketTCPIP client;
    ASSERT_EQ(client.Connect(kLoopback, port, 5, 0), 0u);

    KxSocketTCPIP accepted;
    ASSERT_EQ(server.Accept(accepted, 5, 0), 0u);
    ASSERT_NE(accepted.GetSocket(), kNoSocket);
    EXPECT_EQ(AddressToText(accepted.GetPeerAddress().address), kLoopback);

    unsigned int sent = 0;
    ASSERT_EQ(client.Send("ping", 4, sent), 0u);
    EXPECT_EQ(sent, 4u);
    ASSERT_EQ(accepted.SetBlocking(), 0u);
    char buffer[8] = {};
    unsigned int received = 0;
    ASSERT_EQ(accepted.Receive(buffer, sizeof buffer, received), 0u);
    EXPECT_EQ(std::string(buffer, received), "ping");
}

// The host's own look-up on the build's socket system: it succeeds, and whatever it finds
// (a machine may have no address but loopback) is dotted IPv4 text.
TEST(KxSocketLoopback, LocalAddressLookUpSucceeds) {
    KxSocketUDP socket;
    std::vector<std::string> addresses;
    EXPECT_EQ(socket.GetLocalAddresses(addresses), 0u);
    for (const auto& address : addresses) {
        EXPECT_EQ(std::count(address.begin(), address.end(), '.'), 3) << address;
    }
}

}  // namespace
}  // namespace Orvane::Network
