// The Winsock backend as the system answers it, over the loopback interface only: the
// library's use count, the calls it refuses, and what a wait for errors reports.
#include <gtest/gtest.h>

#include "network/address_text.h"
#include "network/native_socket_system.h"
#include "network/winsock_errors.h"

namespace Orvane::Network {
namespace {

constexpr std::uint16_t kVersion = 0x0202;
const std::uint32_t kLoopback = AddressFromText("127.0.0.1");

SocketAddressV4 Loopback(std::uint16_t port) {
    return {kAddressFamilyIpv4, PortToNetworkOrder(port), kLoopback, {}};
}

// Sockets of a library nobody started fail as not initialised: the helper's clean-up on
// exit must give its start-up back, and only the last clean-up ends the library's use.
TEST(WinsockBackend, OnlyTheLastCleanUpEndsTheLibrarysUse) {
    NativeSocketSystem system;
    SocketHandle handle = kNoSocket;
    ASSERT_EQ(system.Open(SocketKind::Datagram, handle), WinsockError::kNotInitialised);
    std::uint16_t granted = 0;
    ASSERT_EQ(system.Startup(kVersion, granted), 0);
    ASSERT_EQ(system.Startup(kVersion, granted), 0);
    EXPECT_EQ(granted, kVersion);
    system.Cleanup();
    ASSERT_EQ(system.Open(SocketKind::Datagram, handle), 0);
    system.CloseSocket(handle);
    system.Cleanup();
    EXPECT_EQ(system.Open(SocketKind::Datagram, handle), WinsockError::kNotInitialised);
}

// Each of these calls either way, the refusal as the system gives it. A port of a range no
// other test of this project uses.
TEST(WinsockBackend, RefusalsAndAnswersReachTheCallerAsTheSystemGivesThem) {
    NativeSocketSystem system;
    std::uint16_t granted = 0;
    ASSERT_EQ(system.Startup(kVersion, granted), 0);
    SocketHandle datagram = kNoSocket, listener = kNoSocket, client = kNoSocket;
    ASSERT_EQ(system.Open(SocketKind::Datagram, datagram), 0);
    ASSERT_EQ(system.Open(SocketKind::Stream, listener), 0);
    ASSERT_EQ(system.Open(SocketKind::Stream, client), 0);
    std::uint16_t port = 46500;
    while (port < 46700 && system.Bind(listener, Loopback(port)) != 0)
        ++port;
    ASSERT_EQ(system.Bind(datagram, Loopback(port)), 0);

    SocketAddressV4 peer;
    EXPECT_EQ(system.PeerName(client, peer), WinsockError::kNotConnected);
    // Bound and not listening yet: the connection is refused, which Windows reports among
    // the errors of a wait, not as readable.
    ASSERT_EQ(system.SetNonBlockingMode(client, true), 0);
    ASSERT_EQ(system.Connect(client, Loopback(port)), WinsockError::kWouldBlock);
    const WaitTime timeout{5, 0};
    int ready = 0;
    ASSERT_EQ(system.Wait(client, WaitFor::ReadableOrError, &timeout, ready), 0);
    EXPECT_EQ(ready, 1);

    EXPECT_EQ(system.Listen(datagram, 1), WinsockError::kNotSupported);
    ASSERT_EQ(system.Listen(listener, 1), 0);
    SocketHandle connected = kNoSocket;
    ASSERT_EQ(system.Open(SocketKind::Stream, connected), 0);
    ASSERT_EQ(system.Connect(connected, Loopback(port)), 0);
    ASSERT_EQ(system.PeerName(connected, peer), 0);
    EXPECT_EQ(AddressToText(peer.address), "127.0.0.1");
    EXPECT_EQ(PortFromNetworkOrder(peer.port), port);

    // A group is left only once joined, and joined once.
    const std::uint32_t group = AddressFromText("239.255.42.99");
    const std::pair<MembershipChange, bool> steps[] = {{MembershipChange::Leave, false},
                                                       {MembershipChange::Join, true},
                                                       {MembershipChange::Join, false},
                                                       {MembershipChange::Leave, true},
                                                       {MembershipChange::Leave, false}};
    int step = 0;
    for (const auto& [change, accepted] : steps) {
        EXPECT_EQ(system.ChangeMembership(datagram, change, group, kLoopback) == 0, accepted)
            << "step " << step++;
    }
    for (const SocketHandle handle : {datagram, listener, client, connected})
        system.CloseSocket(handle);
    system.Cleanup();
}

}  // namespace
}  // namespace Orvane::Network
