#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tools/KxIpcDll/KxIpcDll.h"

namespace {

std::string UniqueName(const char* base) {
    return std::string("KxIpcDllTest.") + std::to_string(GetCurrentProcessId()) + "." + base;
}

// A run of kxipc_test_peer.exe, which sits beside this test program.
class Peer {
  public:
    explicit Peer(const std::string& arguments) {
        char path[MAX_PATH];
        const DWORD length = GetModuleFileNameA(nullptr, path, MAX_PATH);
        std::string directory(path, length);
        directory.resize(directory.find_last_of('\\') + 1);
        std::string commandLine = "\"" + directory + "kxipc_test_peer.exe\" " + arguments;
        STARTUPINFOA startup{};
        startup.cb = sizeof startup;
        started_ = CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                  nullptr, &startup, &info_) != FALSE;
        if (started_) {
            CloseHandle(info_.hThread);
        }
    }
    ~Peer() {
        if (started_) {
            if (WaitForSingleObject(info_.hProcess, 0) == WAIT_TIMEOUT) {
                TerminateProcess(info_.hProcess, 99);
            }
            CloseHandle(info_.hProcess);
        }
    }

    bool Started() const { return started_; }
    // The exit status, or -1 when the peer did not end in time.
    long Wait() {
        if (WaitForSingleObject(info_.hProcess, 30000) != WAIT_OBJECT_0) {
            return -1;
        }
        DWORD status = 0;
        GetExitCodeProcess(info_.hProcess, &status);
        return static_cast<long>(status);
    }

  private:
    bool started_ = false;
    PROCESS_INFORMATION info_{};
};

class KxIpcDll : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(kxipcInitialize(), KXIPC_OK); }
};

// What the peer's message i is, built here independently of any sending code.
std::vector<unsigned char> ExpectedMessage(int i) {
    const unsigned code = 1000 + i;
    std::vector<unsigned char> bytes{static_cast<unsigned char>(code & 0xFF),
                                     static_cast<unsigned char>(code >> 8), 0, 0};
    bytes.resize(4 + i % 300, static_cast<unsigned char>(i % 256));
    return bytes;
}

TEST_F(KxIpcDll, MessagesOfAnotherProcessArriveWholeAndInOrderWhileReadAlongside) {
    // Far more messages than a receiver may leave unread, and a late start of the reading:
    // the writer must wait for room without stopping the reader, and every signal seen must
    // have a message behind it.
    constexpr int kCount = 2000;
    const std::string name = UniqueName("order");
    unsigned channel = 0;
    ASSERT_EQ(kxipcCreateChannel(name.c_str(), &channel), KXIPC_OK);
    HANDLE dataReady = nullptr;
    ASSERT_EQ(kxipcGetDataReadyEvent(channel, &dataReady), KXIPC_OK);
    EXPECT_EQ(WaitForSingleObject(dataReady, 0), WAIT_TIMEOUT);

    Peer peer("send " + name + " " + std::to_string(kCount));
    ASSERT_TRUE(peer.Started());
    Sleep(300);
    std::vector<unsigned char> buffer(1024);
    int received = 0;
    for (; received < kCount; ++received) {
        ASSERT_EQ(WaitForSingleObject(dataReady, 10000), WAIT_OBJECT_0) << "message " << received;
        unsigned bytesRead = 12345;
        ASSERT_EQ(kxipcReadChannel(buffer.data(), channel, 1024, &bytesRead, 0), KXIPC_OK)
            << "signalled without a message before message " << received;
        ASSERT_EQ(std::vector<unsigned char>(buffer.begin(), buffer.begin() + bytesRead),
                  ExpectedMessage(received));
    }
    EXPECT_EQ(peer.Wait(), 0);
    EXPECT_EQ(WaitForSingleObject(dataReady, 0), WAIT_TIMEOUT);
    unsigned bytesRead = 12345;
    EXPECT_EQ(kxipcReadChannel(buffer.data(), channel, 1024, &bytesRead, 0),
              KXIPC_ERROR_NO_MESSAGE);
    EXPECT_EQ(bytesRead, 0u);
    EXPECT_EQ(kxipcCloseChannel(channel), KXIPC_OK);
}

