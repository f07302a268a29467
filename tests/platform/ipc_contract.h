// What the helper relies on from the channel library, run against the fake (natively) and
// against the stand-in DLL through the Win32 backend (under Wine), both inside one process.
//
// An environment type provides:
//   IpcLibrary& ipc();  MessageWait& wait();
//   std::string Name(const char* base);   a channel name no other test process uses
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/ipc_library.h"
#include "platform/message_wait.h"

namespace Orvane::Platform {

template <class Environment>
class IpcContract : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(ipc().Initialize(), 0u); }

    IpcLibrary& ipc() { return environment.ipc(); }
    bool Signalled(KernelHandle event) {
        return environment.wait().PollObjects(1, &event) == kWaitObject0;
    }
    std::vector<std::uint8_t> ReadNext(std::uint32_t channel, std::uint32_t* result) {
        std::vector<std::uint8_t> buffer(1024, 0xEE);
        std::uint32_t bytesRead = 0;
        *result = ipc().ReadChannel(buffer.data(), channel, 1024, &bytesRead, 0);
        buffer.resize(*result == 0 ? bytesRead : 0);
        return buffer;
    }

    Environment environment;
};

TYPED_TEST_SUITE_P(IpcContract);

TYPED_TEST_P(IpcContract, ChannelsExistFromCreationUntilCloseEachKindForItsOwnUse) {
    const std::string name = this->environment.Name("exist");
    std::uint32_t own = 0;
    std::uint32_t opened = 0;
    EXPECT_NE(this->ipc().OpenChannel(name.c_str(), &opened), 0u);
    ASSERT_EQ(this->ipc().CreateChannel(name.c_str(), &own), 0u);
    EXPECT_NE(own, 0u);
    std::uint32_t second = 0;
    EXPECT_NE(this->ipc().CreateChannel(name.c_str(), &second), 0u);
    ASSERT_EQ(this->ipc().OpenChannel(name.c_str(), &opened), 0u);
    EXPECT_NE(opened, own);
    // Each kind of channel only for its own use.
    KernelHandle event = nullptr;
    EXPECT_NE(this->ipc().GetDataReadyEvent(opened, &event), 0u);
    EXPECT_NE(this->ipc().WriteChannelWithDataBuffer(own, "sender", name.c_str(), "x", 1, 1), 0u);
    EXPECT_NE(this->ipc().WriteChannelWithDataBuffer(opened, "sender", "another name", "x", 1, 1),
              0u);
    std::uint32_t result = 0;
    this->ReadNext(opened, &result);
    EXPECT_NE(result, 0u);

    EXPECT_EQ(this->ipc().CloseChannel(own), 0u);
    EXPECT_NE(this->ipc().CloseChannel(own), 0u);
    EXPECT_NE(this->ipc().WriteChannelWithDataBuffer(opened, "sender", name.c_str(), "x", 1, 7),
              0u);
    std::uint32_t reopened = 0;
    EXPECT_NE(this->ipc().OpenChannel(name.c_str(), &reopened), 0u);
    EXPECT_EQ(this->ipc().CloseChannel(opened), 0u);
}

TYPED_TEST_P(IpcContract, MessagesArriveInOrderAsCodeThenDataWhileTheEventIsSignalled) {
    const std::string name = this->environment.Name("order");
    std::uint32_t own = 0;
    std::uint32_t opened = 0;
    ASSERT_EQ(this->ipc().CreateChannel(name.c_str(), &own), 0u);
    ASSERT_EQ(this->ipc().OpenChannel(name.c_str(), &opened), 0u);
    KernelHandle dataReady = nullptr;
    ASSERT_EQ(this->ipc().GetDataReadyEvent(own, &dataReady), 0u);
    EXPECT_FALSE(this->Signalled(dataReady));

    const char text[] = "Failed";
    ASSERT_EQ(this->ipc().WriteChannelWithDataBuffer(opened, "sender", name.c_str(), text,
                                                     sizeof text, 1100),
              0u);
    ASSERT_EQ(
        this->ipc().WriteChannelWithDataBuffer(opened, "sender", nullptr, nullptr, 0, 0x01020304),
        0u);
    EXPECT_TRUE(this->Signalled(dataReady));
    EXPECT_TRUE(this->Signalled(dataReady)) << "looking must not consume the signal";

    std::uint32_t result = 0;
    EXPECT_EQ(this->ReadNext(own, &result),
              (std::vector<std::uint8_t>{0x4C, 0x04, 0, 0, 'F', 'a', 'i', 'l', 'e', 'd', 0}));
    EXPECT_EQ(result, 0u);
    EXPECT_TRUE(this->Signalled(dataReady)) << "one message is still waiting";
    EXPECT_EQ(this->ReadNext(own, &result), (std::vector<std::uint8_t>{4, 3, 2, 1}));
    EXPECT_FALSE(this->Signalled(dataReady));
    this->ReadNext(own, &result);
    EXPECT_NE(result, 0u) << "nothing is waiting";

    // A message larger than the buffer is refused, untouched, and kept for a larger one.
    const std::vector<std::uint8_t> data(1021, 0x5A);
    ASSERT_EQ(this->ipc().WriteChannelWithDataBuffer(opened, "sender", name.c_str(), data.data(),
                                                     1021, 9),
              0u);
    std::vector<std::uint8_t> small(1024, 0xEE);
    std::uint32_t bytesRead = 0;
    EXPECT_NE(this->ipc().ReadChannel(small.data(), own, 1024, &bytesRead, 0), 0u);
    EXPECT_EQ(small, std::vector<std::uint8_t>(1024, 0xEE));
    std::vector<std::uint8_t> large(2048);
    ASSERT_EQ(this->ipc().ReadChannel(large.data(), own, 2048, &bytesRead, 0), 0u);
    EXPECT_EQ(bytesRead, 1025u);
    EXPECT_EQ(large[0], 9);
    EXPECT_EQ(large[1024], 0x5A);

    this->ipc().CloseChannel(opened);
    this->ipc().CloseChannel(own);
}

REGISTER_TYPED_TEST_SUITE_P(IpcContract, ChannelsExistFromCreationUntilCloseEachKindForItsOwnUse,
                            MessagesArriveInOrderAsCodeThenDataWhileTheEventIsSignalled);

}  // namespace Orvane::Platform
