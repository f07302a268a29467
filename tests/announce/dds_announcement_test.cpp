// The announcer's modes, results and retries, on a fake socket system.
#include "announce/dds_announcement.h"

#include <gtest/gtest.h>

#include <memory>
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

TEST_F(Announcer, SetStateRebuildsOnlyOnAChangeButAlwaysSends) {
    DdsAnnouncement announcement(true, true);
    ASSERT_EQ(announcement.Announce(ExampleInstrument()), 0u);
    const std::uint16_t first = SequenceOf(announcement.Packet());

    EXPECT_EQ(announcement.SetState(0), 0u);
    EXPECT_EQ(SequenceOf(announcement.Packet()), first);
    EXPECT_EQ(fake.sent.size(), 2u);
    EXPECT_EQ(announcement.Addresses(), Texts{"127.0.0.1"});

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

// One announcement or re-announcement with scripted failures: its result, the datagrams
// that went out (by their send interface, "" where none was set), the texts on the debugger
// output and whether a socket is left; once it is destroyed, nothing may stay open. Loopback
// retries once on a new socket; multicast sends once per interface.
TEST_F(Announcer, SendsRetriesAndFailures) {
    struct Case {
        const char* title;
        bool loopback;
        bool reannounce;  // after a first announcement that went out
        Texts hostAddresses;
        std::vector<std::pair<const char*, int>> failures;
        std::uint32_t result;
        Texts sendInterfaces;
        WideTexts texts;
        bool open;
    } const cases[] = {
        // clang-format off
        {"loopback", true, false, {}, {}, 0, {""}, {}, true},
        {"send fails, retry succeeds", true, true, {}, {{"SendTo", 10054}}, 0, {""}, {}, true},
        {"unreachable is no exception here", true, true, {}, {{"SendTo", 10051}}, 0, {""}, {}, true},
        {"retry fails too", true, true, {}, {{"SendTo", 10054}, {"SendTo", 10055}}, 0x10019, {}, {L"m_socket.SendTo failed.\n"}, true},
        {"no new socket", true, true, {}, {{"SendTo", 10054}, {"Open", 10024}}, 0x10052, {}, {L"m_socket.OpenSocket failed.\n"}, false},
        {"new socket stays blocking", true, true, {}, {{"SendTo", 10054}, {"SetNonBlockingMode", 0}, {"SetNonBlockingMode", 10038}}, 0x10046, {}, {L"m_socket.SetNonBlocking failed.\n"}, false},
        {"no socket", true, false, {}, {{"Open", 10055}}, 0x10052, {}, {}, false},
        {"blocking socket", true, false, {}, {{"SetNonBlockingMode", 10055}}, 0x10052, {}, {}, false},
        {"announce's own switch", true, false, {}, {{"SetNonBlockingMode", 0}, {"SetNonBlockingMode", 10055}}, 0x10046, {}, {}, false},
        {"no interfaces known", false, false, {}, {{"HostByName", 11001}}, 0x10048, {}, {}, false},
        {"every interface", false, false, {"10.0.0.1", "10.0.0.2"}, {}, 0, {"10.0.0.1", "10.0.0.2"}, {}, true},
        {"loopback is never an interface", false, false, {"127.0.0.1"}, {}, 0x10015, {}, {}, true},
        {"first unreachable", false, false, {"10.0.0.1", "10.0.0.2"}, {{"SendTo", 10051}}, 0, {"10.0.0.2"}, {}, true},
        {"all unreachable", false, false, {"10.0.0.1", "10.0.0.2"}, {{"SendTo", 10051}, {"SendTo", 10051}}, 0x10015, {}, {}, true},
        {"the only interface succeeds on the retry", false, false, {"10.0.0.1"}, {{"SendTo", 10054}}, 0x10015, {""}, {}, true},
        {"a retry does not hide an earlier success", false, false, {"10.0.0.1", "10.0.0.2"}, {{"SendTo", 0}, {"SendTo", 10054}}, 0, {"10.0.0.1", ""}, {}, true},
        {"send interface refused on the first of three", false, false, {"10.0.0.1", "10.0.0.2", "10.0.0.3"}, {{"SetMulticastInterface", 10022}}, 0x10004, {}, {L"m_socket.SetMulticastSendInterface failed.\n"}, true},
        {"a hard failure ends the send", false, false, {"10.0.0.1", "10.0.0.2"}, {{"SendTo", 10054}, {"SendTo", 10065}}, 0x10022, {}, {L"m_socket.SendTo failed.\n"}, true},
        {"no new socket for the retry", false, false, {"10.0.0.1", "10.0.0.2"}, {{"Open", 0}, {"SendTo", 10054}, {"Open", 10024}}, 0x10052, {}, {L"m_socket.OpenSocket failed.\n"}, false},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.title);
        FakeSocketSystem fresh;
        ScopedOverride<SocketSystem> use(fresh);
        FakeDebugOutput texts;
        ScopedOverride<DebugOutput> useTexts(texts);
        fresh.hostAddresses = c.hostAddresses;
        auto owned = std::make_unique<DdsAnnouncement>(c.loopback, !c.reannounce);
        DdsAnnouncement& announcement = *owned;
        if (c.reannounce) {
            ASSERT_EQ(announcement.Announce(ExampleInstrument()), 0u);
            fresh.sent.clear();
        }
        const auto firstSocket = announcement.Socket().GetSocket();
        for (const auto& [name, error] : c.failures) {
            if (std::string(name) == "HostByName") {
                fresh.hostLookupError = error;
            } else {
                fresh.FailNext(name, error);
            }
        }
        EXPECT_EQ(
            c.reannounce ? announcement.Reannounce() : announcement.Announce(ExampleInstrument()),
            c.result);
        Texts interfaces;
        for (const auto& datagram : fresh.sent) {
            interfaces.push_back(datagram.sendInterface);
            EXPECT_EQ(datagram.destination, c.loopback ? "127.0.0.1" : "224.192.168.224");
            EXPECT_EQ(datagram.port, 50999);
            EXPECT_EQ(datagram.bytes, ExampleDatagram(0x1391, SequenceOf(datagram.bytes.data())));
        }
        EXPECT_EQ(interfaces, c.sendInterfaces);
        EXPECT_EQ(texts.WideTexts(), c.texts);
        EXPECT_TRUE(texts.NarrowTexts().empty());
        EXPECT_EQ(announcement.Socket().GetSocket() != Orvane::Network::kNoSocket, c.open);
        if (c.reannounce) {
            EXPECT_FALSE(fresh.IsOpen(firstSocket));
        } else if (!c.open && c.texts.empty()) {
            // Failed silently before anything was built: nothing to withdraw.
            EXPECT_EQ(announcement.SendLength(), 0u);
            EXPECT_EQ(announcement.Withdraw(), 2u);
        }
        const auto lastSocket = announcement.Socket().GetSocket();
        owned.reset();
        EXPECT_FALSE(fresh.IsOpen(lastSocket));
        EXPECT_EQ(fresh.openEvents, 0);
        EXPECT_EQ(fresh.startups, fresh.cleanups);
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

}  // namespace
