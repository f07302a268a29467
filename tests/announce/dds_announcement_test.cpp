// The announcer's modes, results and retries, on a fake socket system.
#include "announce/dds_announcement.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "network/testing/fake_socket_system.h"
#include "platform/service.h"
#include "platform/testing/fake_debug_output.h"
#include "tests/announce/example_instrument.h"

namespace {

using Orvane::Network::SocketSystem;
using Orvane::Network::Testing::FakeSocketSystem;
using Orvane::Platform::DebugOutput;
using Orvane::Platform::ScopedOverride;
using Orvane::Platform::Testing::FakeDebugOutput;
using Bytes = std::vector<unsigned char>;
using Texts = std::vector<std::string>;
using WideTexts = std::vector<std::wstring>;

class Announcer : public ::testing::Test {
  protected:
    Texts SendInterfaces() const {
        Texts interfaces;
        for (const auto& datagram : fake.sent) {
            interfaces.push_back(datagram.sendInterface);
        }
        return interfaces;
    }

    FakeSocketSystem fake;
    ScopedOverride<SocketSystem> useSockets{fake};
    FakeDebugOutput debug;
    ScopedOverride<DebugOutput> useDebug{debug};
};

TEST_F(Announcer, LoopbackAnnounceThenWithdrawSendTheSameBytesWithTheirTypes) {
    DdsAnnouncement announcement(true, true);
    EXPECT_EQ(announcement.Announce(ExampleInstrument()), 0u);
    ASSERT_EQ(fake.sent.size(), 1u);
    const std::uint16_t sequence = SequenceOf(fake.sent[0].bytes.data());
    EXPECT_EQ(fake.sent[0].bytes, ExampleDatagram(0x1391, sequence));
    EXPECT_EQ(fake.sent[0].destination, "127.0.0.1");
    EXPECT_EQ(fake.sent[0].port, 50999);

    EXPECT_EQ(announcement.Reannounce(), 0u);
    EXPECT_EQ(announcement.Withdraw(), 0u);
    ASSERT_EQ(fake.sent.size(), 3u);
    EXPECT_EQ(fake.sent[1].bytes, ExampleDatagram(0x1391, sequence));
    EXPECT_EQ(fake.sent[2].bytes, ExampleDatagram(0x1392, sequence));
    EXPECT_EQ(announcement.Addresses(), Texts{"127.0.0.1"});
    EXPECT_EQ(fake.CallCount("SetMulticastInterface"), 0);
    EXPECT_TRUE(debug.WideTexts().empty());
}

TEST_F(Announcer, SetStateRebuildsOnlyOnAChangeButAlwaysSends) {
    DdsAnnouncement announcement(true, true);
    ASSERT_EQ(announcement.Announce(ExampleInstrument()), 0u);
    const std::uint16_t first = SequenceOf(announcement.Packet());

    EXPECT_EQ(announcement.SetState(0), 0u);
    EXPECT_EQ(SequenceOf(announcement.Packet()), first);
    EXPECT_EQ(fake.sent.size(), 2u);

    ASSERT_EQ(announcement.Withdraw(), 0u);
    EXPECT_EQ(announcement.SetState(7), 0u);
    ASSERT_EQ(fake.sent.size(), 4u);
    const Bytes& changed = fake.sent.back().bytes;
    EXPECT_NE(SequenceOf(changed.data()), first);
    EXPECT_EQ(changed[4], 0x91);  // announces again after the withdrawal
    Bytes expected = ExampleDatagram(0x1391, SequenceOf(changed.data()));
    expected[38] = '7';  // the state text
    EXPECT_EQ(changed, expected);
    EXPECT_EQ(announcement.Info().state, 7);
}

TEST_F(Announcer, LoopbackRetriesOnceOnANewSocket) {
    struct Case {
        const char* title;
        std::vector<std::pair<const char*, int>> failures;
        std::uint32_t result;
        std::size_t datagrams;
        WideTexts texts;
        bool openAfterwards;
    } const cases[] = {
        // clang-format off
        {"send fails, retry succeeds", {{"SendTo", 10054}}, 0, 1, {}, true},
        {"unreachable is no exception here", {{"SendTo", 10051}}, 0, 1, {}, true},
        {"retry fails too", {{"SendTo", 10054}, {"SendTo", 10055}}, 0x10019, 0, {L"m_socket.SendTo failed.\n"}, true},
        {"no new socket", {{"SendTo", 10054}, {"Open", 10024}}, 0x10052, 0, {L"m_socket.OpenSocket failed.\n"}, false},
        {"new socket stays blocking", {{"SendTo", 10054}, {"SetNonBlockingMode", 0}, {"SetNonBlockingMode", 10038}}, 0x10046, 0, {L"m_socket.SetNonBlocking failed.\n"}, false},
        // clang-format on
    };
    for (const auto& c : cases) {
        FakeSocketSystem fresh;
        ScopedOverride<SocketSystem> use(fresh);
        FakeDebugOutput texts;
        ScopedOverride<DebugOutput> useTexts(texts);
        DdsAnnouncement announcement(true, false);
        ASSERT_EQ(announcement.Announce(ExampleInstrument()), 0u) << c.title;
        const auto firstSocket = announcement.Socket().GetSocket();
        for (const auto& [name, error] : c.failures) {
            fresh.FailNext(name, error);
        }
        EXPECT_EQ(announcement.Reannounce(), c.result) << c.title;
        EXPECT_EQ(fresh.sent.size(), c.datagrams) << c.title;
        EXPECT_EQ(texts.WideTexts(), c.texts) << c.title;
        EXPECT_TRUE(texts.NarrowTexts().empty()) << c.title;
        EXPECT_FALSE(fresh.IsOpen(firstSocket)) << c.title;
        EXPECT_EQ(announcement.Socket().GetSocket() != Orvane::Network::kNoSocket, c.openAfterwards)
            << c.title;
    }
}

TEST_F(Announcer, AnnounceReportsASocketThatCannotBeOpened) {
    struct Case {
        const char* failing;
        std::vector<int> errors;  // of its calls in turn, 0 for a success
        std::uint32_t result;
    } const cases[] = {
        {"Open", {10055}, 0x10052},
        {"SetNonBlockingMode", {10055}, 0x10052},     // inside OpenSocket
        {"SetNonBlockingMode", {0, 10055}, 0x10046},  // Announce's own second switch
        {"HostByName", {11001}, 0x10048},             // multicast only
    };
    for (const auto& c : cases) {
        FakeSocketSystem fresh;
        ScopedOverride<SocketSystem> use(fresh);
        const bool multicast = std::string(c.failing) == "HostByName";
        fresh.hostLookupError = multicast ? c.errors[0] : 0;
        DdsAnnouncement announcement(!multicast, true);
        for (int error : multicast ? std::vector<int>{} : c.errors) {
            fresh.FailNext(c.failing, error);
        }
        EXPECT_EQ(announcement.Announce(ExampleInstrument()), c.result) << c.failing;
        EXPECT_EQ(announcement.SendLength(), 0u) << c.failing;  // nothing built
        EXPECT_EQ(announcement.Socket().GetSocket(), Orvane::Network::kNoSocket) << c.failing;
        EXPECT_TRUE(fresh.sent.empty()) << c.failing;
        EXPECT_EQ(announcement.Withdraw(), 2u) << c.failing;
    }
}

struct MulticastCase {
    const char* title;
    Texts hostAddresses;
    std::vector<std::pair<const char*, int>> failures;
    std::uint32_t result;
    Texts sendInterfaces;  // of the datagrams sent, in order ("" = not set on that socket)
    WideTexts texts;
};

TEST_F(Announcer, MulticastSendsOncePerInterface) {
    const MulticastCase cases[] = {
        // clang-format off
        {"every interface", {"10.0.0.1", "10.0.0.2"}, {}, 0, {"10.0.0.1", "10.0.0.2"}, {}},
        {"loopback is never an interface", {"127.0.0.1"}, {}, 0x10015, {}, {}},
        {"first unreachable", {"10.0.0.1", "10.0.0.2"}, {{"SendTo", 10051}}, 0, {"10.0.0.2"}, {}},
        {"all unreachable", {"10.0.0.1", "10.0.0.2"}, {{"SendTo", 10051}, {"SendTo", 10051}}, 0x10015, {}, {}},
        {"the only interface succeeds on the retry", {"10.0.0.1"}, {{"SendTo", 10054}}, 0x10015, {""}, {}},
        {"a retry does not hide an earlier success", {"10.0.0.1", "10.0.0.2"}, {{"SendTo", 0}, {"SendTo", 10054}}, 0, {"10.0.0.1", ""}, {}},
        {"send interface refused on the first of three", {"10.0.0.1", "10.0.0.2", "10.0.0.3"}, {{"SetMulticastInterface", 10022}}, 0x10004, {}, {L"m_socket.SetMulticastSendInterface failed.\n"}},
        {"a hard failure ends the send", {"10.0.0.1", "10.0.0.2"}, {{"SendTo", 10054}, {"SendTo", 10065}}, 0x10022, {}, {L"m_socket.SendTo failed.\n"}},
        {"no new socket for the retry", {"10.0.0.1", "10.0.0.2"}, {{"Open", 0}, {"SendTo", 10054}, {"Open", 10024}}, 0x10052, {}, {L"m_socket.OpenSocket failed.\n"}},
        // clang-format on
    };
    for (const auto& c : cases) {
        FakeSocketSystem fresh;
        ScopedOverride<SocketSystem> use(fresh);
        FakeDebugOutput texts;
        ScopedOverride<DebugOutput> useTexts(texts);
        fresh.hostAddresses = c.hostAddresses;
        DdsAnnouncement announcement(false, true);
        for (const auto& [name, error] : c.failures) {
            fresh.FailNext(name, error);
        }
        EXPECT_EQ(announcement.Announce(ExampleInstrument()), c.result) << c.title;
        Texts interfaces;
        for (const auto& datagram : fresh.sent) {
            interfaces.push_back(datagram.sendInterface);
            EXPECT_EQ(datagram.destination, "224.192.168.224") << c.title;
            EXPECT_EQ(datagram.port, 50999) << c.title;
            EXPECT_EQ(datagram.bytes, ExampleDatagram(0x1391, SequenceOf(datagram.bytes.data())))
                << c.title;
        }
        EXPECT_EQ(interfaces, c.sendInterfaces) << c.title;
        EXPECT_EQ(texts.WideTexts(), c.texts) << c.title;
        EXPECT_TRUE(texts.NarrowTexts().empty()) << c.title;
    }
}

TEST_F(Announcer, ExcludedAddressesAreNeverSentOnNorInAnyRebuiltList) {
    fake.hostAddresses = {"10.0.0.1", "10.0.0.2", "10.0.0.1"};
    DdsAnnouncement announcement(false, true);
    announcement.ExcludeAddress("10.0.0.2");
    announcement.ExcludeAddress("10.0.0.7");  // not in the list yet
    ASSERT_EQ(announcement.Announce(ExampleInstrument()), 0u);
    EXPECT_EQ(announcement.Addresses(), (Texts{"10.0.0.1", "10.0.0.1"}));
    EXPECT_EQ(SendInterfaces(), (Texts{"10.0.0.1", "10.0.0.1"}));

    fake.FailNext("SendTo", 10054);
    fake.FailNext("Open", 10024);
    ASSERT_EQ(announcement.Reannounce(), 0x10052u);  // leaves the socket closed
    fake.hostAddresses = {"10.0.0.7", "10.0.0.8", "10.0.0.1", "10.0.0.2"};
    fake.sent.clear();
    ASSERT_EQ(announcement.Announce(ExampleInstrument()), 0u);
    EXPECT_EQ(SendInterfaces(), (Texts{"10.0.0.8", "10.0.0.1"}));

    announcement.ExcludeAddress("10.0.0.1");
    announcement.ExcludeAddress("10.0.0.8");
    EXPECT_TRUE(announcement.Addresses().empty());
    EXPECT_EQ(announcement.Reannounce(), 0x10015u);
}

TEST_F(Announcer, DestructionClosesTheSocketAndBalancesTheStartUp) {
    {
        DdsAnnouncement announcement(true, true);
        ASSERT_EQ(announcement.Announce(ExampleInstrument()), 0u);
        EXPECT_EQ(fake.closedSockets.size(), 0u);
    }
    EXPECT_EQ(fake.closedSockets.size(), 1u);
    EXPECT_EQ(fake.openEvents, 0);
    EXPECT_EQ(fake.startups, fake.cleanups);
}

}  // namespace
