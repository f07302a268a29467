// What the helper's loop relies on from events and the wait, stated once
// and run against the fakes (natively) and against the Win32 backends (under Wine), so
// that the fakes cannot drift from the system they stand for. Each test program that
// includes this file instantiates it with its own environments.
//
// An environment type provides:
//   Events& events();  MessageWait& wait();
//   void PostInput();                    a window message for the calling thread
//   void LookAtInputWithoutRemoving();   what PeekMessage without PM_REMOVE does
#pragma once

#include <gtest/gtest.h>

#include "platform/events.h"
#include "platform/message_wait.h"

namespace Orvane::Platform {

template <class Environment>
class WaitContract : public ::testing::Test {
  protected:
    Environment environment;
};

TYPED_TEST_SUITE_P(WaitContract);

TYPED_TEST_P(WaitContract, LowestSignalledIndexWinsAndAutoResetEventsAreConsumed) {
    Events& events = this->environment.events();
    MessageWait& wait = this->environment.wait();
    KernelHandle handles[2] = {events.CreateAutoResetEvent(), events.CreateAutoResetEvent()};
    ASSERT_NE(handles[0], nullptr);
    ASSERT_NE(handles[1], nullptr);

    EXPECT_EQ(wait.WaitForObjectsOrInput(2, handles, 10), kWaitTimeout);
    ASSERT_TRUE(events.Set(handles[1]));
    ASSERT_TRUE(events.Set(handles[0]));
    EXPECT_EQ(wait.WaitForObjectsOrInput(2, handles, 1000), kWaitObject0);
    EXPECT_EQ(wait.WaitForObjectsOrInput(2, handles, 1000), kWaitObject0 + 1);
    EXPECT_EQ(wait.WaitForObjectsOrInput(2, handles, 10), kWaitTimeout);

    ASSERT_TRUE(events.Set(handles[1]));
    EXPECT_EQ(wait.PollObjects(2, handles), kWaitObject0 + 1);
    EXPECT_EQ(wait.PollObjects(2, handles), kWaitTimeout);

    EXPECT_TRUE(events.Close(handles[0]));
    EXPECT_TRUE(events.Close(handles[1]));
}

TYPED_TEST_P(WaitContract, WindowInputWakesTheWaitUntilDispatched) {
    Events& events = this->environment.events();
    MessageWait& wait = this->environment.wait();
    KernelHandle handles[2] = {events.CreateAutoResetEvent(), events.CreateAutoResetEvent()};

    EXPECT_FALSE(wait.DispatchOneMessage());
    this->environment.PostInput();
    EXPECT_EQ(wait.WaitForObjectsOrInput(2, handles, 1000), 2u);
    // Input that has been seen but left in the queue must still wake the next wait, or a
    // loop that pumps one message per wake-up would sleep with work waiting.
    this->environment.LookAtInputWithoutRemoving();
    EXPECT_EQ(wait.WaitForObjectsOrInput(2, handles, 1000), 2u);
    EXPECT_TRUE(wait.DispatchOneMessage());
    EXPECT_FALSE(wait.DispatchOneMessage());
    EXPECT_EQ(wait.WaitForObjectsOrInput(2, handles, 10), kWaitTimeout);

    // A signalled handle is reported before waiting input.
    this->environment.PostInput();
    events.Set(handles[1]);
    EXPECT_EQ(wait.WaitForObjectsOrInput(2, handles, 1000), kWaitObject0 + 1);
    EXPECT_TRUE(wait.DispatchOneMessage());

    events.Close(handles[0]);
    events.Close(handles[1]);
}

TYPED_TEST_P(WaitContract, ClosedHandlesFailTheWaitWithInvalidHandle) {
    constexpr std::uint32_t kErrorInvalidHandle = 6;
    Events& events = this->environment.events();
    MessageWait& wait = this->environment.wait();
    KernelHandle handles[2] = {events.CreateAutoResetEvent(), events.CreateAutoResetEvent()};
    ASSERT_TRUE(events.Close(handles[1]));
    EXPECT_FALSE(events.Close(handles[1]));

    EXPECT_EQ(wait.WaitForObjectsOrInput(2, handles, 10), kWaitFailed);
    EXPECT_EQ(wait.LastError(), kErrorInvalidHandle);
    EXPECT_EQ(wait.PollObjects(2, handles), kWaitFailed);
    events.Close(handles[0]);
}

REGISTER_TYPED_TEST_SUITE_P(WaitContract, LowestSignalledIndexWinsAndAutoResetEventsAreConsumed,
                            WindowInputWakesTheWaitUntilDispatched,
                            ClosedHandlesFailTheWaitWithInvalidHandle);

}  // namespace Orvane::Platform
