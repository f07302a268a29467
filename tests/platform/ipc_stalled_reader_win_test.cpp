// A channel whose reader has stopped reading: the writer gives up after a bound instead of
// waiting for ever, so that a helper whose plug-in hangs ends at its next beat.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "platform/ipc_library.h"
#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

TEST(IpcLibraryWin32, AWriteToAReaderThatStoppedReadingFailsAfterHalfASecond) {
    IpcLibrary& ipc = Get<IpcLibrary>();
    ASSERT_EQ(ipc.Initialize(), 0u);
    const std::string name = "IpcStalled." + std::to_string(GetCurrentProcessId());
    std::uint32_t own = 0;
    std::uint32_t target = 0;
    ASSERT_EQ(ipc.CreateChannel(name.c_str(), &own), 0u);
    ASSERT_EQ(ipc.OpenChannel(name.c_str(), &target), 0u);
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(ipc.WriteChannelWithDataBuffer(target, "w", name.c_str(), nullptr, 0, 1001), 0u)
            << i;
    }
    const auto started = std::chrono::steady_clock::now();
    const std::uint32_t result =
        ipc.WriteChannelWithDataBuffer(target, "w", name.c_str(), nullptr, 0, 1001);
    const auto waited = std::chrono::steady_clock::now() - started;
    EXPECT_EQ(result, 13u) << "the receiver stalled";
    EXPECT_GE(waited, std::chrono::milliseconds(450));
    EXPECT_LT(waited, std::chrono::milliseconds(5000));
    ipc.CloseChannel(target);
    ipc.CloseChannel(own);
}

}  // namespace
}  // namespace Orvane::Platform
