#include <functional>
#include <stdexcept>
#include <string>

#include "tests/helper/helper_harness.h"
#include "tests/identification/instrument_record.h"

namespace HelperTesting {
namespace {

constexpr std::uint16_t kAnnounce = 5009;
constexpr std::uint16_t kWithdraw = 5010;

// An arm with the versions 3.4 and 1.7.
Record InstrumentRecord(std::int32_t type, std::uint8_t subType, const std::u16string& name) {
    Record record;
    record.Type(type).SubType(subType).Name(name).Version1(3, 4).Version2(1, 7);
    return record;
}

std::uint16_t MessageType(const std::vector<unsigned char>& datagram) {
    return static_cast<std::uint16_t>(datagram.at(4) | datagram.at(5) << 8);
}

std::uint16_t Sequence(const std::vector<unsigned char>& datagram) {
    return static_cast<std::uint16_t>(datagram.at(6) | datagram.at(7) << 8);
}

// The texts of the datagram's text area, split at their terminators.
std::vector<std::string> Texts(const std::vector<unsigned char>& datagram) {
    std::vector<std::string> texts;
    std::string current;
    for (std::size_t i = 14; i + 1 < datagram.size(); ++i) {
        if (datagram[i] == 0) {
            texts.push_back(current);
            current.clear();
        } else {
            current.push_back(static_cast<char>(datagram[i]));
        }
    }
    return texts;
}

TEST(HelperInstrumentData, TheLoopRepeatsAnArmUntilAnUnsupportedOneWithdrawsIt) {
    HelperHarness h;
    h.InitializeWithPlugin();
    const auto supported = InstrumentRecord(3, 0, u"");
    const auto unsupported = InstrumentRecord(13, 0, u"Other");
    // Each wait that times out is a whole beat of simulated time.
    h.BeforeWait(0, [&] { h.helper->OnInstrumentData(supported.data()); });
    // Wait 0 times out: a beat with a re-announcement.
    h.BeforeWait(1, [&] { h.helper->OnInstrumentData(unsupported.data()); });
    // Wait 1 finds the stop event; wait 2 times out again, now without a re-announcement:
    // the flag was cleared.
    h.ExitBeforeWait(3);

    EXPECT_EQ(h.Run(), 0);

    std::vector<std::uint16_t> types;
    for (const auto& datagram : h.sockets.sent) {
        types.push_back(MessageType(datagram.bytes));
        EXPECT_EQ(Sequence(datagram.bytes), Sequence(h.sockets.sent[0].bytes));
    }
    // Announce, re-announce at the beat, withdraw at the stop event, withdraw at the end.
    EXPECT_EQ(types, (std::vector<std::uint16_t>{kAnnounce, kAnnounce, kWithdraw, kWithdraw}));
    EXPECT_FALSE(h.helper->InstrumentAnnounced());
    // Bytes other than the type are the same in the withdrawal.
    auto withdrawn = h.sockets.sent[2].bytes;
    withdrawn[4] = kAnnounce & 0xFF;
    EXPECT_EQ(withdrawn, h.sockets.sent[0].bytes);
    EXPECT_EQ(Texts(h.sockets.sent[0].bytes)[1], "Unknown");
}

TEST(HelperInstrumentData, EveryEndOfTheRunWithdrawsAnAnnouncedArm) {
    const struct {
        const char* end;
        std::function<void(HelperHarness&)> arrange;
    } cases[] = {
        {"exit message",
         [](HelperHarness& h) { h.ipc.Deliver(kHelperChannelName, PluginMsgExit); }},
        {"wait failed", [](HelperHarness& h) { h.wait.ScriptWait(Orvane::Platform::kWaitFailed); }},
        {"read failed",
         [](HelperHarness& h) {
             h.ipc.Deliver(kHelperChannelName, PluginMsgExit);
             h.ipc.FailNext(Call::Read, 0x1F);
         }},
        {"heartbeat failed", [](HelperHarness& h) { h.ipc.RemovePeerChannel(kPluginChannelName); }},
        {"an exception", [](HelperHarness&) { throw std::runtime_error("callback failed"); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.end);
        HelperHarness h;
        h.PluginPresent();
        const auto record = InstrumentRecord(3, 0, u"Arm");
        h.BeforeWait(0, [&] { h.helper->OnInstrumentData(record.data()); });
        h.BeforeWait(1, [&] { c.arrange(h); });
        h.helper->Execute(false);
        EXPECT_FALSE(h.wait.BudgetSpent());
        ASSERT_FALSE(h.sockets.sent.empty());
        EXPECT_EQ(MessageType(h.sockets.sent.front().bytes), kAnnounce);
        EXPECT_EQ(MessageType(h.sockets.sent.back().bytes), kWithdraw);
    }
}

}  // namespace
}  // namespace HelperTesting
