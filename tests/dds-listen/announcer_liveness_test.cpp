#include "tools/dds-listen/lib/announcer_liveness.h"

#include <gtest/gtest.h>

namespace DdsListen {
namespace {

Announcement Heard(std::uint16_t type, const char* interval) {
    Announcement announcement;
    announcement.messageType = type;
    announcement.texts[5] = interval;
    return announcement;
}

TEST(AnnouncerLiveness, OverdueAfterOneAndAHalfIntervalsOnceThenBack) {
    AnnouncerLiveness liveness;
    EXPECT_FALSE(liveness.Heard("a:1", Heard(5009, "2000"), 1000));
    EXPECT_TRUE(liveness.Check(4000).empty());  // exactly 1.5 intervals: not yet
    const auto overdue = liveness.Check(4001);
    ASSERT_EQ(overdue.size(), 1u);
    EXPECT_EQ(overdue[0].kind, LivenessEvent::Kind::Overdue);
    EXPECT_EQ(overdue[0].source, "a:1");
    EXPECT_EQ(overdue[0].silentMs, 3001u);
    EXPECT_EQ(overdue[0].intervalMs, 2000u);
    EXPECT_TRUE(liveness.Check(9000).empty());  // reported once

    const auto back = liveness.Heard("a:1", Heard(5009, "2000"), 9500);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->kind, LivenessEvent::Kind::Back);
    EXPECT_EQ(back->silentMs, 8500u);
    EXPECT_TRUE(liveness.Check(12500).empty());
    EXPECT_EQ(liveness.Check(12501).size(), 1u);  // and can be overdue again
}

TEST(AnnouncerLiveness, AnnouncersAreWatchedApartAndAWithdrawalEndsTheWatch) {
    AnnouncerLiveness liveness;
    liveness.Heard("a:1", Heard(5009, "100"), 0);
    liveness.Heard("b:2", Heard(5009, "1000"), 0);
    liveness.Heard("c:3", Heard(5009, "100"), 0);
    liveness.Heard("c:3", Heard(5010, "100"), 50);  // withdrawn
    liveness.Heard("d:4", Heard(5009, "0"), 0);     // no beat
    liveness.Heard("e:5", Heard(5009, "soon"), 0);  // no number
    EXPECT_EQ(liveness.WatchedCount(), 2u);
    const auto events = liveness.Check(200);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].source, "a:1");
    EXPECT_EQ(liveness.Check(1501).size(), 1u);

    // A withdrawal after being overdue still says the announcer is back, then forgets it.
    EXPECT_TRUE(liveness.Heard("a:1", Heard(5010, "100"), 2000));
    EXPECT_EQ(liveness.WatchedCount(), 1u);
}

}  // namespace
}  // namespace DdsListen
