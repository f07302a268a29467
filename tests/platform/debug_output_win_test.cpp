#include "platform/debug_output.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

// The debug-output listener protocol, from the listener's side: the writer waits for
// "buffer ready", fills the shared buffer with its process id and the text, and signals
// "data ready".
class DebugOutputListener {
  public:
    DebugOutputListener()
        : bufferReady_(CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_BUFFER_READY")),
          dataReady_(CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_DATA_READY")),
          mapping_(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096,
                                      L"DBWIN_BUFFER")),
          view_(static_cast<const char*>(MapViewOfFile(mapping_, FILE_MAP_READ, 0, 0, 4096))) {}
    ~DebugOutputListener() {
        UnmapViewOfFile(view_);
        CloseHandle(mapping_);
        CloseHandle(dataReady_);
        CloseHandle(bufferReady_);
    }

    bool Ready() const { return view_ != nullptr; }

    // Collects `count` texts, each with the writer's process id.
    void Collect(int count) {
        thread_ = std::thread([this, count] {
            for (int i = 0; i < count; ++i) {
                SetEvent(bufferReady_);
                if (WaitForSingleObject(dataReady_, 5000) != WAIT_OBJECT_0) {
                    return;
                }
                DWORD pid;
                std::memcpy(&pid, view_, 4);
                received_.push_back({pid, std::string(view_ + 4, strnlen(view_ + 4, 4092))});
            }
        });
    }
    void Join() { thread_.join(); }

    struct Text {
        DWORD pid;
        std::string text;
    };
    std::vector<Text> received_;

  private:
    HANDLE bufferReady_;
    HANDLE dataReady_;
    HANDLE mapping_;
    const char* view_;
    std::thread thread_;
};

TEST(DebugOutputWin32, NarrowAndWideTextsReachAListenerWithOurProcessId) {
    DebugOutputListener listener;
    ASSERT_TRUE(listener.Ready());
    listener.Collect(2);
    Get<DebugOutput>().Write("narrow text\n");
    Get<DebugOutput>().Write(L"wide text\n");
    listener.Join();

    ASSERT_EQ(listener.received_.size(), 2u);
    EXPECT_EQ(listener.received_[0].pid, GetCurrentProcessId());
    EXPECT_EQ(listener.received_[0].text, "narrow text\n");
    EXPECT_EQ(listener.received_[1].pid, GetCurrentProcessId());
    EXPECT_EQ(listener.received_[1].text, "wide text\n");
}

}  // namespace
}  // namespace Orvane::Platform
