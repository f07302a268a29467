#include <stdexcept>

#include "tests/announce/example_instrument.h"
#include "tests/helper/helper_harness.h"
#include "tests/identification/instrument_record.h"

namespace HelperTesting {
namespace {

TEST(HelperInstrumentData, TheLoopRepeatsAnArmUntilAnUnsupportedOneWithdrawsIt) {
    HelperHarness h;
    h.InitializeWithPlugin();
    Record supported, unsupported;
    supported.Name(u"");
    unsupported.Type(13).Name(u"Other");
    // Each wait that times out is a whole beat of simulated time.
    h.BeforeWait(0, [&] { h.helper->OnInstrumentData(supported.data()); });
    // Wait 0 times out: a beat with a re-announcement.
    h.BeforeWait(1, [&] { h.helper->OnInstrumentData(unsupported.data()); });
    // Wait 1 finds the stop event; wait 2 times out again, now without a re-announcement:
    // the flag was cleared.
    h.ExitBeforeWait(3);

    EXPECT_EQ(h.Run(), 0);

    // Announce, re-announce at the beat, withdraw at the stop event, withdraw at the end.
    EXPECT_EQ(h.DatagramTypes(),
              (std::vector<std::uint16_t>{kAnnounce, kAnnounce, kWithdraw, kWithdraw}));
    const auto& first = h.sockets.sent[0].bytes;
    for (const auto& datagram : h.sockets.sent) {
        EXPECT_EQ(SequenceOf(datagram.bytes.data()), SequenceOf(first.data()));
    }
    EXPECT_FALSE(h.helper->InstrumentAnnounced());
    // Bytes other than the type are the same in the withdrawal; a nameless arm is "Unknown".
    auto withdrawn = h.sockets.sent[2].bytes;
    withdrawn[4] = kAnnounce & 0xFF;
    EXPECT_EQ(withdrawn, first);
    EXPECT_EQ(std::string(first.begin() + 20, first.begin() + 28), std::string("Unknown\0", 8));
}

}  // namespace
}  // namespace HelperTesting