TEST_F(KxIpcDll, AChannelCanBeOpenedOnlyWhileItsCreatorHoldsIt) {
    const std::string name = UniqueName("held");
    const HANDLE ready = CreateEventA(nullptr, TRUE, FALSE, (name + ".ready").c_str());
    const HANDLE quit = CreateEventA(nullptr, TRUE, FALSE, (name + ".quit").c_str());
    unsigned opened = 0;
    EXPECT_EQ(kxipcOpenChannel(name.c_str(), &opened), KXIPC_ERROR_NO_SUCH_CHANNEL);

    Peer peer("hold " + name);
    ASSERT_TRUE(peer.Started());
    ASSERT_EQ(WaitForSingleObject(ready, 10000), WAIT_OBJECT_0);
    unsigned own = 0;
    EXPECT_EQ(kxipcCreateChannel(name.c_str(), &own), KXIPC_ERROR_CHANNEL_EXISTS);
    ASSERT_EQ(kxipcOpenChannel(name.c_str(), &opened), KXIPC_OK);
    EXPECT_EQ(kxipcWriteChannelWithDataBuffer(opened, "test", name.c_str(), nullptr, 0, 1001),
              KXIPC_OK);

    // The peer ends without closing: the system's clean-up must end the channel as well.
    SetEvent(quit);
    EXPECT_EQ(peer.Wait(), 0);
    EXPECT_EQ(kxipcWriteChannelWithDataBuffer(opened, "test", name.c_str(), nullptr, 0, 1001),
              KXIPC_ERROR_CHANNEL_GONE);
    unsigned reopened = 0;
    EXPECT_EQ(kxipcOpenChannel(name.c_str(), &reopened), KXIPC_ERROR_NO_SUCH_CHANNEL);
    EXPECT_EQ(kxipcCloseChannel(opened), KXIPC_OK);
    CloseHandle(ready);
    CloseHandle(quit);
}

TEST_F(KxIpcDll, HandlesAreClosedOnceAndNeverReused) {
    const std::string name = UniqueName("close");
    unsigned first = 0;
    ASSERT_EQ(kxipcCreateChannel(name.c_str(), &first), KXIPC_OK);
    EXPECT_EQ(kxipcCloseChannel(first), KXIPC_OK);
    EXPECT_EQ(kxipcCloseChannel(first), KXIPC_ERROR_INVALID_HANDLE);

    unsigned second = 0;
    ASSERT_EQ(kxipcCreateChannel(name.c_str(), &second), KXIPC_OK) << "the name is free again";
    EXPECT_NE(second, first);
    EXPECT_EQ(kxipcCloseChannel(first), KXIPC_ERROR_INVALID_HANDLE);
    HANDLE event = nullptr;
    EXPECT_EQ(kxipcGetDataReadyEvent(first, &event), KXIPC_ERROR_INVALID_HANDLE);
    EXPECT_EQ(kxipcGetDataReadyEvent(second, &event), KXIPC_OK);
    EXPECT_EQ(kxipcCloseChannel(second), KXIPC_OK);
    EXPECT_EQ(kxipcCloseChannel(0), KXIPC_ERROR_INVALID_HANDLE);
}

TEST_F(KxIpcDll, ATooSmallBufferIsToldTheSizeItNeedsAndTheMessageWaits) {
    const std::string name = UniqueName("small");
    unsigned own = 0;
    unsigned opened = 0;
    ASSERT_EQ(kxipcCreateChannel(name.c_str(), &own), KXIPC_OK);
    ASSERT_EQ(kxipcOpenChannel(name.c_str(), &opened), KXIPC_OK);
    ASSERT_EQ(kxipcWriteChannelWithDataBuffer(opened, "test", nullptr, "abcdef", 6, 77), KXIPC_OK);
    HANDLE dataReady = nullptr;
    ASSERT_EQ(kxipcGetDataReadyEvent(own, &dataReady), KXIPC_OK);

    unsigned char buffer[16];
    std::memset(buffer, 0xEE, sizeof buffer);
    unsigned bytesRead = 0;
    EXPECT_EQ(kxipcReadChannel(buffer, own, 9, &bytesRead, 0), KXIPC_ERROR_BUFFER_TOO_SMALL);
    EXPECT_EQ(bytesRead, 10u);
    EXPECT_EQ(buffer[0], 0xEE);
    EXPECT_EQ(WaitForSingleObject(dataReady, 0), WAIT_OBJECT_0);
    ASSERT_EQ(kxipcReadChannel(buffer, own, 10, &bytesRead, 0), KXIPC_OK);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 10), std::string("M\0\0\0abcdef", 10));
    EXPECT_EQ(WaitForSingleObject(dataReady, 0), WAIT_TIMEOUT);
    kxipcCloseChannel(opened);
    kxipcCloseChannel(own);
}

