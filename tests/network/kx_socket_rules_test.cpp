// The socket classes' rules (codes, which failures close, start-up balance) driven through
// a fake socket system.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "network/address_text.h"
#include "network/kx_socket_tcpip.h"
#include "network/kx_socket_udp.h"
#include "network/sender_description.h"
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

// Open makes a non-blocking socket with an event; opening again keeps the socket and renews
// the event; Close is idempotent; each object counts once in the start-up.
TEST_F(KxSocketRules, SocketLifeAndStartUpBalance) {
    {
        KxSocketUDP udp;
        KxSocketTCPIP tcp;
        EXPECT_EQ(fake.startups, 2);
        EXPECT_TRUE(udp.IsBlocking());
        ASSERT_EQ(udp.OpenSocket(), 0u);
        EXPECT_FALSE(udp.IsBlocking());
        EXPECT_EQ(fake.calls, (std::vector<std::string>{"Open", "SetNonBlockingMode", "NewEvent"}));
        const SocketHandle handle = udp.GetSocket();
        const EventHandle event = udp.GetEvent();
        EXPECT_NE(handle, kNoSocket);
        EXPECT_NE(event, kNoEvent);
        fake.calls.clear();
        ASSERT_EQ(udp.OpenSocket(), 0u);
        EXPECT_EQ(udp.GetSocket(), handle);
        EXPECT_NE(udp.GetEvent(), event);
        EXPECT_EQ(fake.calls,
                  (std::vector<std::string>{"SetNonBlockingMode", "CloseEvent", "NewEvent"}));
        EXPECT_EQ(fake.openEvents, 1);
        udp.Close();
        udp.Close();
        EXPECT_EQ(udp.GetSocket(), kNoSocket);
        EXPECT_EQ(udp.GetEvent(), kNoEvent);
        EXPECT_EQ(fake.cleanups, 0);
    }
    EXPECT_EQ(fake.cleanups, 2);
    EXPECT_EQ(fake.CallCount("CloseSocket"), 1);
    EXPECT_EQ(fake.CallCount("CloseEvent"), 2);
    EXPECT_EQ(fake.openEvents, 0);
}

