// Any local process can stop reading its channel, write into its mailslot directly, hold
// its lock or forge its shared record: no side of the channel then waits for ever, and a
// forged record stops no write.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include "platform/ipc_library.h"
#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

constexpr std::uint32_t kStalled = 13, kBusy = 14;

struct Channel {
    explicit Channel(const std::string& what) : name("Hostile." + what) {
        ipc.Initialize();
        EXPECT_EQ(ipc.CreateChannel(name.c_str(), &own), 0u);
        EXPECT_EQ(ipc.OpenChannel(name.c_str(), &target), 0u);
    }
    ~Channel() {
        ipc.CloseChannel(target);
        ipc.CloseChannel(own);
    }
    std::uint32_t Write() {
        return ipc.WriteChannelWithDataBuffer(target, "w", name.c_str(), nullptr, 0, 1001);
    }
    std::uint32_t Read() {
        char buffer[16];
        std::uint32_t bytes = 0;
        return ipc.ReadChannel(buffer, own, sizeof buffer, &bytes, 0);
    }

    IpcLibrary& ipc = Get<IpcLibrary>();
    std::string name;
    std::uint32_t own = 0, target = 0;
};

// Fills the mailslot past the point where the system blocks its writers.
void FillTheMailslot(const std::string& name) {
    const HANDLE slot =
        CreateFileA(("\\\\.\\mailslot\\KxIpc\\" + name).c_str(), GENERIC_WRITE, FILE_SHARE_READ,
                    nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    const std::string block(4000, 'x');
    OVERLAPPED overlapped{};
    overlapped.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    DWORD written = 0;
    while (WriteFile(slot, block.data(), 4000, nullptr, &overlapped) ||
           (GetLastError() == ERROR_IO_PENDING &&
            WaitForSingleObject(overlapped.hEvent, 100) == WAIT_OBJECT_0)) {
        ResetEvent(overlapped.hEvent);
    }
    CancelIoEx(slot, &overlapped);
    GetOverlappedResult(slot, &overlapped, &written, TRUE);
    CloseHandle(overlapped.hEvent);
    CloseHandle(slot);
}

TEST(IpcLibraryWin32, NoPartyMakesAChannelWaitForEver) {
    using Clock = std::chrono::steady_clock;
    const struct {
        const char* what;
        std::function<void(Channel&)> arrange;
        std::function<std::uint32_t(Channel&)> act;
        std::uint32_t result;
        bool waits;  // about half a second, not for ever
    } cases[] = {
        {"reader stopped",
         [](Channel& c) {
             for (int i = 0; i < 64; ++i) {
                 ASSERT_EQ(c.Write(), 0u) << i;
             }
         },
         &Channel::Write, kStalled, true},
        {"mailslot filled", [](Channel& c) { FillTheMailslot(c.name); }, &Channel::Write, kStalled,
         true},
        {"record forged",
         [](Channel& c) {
             const HANDLE mapping =
                 OpenFileMappingA(FILE_MAP_WRITE, FALSE, ("KxIpc.Waiting." + c.name).c_str());
             auto* record = static_cast<LONG*>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 8));
             record[0] = record[1] = 0x7FFFFFFF;
             UnmapViewOfFile(record);
             CloseHandle(mapping);
         },
         [](Channel& c) { return c.Write() + c.Read(); }, 0, false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        Channel channel(each.what);
        each.arrange(channel);
        const auto started = Clock::now();
        EXPECT_EQ(each.act(channel), each.result);
        const auto waited = Clock::now() - started;
        EXPECT_EQ(waited >= std::chrono::milliseconds(450), each.waits);
        EXPECT_LT(waited, std::chrono::milliseconds(5000));
    }

    // A lock held elsewhere: reading and writing both give up.
    Channel channel("lock held");
    std::promise<void> holding, release;
    std::thread holder([&] {
        const HANDLE lock = OpenMutexA(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE,
                                       ("KxIpc.Lock." + channel.name).c_str());
        WaitForSingleObject(lock, INFINITE);
        holding.set_value();
        release.get_future().wait();
        ReleaseMutex(lock);
        CloseHandle(lock);
    });
    holding.get_future().wait();
    EXPECT_EQ(channel.Read(), kBusy);
    EXPECT_EQ(channel.Write(), kBusy);
    release.set_value();
    holder.join();
    EXPECT_EQ(channel.Write(), 0u);
}

}  // namespace
}  // namespace Orvane::Platform