TEST_F(KxIpcDll, BadArgumentsAreRefusedWithTheirCodes) {
    const std::string name = UniqueName("args");
    unsigned own = 0;
    unsigned opened = 0;
    ASSERT_EQ(kxipcCreateChannel(name.c_str(), &own), KXIPC_OK);
    ASSERT_EQ(kxipcOpenChannel(name.c_str(), &opened), KXIPC_OK);
    unsigned out = 0;
    unsigned char buffer[8];
    const std::vector<unsigned char> tooLarge(KXIPC_MAX_DATA_LENGTH + 1);

    struct Case {
        const char* what;
        std::function<unsigned()> call;
        unsigned expected;
    };
    const std::vector<Case> cases = {
        {"empty name", [&] { return kxipcCreateChannel("", &out); }, KXIPC_ERROR_INVALID_NAME},
        {"null name", [&] { return kxipcOpenChannel(nullptr, &out); }, KXIPC_ERROR_INVALID_NAME},
        {"backslash", [&] { return kxipcCreateChannel("a\\b", &out); }, KXIPC_ERROR_INVALID_NAME},
        {"control character", [&] { return kxipcCreateChannel("a\tb", &out); },
         KXIPC_ERROR_INVALID_NAME},
        {"129 characters", [&] { return kxipcCreateChannel(std::string(129, 'n').c_str(), &out); },
         KXIPC_ERROR_INVALID_NAME},
        {"null handle place", [&] { return kxipcCreateChannel("fine", nullptr); },
         KXIPC_ERROR_INVALID_ARGUMENT},
        {"null event place", [&] { return kxipcGetDataReadyEvent(own, nullptr); },
         KXIPC_ERROR_INVALID_ARGUMENT},
        {"reserved flag", [&] { return kxipcReadChannel(buffer, own, 8, &out, 1); },
         KXIPC_ERROR_INVALID_ARGUMENT},
        {"null bytes-read place", [&] { return kxipcReadChannel(buffer, own, 8, nullptr, 0); },
         KXIPC_ERROR_INVALID_ARGUMENT},
        {"reading an opened channel", [&] { return kxipcReadChannel(buffer, opened, 8, &out, 0); },
         KXIPC_ERROR_WRONG_CHANNEL_KIND},
        {"writing a created channel",
         [&] { return kxipcWriteChannelWithDataBuffer(own, "t", nullptr, "x", 1, 1); },
         KXIPC_ERROR_WRONG_CHANNEL_KIND},
        {"null data with a length",
         [&] { return kxipcWriteChannelWithDataBuffer(opened, "t", nullptr, nullptr, 1, 1); },
         KXIPC_ERROR_INVALID_ARGUMENT},
        {"another target name",
         [&] { return kxipcWriteChannelWithDataBuffer(opened, "t", "other", "x", 1, 1); },
         KXIPC_ERROR_INVALID_ARGUMENT},
        {"too much data",
         [&] {
             return kxipcWriteChannelWithDataBuffer(opened, "t", nullptr, tooLarge.data(),
                                                    KXIPC_MAX_DATA_LENGTH + 1, 1);
         },
         KXIPC_ERROR_MESSAGE_TOO_LARGE},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.call(), c.expected) << c.what;
    }
    unsigned bytesRead = 0;
    EXPECT_EQ(kxipcReadChannel(buffer, own, 8, &bytesRead, 0), KXIPC_ERROR_NO_MESSAGE)
        << "no refused write may have left a message";
    kxipcCloseChannel(opened);
    kxipcCloseChannel(own);
}

}  // namespace