// One operation with one failing system call: the code it returns, and whether the socket
// survives. A UDP socket is opened first, a TCP one connected, unless `open` is false.
TEST_F(KxSocketRules, FailureCodesAndWhichFailuresClose) {
    using Udp = KxSocketUDP;
    using Tcp = KxSocketTCPIP;
    struct Case {
        const char* what;
        bool stream, open;
        const char* failing;
        int error;
        std::uint32_t (*operation)(KxSocketBase&);
        std::uint32_t expected;
        bool stillOpen;
    };
    static char buffer[16];
    static unsigned int count;
    static unsigned short port;
    static int ready;
    static bool readable;
    const auto openUdp = [](KxSocketBase& s) { return static_cast<Udp&>(s).OpenSocket(); };
    // clang-format off
    const Case cases[] = {
        {"open", false, false, "Open", 10055, openUdp, 0x10052, false},
        {"non-blocking at opening", false, false, "SetNonBlockingMode", 10055, openUdp, 0x10052, false},
        {"event at opening", false, false, "NewEvent", 1, openUdp, 0x1005C, false},
        {"bind", false, false, "Bind", 10048, [](KxSocketBase& s) { return static_cast<Udp&>(s).Bind("127.0.0.1", 4000); }, 0x10054, false},
        {"listen", true, false, "Listen", 10022, [](KxSocketBase& s) { return s.Listen(4000, 5); }, 0x10054, false},
        {"non-blocking", false, true, "SetNonBlockingMode", 10038, [](KxSocketBase& s) { return s.SetNonBlocking(); }, 0x10046, false},
        {"interface", false, true, "SetMulticastInterface", 10022, [](KxSocketBase& s) { return s.SetMulticastSendInterface("10.1.2.3"); }, 0x10004, true},
        {"sendto unreachable", false, true, "SendTo", 10051, [](KxSocketBase& s) { return s.SendTo("127.0.0.1", 50999, "abc", 3, count); }, 0x10015, true},
        {"sendto reset", false, true, "SendTo", 10054, [](KxSocketBase& s) { return s.SendTo("127.0.0.1", 50999, "abc", 3, count); }, 0x10018, true},
        {"sendto without a host", false, true, nullptr, 0, [](KxSocketBase& s) { return s.SendTo(nullptr, 50999, "abc", 3, count); }, 0x10003, true},
        {"receive would block", false, true, "ReceiveFrom", 10035, [](KxSocketBase& s) { return s.ReceiveFrom(buffer, sizeof buffer, count, buffer, sizeof buffer, port); }, 0x10033, true},
        {"packet info", false, true, "SetPacketInfo", 10042, [](KxSocketBase& s) { return static_cast<Udp&>(s).EnablePacketInfo(); }, 0x10047, true},
        {"events", false, true, "SelectEvents", 10022, [](KxSocketBase& s) { return s.DisableEvents(); }, 0x10004, true},
        {"send would block", true, true, "Send", 10035, [](KxSocketBase& s) { return s.Send("x", 1, count); }, 0x10033, true},
        {"send reset", true, true, "Send", 10054, [](KxSocketBase& s) { return s.Send("x", 1, count); }, 0x10057, true},
        {"receive buffer", true, true, "SetReceiveBufferSize", 10042, [](KxSocketBase& s) { return s.SetReceiveBufferSize(); }, 0x10047, true},
        {"no delay", true, true, "SetNoDelay", 10042, [](KxSocketBase& s) { return s.SetNoDelay(); }, 0x10047, false},
        {"wait readable", true, true, "Wait", 10038, [](KxSocketBase& s) { return s.WaitReadable(ready, 0, 1000); }, 0x1005B, true},
        {"wait readable or error", true, true, "Wait", 10038, [](KxSocketBase& s) { return s.WaitReadableOrError(readable, 0, 1000); }, 0x10059, true},
        {"accept and close", true, true, "Wait", 10038, [](KxSocketBase& s) { return static_cast<Tcp&>(s).AcceptAndClose(); }, 0x10056, true},
        {"sendto unopened", false, false, nullptr, 0, [](KxSocketBase& s) { return s.SendTo("127.0.0.1", 1, "a", 1, count); }, 0x10008, false},
        {"interface unopened", false, false, nullptr, 0, [](KxSocketBase& s) { return s.SetMulticastSendInterface("127.0.0.1"); }, 0x10008, false},
        {"receive unopened", false, false, nullptr, 0, [](KxSocketBase& s) { return s.Receive(buffer, sizeof buffer, count); }, 0x10008, false},
        {"non-blocking unopened", false, false, nullptr, 0, [](KxSocketBase& s) { return s.SetNonBlocking(); }, 0x10046, false},
        {"enable events unopened", false, false, nullptr, 0, [](KxSocketBase& s) { return s.EnableEvents(); }, 0x1005C, false},
        {"disable events unopened", false, false, nullptr, 0, [](KxSocketBase& s) { return s.DisableEvents(); }, 0x1005C, false},
        {"enum events unopened", false, false, nullptr, 0, [](KxSocketBase& s) { return s.EnumEvents(); }, 0x1005C, false},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Udp udp;
        Tcp tcp;
        KxSocketBase& socket = c.stream ? static_cast<KxSocketBase&>(tcp) : udp;
        if (c.open) {
            ASSERT_EQ(c.stream ? tcp.Connect("127.0.0.1", 80, 1, 0) : udp.OpenSocket(), 0u);
        }
        const std::size_t callsBefore = fake.calls.size();
        if (c.failing != nullptr) {
            fake.FailNext(c.failing, c.error);
        }
        count = 99;
        EXPECT_EQ(c.operation(socket), c.expected);
        EXPECT_EQ(socket.GetSocket() != kNoSocket, c.stillOpen);
        if (!c.open && c.failing == nullptr) {
            EXPECT_EQ(fake.calls.size(), callsBefore) << "nothing asked of the system";
        }
    }
    EXPECT_TRUE(fake.sent.empty());
    EXPECT_EQ(fake.openEvents, 0);
}

TEST_F(KxSocketRules, LocalAddressesAndHostLookUps) {
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

    std::string address;
    fake.hostNameError = 0;
    fake.hostLookupError = 0;
    fake.hostAddresses = {"10.0.0.5", "10.0.0.6"};
    EXPECT_EQ(socket.GetHostAddress("box", address), 0u);
    EXPECT_EQ(address, "10.0.0.5");
    fake.hostAddresses.clear();
    EXPECT_EQ(socket.GetHostAddress("box", address), 0x1004Du);
    fake.hostLookupError = 11001;
    EXPECT_EQ(socket.GetHostAddress("box", address), 0x10048u);
}

TEST_F(KxSocketRules, ListenTwiceAndADatagramListening) {
    KxSocketTCPIP stream;
    ASSERT_EQ(stream.Listen(4000, 5), 0u);
    EXPECT_NE(stream.GetEvent(), kNoEvent);
    EXPECT_EQ(stream.Listen(4000, 5), 0x10055u);

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
        EXPECT_EQ(socket.GetEvent() != kNoEvent, c.open) << c.failing;
    }
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

// The sender's text is cut to the caller's buffer and always ended; a caller without a
// buffer gets the port only.
TEST(SenderDescription, TheHostTextFitsTheCallersBuffer) {
    SocketAddressV4 from;
    from.address = AddressFromText("127.0.0.1");
    from.port = PortToNetworkOrder(4660);
    for (const auto& [size, text] : {std::pair{16u, "127.0.0.1"}, {4u, "127"}, {0u, "none"}}) {
        char host[16] = "none";
        unsigned short port = 0;
        DescribeSender(from, host, size, port);
        EXPECT_STREQ(host, text);
        EXPECT_EQ(port, 4660);
    }
    unsigned short port = 0;
    DescribeSender(from, nullptr, 16, port);
    EXPECT_EQ(port, 4660);
}

}  // namespace
}  // namespace Orvane::Network
