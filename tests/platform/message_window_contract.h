// What every message-window backend must do, run against the fake and against Win32.
// A backend type provides Pump(): let due messages and timers reach their windows.
#pragma once

#include "platform/message_window.h"
#include "platform/service.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace Orvane::Platform {

struct RecordingEvents final : MessageWindowEvents {
    struct Registered {
        std::uint32_t message;
        std::uintptr_t wParam;
        std::intptr_t lParam;
    };
    struct Copy {
        std::uintptr_t dwData;
        std::vector<std::uint8_t> bytes;
    };

    bool OnRegisteredMessage(std::uint32_t message, std::uintptr_t wParam,
                             std::intptr_t lParam) override {
        registered.push_back({message, wParam, lParam});
        return true;
    }
    bool OnCopyData(const CopyDataBlock& block) override {
        const auto* bytes = static_cast<const std::uint8_t*>(block.lpData);
        copies.push_back({block.dwData, {bytes, bytes + block.cbData}});
        if (onCopyData) {
            onCopyData(block);
        }
        return takeCopyData;
    }
    bool OnTimer(std::uintptr_t timerId) override {
        timers.push_back(timerId);
        return true;
    }

    // Only the broadcasts of one message: a real desktop has others.
    std::vector<Registered> Of(std::uint32_t message) const {
        std::vector<Registered> matching;
        for (const Registered& each : registered) {
            if (each.message == message) {
                matching.push_back(each);
            }
        }
        return matching;
    }

    std::vector<Registered> registered;
    std::vector<Copy> copies;
    std::vector<std::uintptr_t> timers;
    std::function<void(const CopyDataBlock&)> onCopyData;
    bool takeCopyData = false;
};

template <class Backend>
class MessageWindowContract : public ::testing::Test {
  protected:
    MessageWindowService& Service() { return Get<MessageWindowService>(); }

    WindowHandle NewWindow(RecordingEvents& events) {
        const WindowHandle window =
            Service().Create(L"LumoContractWindow", L"LUMO_CONTRACT_WINDOW", events);
        if (window != 0) {
            m_created.push_back(window);
        }
        return window;
    }

    bool PumpUntil(const std::function<bool()>& done) {
        for (int round = 0; round < 200 && !done(); ++round) {
            m_backend.Pump();
        }
        return done();
    }

    void TearDown() override {
        for (WindowHandle window : m_created) {
            Service().Destroy(window);
        }
    }

    Backend m_backend;
    std::vector<WindowHandle> m_created;
};

TYPED_TEST_SUITE_P(MessageWindowContract);

TYPED_TEST_P(MessageWindowContract, NamesAMessageTheSameWayEveryTime) {
    const std::uint32_t first = this->Service().RegisterMessage(L"LUMO_CONTRACT_FIRST");
    const std::uint32_t second = this->Service().RegisterMessage(L"LUMO_CONTRACT_SECOND");
    EXPECT_EQ(this->Service().RegisterMessage(L"LUMO_CONTRACT_FIRST"), first);
    EXPECT_NE(first, second);
    for (std::uint32_t message : {first, second}) {
        EXPECT_GE(message, kFirstRegisteredMessage);
        EXPECT_LE(message, kLastRegisteredMessage);
    }
}

TYPED_TEST_P(MessageWindowContract, BroadcastReachesEveryWindowWithItsArguments) {
    RecordingEvents first, second;
    const WindowHandle a = this->NewWindow(first);
    const WindowHandle b = this->NewWindow(second);
    ASSERT_NE(a, 0u);
    ASSERT_NE(b, 0u);
    const std::uint32_t message = this->Service().RegisterMessage(L"LUMO_CONTRACT_BROADCAST");

    ASSERT_TRUE(this->Service().Broadcast(message, 7, static_cast<std::intptr_t>(b)));
    ASSERT_TRUE(
        this->PumpUntil([&] { return !first.Of(message).empty() && !second.Of(message).empty(); }));

    for (const RecordingEvents* events : {&first, &second}) {
        const auto received = events->Of(message);
        ASSERT_EQ(received.size(), 1u);
        EXPECT_EQ(received[0].wParam, 7u);
        EXPECT_EQ(received[0].lParam, static_cast<std::intptr_t>(b));
    }
}

TYPED_TEST_P(MessageWindowContract, CopyDataArrivesWholeRepliesComeBackInsideTheSendAndTakenIsOne) {
    RecordingEvents client, server;
    const WindowHandle a = this->NewWindow(client);
    const WindowHandle b = this->NewWindow(server);
    const std::vector<std::uint8_t> request{1, 2, 3, 0, 0xFF};
    const std::vector<std::uint8_t> reply{9, 8, 7};
    server.onCopyData = [&](const CopyDataBlock&) {
        this->Service().SendCopyData(a,
                                     {0, static_cast<std::uint32_t>(reply.size()), reply.data()});
    };

    // Default handling answers 0.
    EXPECT_EQ(this->Service().SendCopyData(
                  b, {0x55, static_cast<std::uint32_t>(request.size()), request.data()}),
              0);

    ASSERT_EQ(server.copies.size(), 1u);
    EXPECT_EQ(server.copies[0].dwData, 0x55u);
    EXPECT_EQ(server.copies[0].bytes, request);
    ASSERT_EQ(client.copies.size(), 1u) << "the reply must arrive before the send returns";
    EXPECT_EQ(client.copies[0].bytes, reply);

    server.takeCopyData = true;
    EXPECT_EQ(this->Service().SendCopyData(b, {0, 1, request.data()}), 1) << "taken: 1";
}

TYPED_TEST_P(MessageWindowContract, TimerGoesOffWithItsIdUntilStopped) {
    RecordingEvents events;
    const WindowHandle window = this->NewWindow(events);
    ASSERT_TRUE(this->Service().StartTimer(window, 1280, 20));
    ASSERT_TRUE(this->PumpUntil([&] { return events.timers.size() >= 2; }));
    for (std::uintptr_t id : events.timers) {
        EXPECT_EQ(id, 1280u);
    }
    this->Service().StopTimer(window, 1280);
}

TYPED_TEST_P(MessageWindowContract, DestroyedWindowIsNoWindowAndGetsNothing) {
    RecordingEvents events;
    const WindowHandle window = this->NewWindow(events);
    EXPECT_TRUE(this->Service().IsWindow(window));
    EXPECT_FALSE(this->Service().IsWindow(0));

    this->Service().Destroy(window);

    EXPECT_FALSE(this->Service().IsWindow(window));
    const std::uint8_t byte = 1;
    EXPECT_EQ(this->Service().SendCopyData(window, {0, 1, &byte}), 0);
    EXPECT_TRUE(events.copies.empty());
}

REGISTER_TYPED_TEST_SUITE_P(MessageWindowContract, NamesAMessageTheSameWayEveryTime,
                            BroadcastReachesEveryWindowWithItsArguments,
                            CopyDataArrivesWholeRepliesComeBackInsideTheSendAndTakenIsOne,
                            TimerGoesOffWithItsIdUntilStopped,
                            DestroyedWindowIsNoWindowAndGetsNothing);

}  // namespace Orvane::Platform
