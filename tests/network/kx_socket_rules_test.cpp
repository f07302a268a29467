// The socket classes' rules (codes, which failures close, start-up balance) driven through
// a fake socket system.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "network/kx_socket_tcpip.h"
#include "network/kx_socket_udp.h"
#include "network/testing/fake_socket_system.h"
#include "platform/service.h"

namespace Orvane::Network {
namespace {

using Testing::FakeSocketSystem;

class KxSocketRules : public ::testing::Test {
  protected:
    FakeSocketSystem fake;
    Platform::ScopedOverride<SocketSystem> use{fake};
};

TEST_F(KxSocketRules, StartUpOutcomes) {
    struct Case {
        int startupError;
        std::uint16_t granted;
        std::uint32_t expected;
        int cleanups;  // by StartWinsock itself
    } const cases[] = {
        {0, 0x0202, 0, 0},           {0, 0x0102, 0x10043, 1},  // 2.1
        {0, 0x0201, 0x10043, 1},                               // 1.2
        {10091, 0x0202, 0x1003D, 1}, {10092, 0x0202, 0x1003E, 1}, {10036, 0x0202, 0x1003F, 1},
        {10067, 0x0202, 0x10040, 1}, {10014, 0x0202, 0x10041, 1}, {10022, 0x0202, 0x10042, 1},
        {10093, 0x0202, 0x10042, 1},
    };
    KxSocketUDP socket;
    for (const auto& c : cases) {
        fake.startupError = c.startupError;
        fake.grantedVersion = c.granted;
        const int cleanupsBefore = fake.cleanups;
        EXPECT_EQ(socket.StartWinsock(), c.expected) << c.startupError << " " << c.granted;
        EXPECT_EQ(fake.cleanups - cleanupsBefore, c.cleanups) << c.startupError;
    }
}

TEST_F(KxSocketRules, EachObjectCountsOnceInTheStartUpAndDestructionAfterCloseOnlyCleansUp) {
    {
        KxSocketUDP udp;
        KxSocketTCPIP tcp;
        EXPECT_EQ(fake.startups, 2);
        EXPECT_EQ(fake.cleanups, 0);
        ASSERT_EQ(udp.OpenSocket(), 0u);
        udp.Close();
        udp.Close();
        EXPECT_EQ(udp.GetSocket(), kNoSocket);
        EXPECT_EQ(udp.GetEvent(), kNoEvent);
    }
    EXPECT_EQ(fake.cleanups, 2);
    EXPECT_EQ(fake.CallCount("CloseSocket"), 1);
    EXPECT_EQ(fake.CallCount("CloseEvent"), 1);
}

TEST_F(KxSocketRules, OpenSocketMakesANonBlockingSocketWithAnEvent) {
    KxSocketUDP socket;
    EXPECT_TRUE(socket.IsBlocking());
    ASSERT_EQ(socket.OpenSocket(), 0u);
    EXPECT_NE(socket.GetSocket(), kNoSocket);
    EXPECT_NE(socket.GetEvent(), kNoEvent);
    EXPECT_FALSE(socket.IsBlocking());
    EXPECT_EQ(fake.calls, (std::vector<std::string>{"Open", "SetNonBlockingMode", "NewEvent"}));
}

TEST_F(KxSocketRules, OpenSocketOnAnOpenSocketKeepsItAndRenewsTheEvent) {
    KxSocketUDP socket;
    ASSERT_EQ(socket.OpenSocket(), 0u);
    const SocketHandle handle = socket.GetSocket();
    const EventHandle event = socket.GetEvent();
    fake.calls.clear();
    ASSERT_EQ(socket.OpenSocket(), 0u);
    EXPECT_EQ(socket.GetSocket(), handle);
    EXPECT_NE(socket.GetEvent(), event);
    EXPECT_EQ(fake.calls,
              (std::vector<std::string>{"SetNonBlockingMode", "CloseEvent", "NewEvent"}));
    EXPECT_EQ(fake.openEvents, 1);
}

TEST_F(KxSocketRules, OpenSocketFailuresCloseTheSocket) {
    struct Case {
        const char* failing;
        std::uint32_t expected;
    } const cases[] = {
        {"Open", 0x10052},
        {"SetNonBlockingMode", 0x10052},
        {"NewEvent", 0x1005C},
    };
    for (const auto& c : cases) {
        KxSocketUDP socket;
        if (std::string(c.failing) == "NewEvent") {
            fake.newEventFails = true;
        } else {
            fake.FailNext(c.failing, 10055);
        }
        EXPECT_EQ(socket.OpenSocket(), c.expected) << c.failing;
        EXPECT_EQ(socket.GetSocket(), kNoSocket) << c.failing;
        fake.newEventFails = false;
    }
    EXPECT_EQ(fake.openEvents, 0);
}

TEST_F(KxSocketRules, SetNonBlockingFailureClosesTheSocket) {
    KxSocketUDP socket;
    ASSERT_EQ(socket.OpenSocket(), 0u);
    const SocketHandle handle = socket.GetSocket();
    fake.FailNext("SetNonBlockingMode", 10038);
    EXPECT_EQ(socket.SetNonBlocking(), 0x10046u);
    EXPECT_EQ(socket.GetSocket(), kNoSocket);
    EXPECT_FALSE(fake.IsOpen(handle));
}

TEST_F(KxSocketRules, SendAndInterfaceFailuresLeaveTheSocketOpen) {
    KxSocketUDP socket;
    ASSERT_EQ(socket.OpenSocket(), 0u);
    const SocketHandle handle = socket.GetSocket();

    fake.FailNext("SetMulticastInterface", 10022);
    EXPECT_EQ(socket.SetMulticastSendInterface("10.1.2.3"), 0x10004u);
    EXPECT_EQ(socket.GetSocket(), handle);

    const char data[] = "abc";
    unsigned int sent = 99;
    fake.FailNext("SendTo", 10051);
    EXPECT_EQ(socket.SendTo("127.0.0.1", 50999, data, 3, sent), 0x10015u);
    EXPECT_EQ(sent, 0u);
    fake.FailNext("SendTo", 10054);
    EXPECT_EQ(socket.SendTo("127.0.0.1", 50999, data, 3, sent), 0x10018u);
    EXPECT_EQ(socket.GetSocket(), handle);
    EXPECT_TRUE(fake.sent.empty());

    EXPECT_EQ(socket.SendTo("127.0.0.1", 50999, data, 3, sent), 0u);
    EXPECT_EQ(sent, 3u);
    ASSERT_EQ(fake.sent.size(), 1u);
    EXPECT_EQ(fake.sent[0].destination, "127.0.0.1");
    EXPECT_EQ(fake.sent[0].port, 50999);
}

TEST_F(KxSocketRules, OperationsWithoutASocketFailAlikeOnEveryPlatform) {
    KxSocketUDP socket;
    unsigned int count = 0;
    char buffer[8];
    EXPECT_EQ(socket.SendTo("127.0.0.1", 1, buffer, 1, count), 0x10008u);
    EXPECT_EQ(socket.SetMulticastSendInterface("127.0.0.1"), 0x10008u);
    EXPECT_EQ(socket.Receive(buffer, sizeof buffer, count), 0x10008u);
    EXPECT_EQ(socket.SetNonBlocking(), 0x10046u);
    EXPECT_TRUE(fake.calls.empty());
}

TEST_F(KxSocketRules, LocalAddressesAndHostLookUp) {
    KxSocketUDP socket;
    std::vector<std::string> addresses{"stale"};

    fake.hostAddresses = {"192.168.1.7", "127.0.0.1", "10.0.0.2"};
    EXPECT_EQ(socket.GetLocalAddresses(addresses), 0u);
    EXPECT_EQ(addresses, (std::vector<std::string>{"192.168.1.7", "127.0.0.1", "10.0.0.2"}));

    fake.hostAddresses.clear();
    EXPECT_EQ(socket.GetLocalAddresses(addresses), 0u);
    EXPECT_TRUE(addresses.empty());

    addresses = {"stale"};
    fake.hostLookupError = 11001;
    EXPECT_EQ(socket.GetLocalAddresses(addresses), 0x10048u);
    EXPECT_TRUE(addresses.empty());

    fake.hostLookupError = 0;
    fake.hostNameError = 10093;
    EXPECT_EQ(socket.GetLocalAddresses(addresses), 0x10048u);
    EXPECT_EQ(fake.CallCount("HostByName"), 3);  // not asked when the name is unknown

    // Each look-up starts and cleans up once; only the object's own start-up remains.
    EXPECT_EQ(fake.startups - fake.cleanups, 1);
}

TEST_F(KxSocketRules, HostAddress) {
    KxSocketUDP socket;
    std::string address;
    fake.hostAddresses = {"10.0.0.5", "10.0.0.6"};
    EXPECT_EQ(socket.GetHostAddress("box", address), 0u);
    EXPECT_EQ(address, "10.0.0.5");
    fake.hostAddresses.clear();
    EXPECT_EQ(socket.GetHostAddress("box", address), 0x1004Du);
    fake.hostLookupError = 11001;
    EXPECT_EQ(socket.GetHostAddress("box", address), 0x10048u);
}

TEST_F(KxSocketRules, ListenAndBind) {
    KxSocketTCPIP stream;
    ASSERT_EQ(stream.Listen(4000, 5), 0u);
    EXPECT_NE(stream.GetEvent(), kNoEvent);
    EXPECT_EQ(stream.Listen(4000, 5), 0x10055u);

    KxSocketUDP datagram;
    fake.FailNext("Bind", 10048);
    EXPECT_EQ(datagram.Bind("127.0.0.1", 4000), 0x10054u);
    EXPECT_EQ(datagram.GetSocket(), kNoSocket);

    KxSocketTCPIP refused;
    fake.FailNext("Listen", 10022);
    EXPECT_EQ(refused.Listen(4000, 5), 0x10054u);
    EXPECT_EQ(refused.GetSocket(), kNoSocket);

    fake.calls.clear();
    KxSocketUDP plain;
    ASSERT_EQ(plain.Listen(4000, 5), 0u);
    EXPECT_EQ(fake.CallCount("Listen"), 0);  // datagrams are only bound
}

TEST_F(KxSocketRules, ConnectOutcomes) {
    struct Case {
        const char* failing;
        int error;
        int ready;
        std::uint32_t expected;
        bool open;
    } const cases[] = {
        {nullptr, 0, 1, 0, true},
        {"Connect", 10035, 1, 0, true},  // under way, then writable
        {"Connect", 10061, 1, 0x10052, false},
        {"Wait", 10038, 1, 0x10052, false},
        {nullptr, 0, 0, 0x1005A, false},  // timed out
        {"Open", 10024, 1, 0x10052, false},
    };
    for (const auto& c : cases) {
        KxSocketTCPIP socket;
        if (c.failing != nullptr) {
            fake.FailNext(c.failing, c.error);
        }
        fake.waitReadyCount = c.ready;
        EXPECT_EQ(socket.Connect("127.0.0.1", 80, 1, 0), c.expected) << c.failing;
        EXPECT_EQ(socket.GetSocket() != kNoSocket, c.open) << c.failing;
    }
}

TEST_F(KxSocketRules, StreamSendCodes) {
    KxSocketTCPIP socket;
    ASSERT_EQ(socket.Connect("127.0.0.1", 80, 1, 0), 0u);
    unsigned int sent = 5;
    fake.FailNext("Send", 10035);
    EXPECT_EQ(socket.Send("x", 1, sent), 0x10033u);
    EXPECT_EQ(sent, 0u);
    fake.FailNext("Send", 10054);
    EXPECT_EQ(socket.Send("x", 1, sent), 0x10057u);
    EXPECT_EQ(socket.Send("x", 1, sent), 0u);
    EXPECT_EQ(sent, 1u);
}

TEST_F(KxSocketRules, OptionsAndWaits) {
    KxSocketTCPIP socket;
    ASSERT_EQ(socket.Connect("127.0.0.1", 80, 1, 0), 0u);

    fake.FailNext("SetReceiveBufferSize", 10042);
    EXPECT_EQ(socket.SetReceiveBufferSize(), 0x10047u);
    EXPECT_NE(socket.GetSocket(), kNoSocket);

    int count = -1;
    fake.waitReadyCount = 0;
    EXPECT_EQ(socket.WaitReadable(count, 0, 1000), 0u);
    EXPECT_EQ(count, 0);
    fake.FailNext("Wait", 10038);
    EXPECT_EQ(socket.WaitReadable(count, 0, 1000), 0x1005Bu);
    bool ready = true;
    fake.FailNext("Wait", 10038);
    EXPECT_EQ(socket.WaitReadableOrError(ready, 0, 1000), 0x10059u);
    EXPECT_FALSE(ready);

    fake.FailNext("SetNoDelay", 10042);
    EXPECT_EQ(socket.SetNoDelay(), 0x10047u);
    EXPECT_EQ(socket.GetSocket(), kNoSocket);
}

TEST_F(KxSocketRules, AcceptWaitsThenTakesTheConnection) {
    KxSocketTCPIP server;
    ASSERT_EQ(server.Listen(4000, 5), 0u);
    KxSocketTCPIP client;

    fake.waitReadyCount = 0;
    EXPECT_EQ(server.Accept(client, 0, 1000), 0u);
    EXPECT_EQ(client.GetSocket(), kNoSocket);

    fake.waitReadyCount = 1;
    EXPECT_EQ(server.Accept(client, 0, 1000), 0u);
    EXPECT_NE(client.GetSocket(), kNoSocket);

    fake.FailNext("Accept", 10024);
    EXPECT_EQ(server.Accept(client, 0, 1000), 0x10056u);
    EXPECT_EQ(client.GetSocket(), kNoSocket);
    fake.FailNext("Wait", 10038);
    EXPECT_EQ(server.AcceptAndClose(), 0x10056u);
}

TEST_F(KxSocketRules, EventsNeedAnEventObject) {
    KxSocketUDP socket;
    EXPECT_EQ(socket.EnableEvents(), 0x1005Cu);
    EXPECT_EQ(socket.DisableEvents(), 0x1005Cu);
    EXPECT_EQ(socket.EnumEvents(), 0x1005Cu);
    ASSERT_EQ(socket.OpenSocket(), 0u);
    EXPECT_EQ(socket.EnableEvents(), 0u);
    fake.FailNext("SelectEvents", 10022);
    EXPECT_EQ(socket.DisableEvents(), 0x10004u);
}

TEST_F(KxSocketRules, MulticastMembership) {
    KxSocketUDP socket;
    ASSERT_EQ(socket.OpenSocket(), 0u);
    fake.hostAddresses = {"10.0.0.2", "10.0.0.3"};
    struct Case {
        const char* group;
        const char* interfaceAddress;
        std::uint32_t expected;
        int memberships;
    } const cases[] = {
        {"223.1.1.1", "", 0x1005D, 0},         {"248.0.0.1", "", 0x1005D, 0},
        {"224.192.168.224", "", 0, 3},  // both local addresses and loopback
        {"247.0.0.1", "10.0.0.3", 0, 1},       {"230.0.0.1", "127.0.0.1", 0, 1},
        {"230.0.0.1", "10.9.9.9", 0x1005E, 0},
    };
    for (const auto& c : cases) {
        const int before = fake.CallCount("ChangeMembership");
        EXPECT_EQ(socket.JoinMulticastGroup(c.group, c.interfaceAddress), c.expected) << c.group;
        EXPECT_EQ(fake.CallCount("ChangeMembership") - before, c.memberships) << c.group;
    }

    // An interface that refuses is skipped; any other failure ends the joining, still 0.
    int before = fake.CallCount("ChangeMembership");
    fake.FailNext("ChangeMembership", 10022);
    EXPECT_EQ(socket.JoinMulticastGroup("224.0.0.1", ""), 0u);
    EXPECT_EQ(fake.CallCount("ChangeMembership") - before, 3);
    before = fake.CallCount("ChangeMembership");
    fake.FailNext("ChangeMembership", 10055);
    EXPECT_EQ(socket.JoinMulticastGroup("224.0.0.1", ""), 0u);
    EXPECT_EQ(fake.CallCount("ChangeMembership") - before, 1);

    before = fake.CallCount("ChangeMembership");
    EXPECT_EQ(socket.LeaveMulticastGroup("100.0.0.1"), 0x1005Du);
    EXPECT_EQ(socket.LeaveMulticastGroup("224.0.0.1"), 0u);
    EXPECT_EQ(fake.CallCount("ChangeMembership") - before, 2);
}

TEST_F(KxSocketRules, SameSubnet) {
    KxSocketUDP socket;
    fake.hostAddresses = {"192.168.5.9", "10.1.2.3"};
    struct Case {
        const char* address;
        const char* mask;
        const char* other;
        bool same;
    } const cases[] = {
        {"192.168.1.10", "255.255.255.0", "192.168.1.200", true},
        {"192.168.1.10", "255.255.255.0", "192.168.2.10", false},
        {"192.168.1.10", "255.255.0.0", "192.168.2.10", true},
        {"10.0.0.1", "0.0.0.0", "172.16.0.1", true},
        {"127.0.0.1", "255.255.255.0", "10.1.2.77", true},  // any local address
        {"127.0.0.1", "255.255.255.0", "127.0.0.2", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(socket.IsSameSubnet(c.address, c.mask, c.other), c.same)
            << c.address << " " << c.mask << " " << c.other;
    }
}

TEST_F(KxSocketRules, ReceiveFromSkipsResetsFromEarlierSends) {
    KxSocketUDP socket;
    ASSERT_EQ(socket.OpenSocket(), 0u);
    char buffer[16];
    char host[16];
    unsigned int received = 7;
    unsigned short port = 0;
    fake.FailNext("ReceiveFrom", 10054);
    fake.FailNext("ReceiveFrom", 10054);
    EXPECT_EQ(socket.ReceiveFrom(buffer, sizeof buffer, received, host, sizeof host, port), 0u);
    EXPECT_EQ(fake.CallCount("ReceiveFrom"), 3);
    fake.FailNext("ReceiveFrom", 10035);
    EXPECT_EQ(socket.ReceiveFrom(buffer, sizeof buffer, received, host, sizeof host, port),
              0x10033u);
    EXPECT_EQ(received, 0u);
}

TEST_F(KxSocketRules, PacketInfoIsSetUpOnceAndItsFailuresAreReported) {
    KxSocketUDP socket;
    ASSERT_EQ(socket.OpenSocket(), 0u);
    fake.FailNext("SetPacketInfo", 10042);
    EXPECT_EQ(socket.EnablePacketInfo(), 0x10047u);
    EXPECT_EQ(socket.EnablePacketInfo(), 0u);
    EXPECT_EQ(socket.EnablePacketInfo(), 0u);
    EXPECT_EQ(fake.CallCount("FindReceiveMessageFunction"), 2);
}

}  // namespace
}  // namespace Orvane::Network
