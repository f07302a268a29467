// The measuring-arm service as the client's tests see it: a window of another process on
// the fake desktop that announces itself, keeps what the client sends, and talks back.
// Wire bytes are read and built here field by field, independently of the client's own
// framing code.
#pragma once

#include <gtest/gtest.h>

#include "platform/local_time.h"
#include "platform/service.h"
#include "platform/testing/fake_message_window.h"
#include "service_api/core/registration.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api::testing {

using Orvane::Platform::FakeMessageWindow;
using Orvane::Platform::WindowHandle;

inline std::uint32_t U32At(const std::vector<std::uint8_t>& bytes, std::size_t offset) {
    return std::uint32_t{bytes.at(offset)} | std::uint32_t{bytes.at(offset + 1)} << 8 |
           std::uint32_t{bytes.at(offset + 2)} << 16 | std::uint32_t{bytes.at(offset + 3)} << 24;
}

inline void PutU32(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

// A message as the service sends it: the 32-byte chunk header, then the payload.
inline std::vector<std::uint8_t> ServiceMessage(std::uint32_t messageId, std::uint32_t argument1,
                                                std::uint32_t argument2,
                                                const std::vector<std::uint8_t>& payload = {}) {
    std::vector<std::uint8_t> bytes;
    PutU32(bytes, messageId);
    PutU32(bytes, argument1);
    PutU32(bytes, argument2);
    PutU32(bytes, static_cast<std::uint32_t>(payload.size()));
    bytes.resize(32, 0);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

// Whether a registration message carries the token made with `key` at one of the two
// times, taken before and after it was sent.
inline bool TokenMadeBetween(const std::vector<std::uint8_t>& sent,
                             const std::array<std::uint8_t, 8>& key,
                             const Orvane::Platform::LocalTime& before,
                             const Orvane::Platform::LocalTime& after) {
    for (const Orvane::Platform::LocalTime& at : {before, after}) {
        const auto made = BuildRegistrationRequest(at, key, 0);
        if (std::equal(made.begin() + 4, made.begin() + 12, sent.begin() + 64)) {
            return true;
        }
    }
    return false;
}

class ServicePeer {
  public:
    explicit ServicePeer(FakeMessageWindow& desktop)
        : m_desktop(desktop), m_window(desktop.AddPeer()) {}

    WindowHandle Window() const { return m_window; }

    // The service's broadcast, with its own window in lParam.
    void Announce() {
        m_desktop.Broadcast(m_desktop.RegisterMessage(L"LUMO_SERVERAVAILABLE"), 0,
                            static_cast<std::intptr_t>(m_window));
    }
    // Answers 0 to every further block: SendMessageW failed.
    void Refuse() { m_desktop.SetPeerAnswer(m_window, 0); }
    // The service's process ends: its window is gone.
    void Vanish() { m_desktop.Destroy(m_window); }

    const std::vector<std::vector<std::uint8_t>>& Received() const {
        return m_desktop.ReceivedBy(m_window);
    }
    // The message codes of what the client sent, in order.
    std::vector<std::uint32_t> ReceivedCodes() const {
        std::vector<std::uint32_t> codes;
        for (const auto& block : Received()) {
            codes.push_back(U32At(block, 0));
        }
        return codes;
    }

    std::intptr_t Tell(WindowHandle client, std::uint32_t messageId, std::uint32_t argument1 = 0,
                       std::uint32_t argument2 = 0, const std::vector<std::uint8_t>& payload = {}) {
        return m_desktop.SendBytes(client,
                                   ServiceMessage(messageId, argument1, argument2, payload));
    }

  private:
    FakeMessageWindow& m_desktop;
    WindowHandle m_window;
};

// A test on the fake desktop, installed for the test's life, with the service's window on
// it; the client's window is the first one created.
class ServiceDesktopTest : public ::testing::Test {
  protected:
    WindowHandle ClientWindow() const { return m_desktop.CreatedWindows().at(0); }
    std::intptr_t Tell(std::uint32_t messageId, std::uint32_t argument1 = 0,
                       std::uint32_t argument2 = 0, const std::vector<std::uint8_t>& payload = {}) {
        return m_service.Tell(ClientWindow(), messageId, argument1, argument2, payload);
    }

    FakeMessageWindow m_desktop;
    Orvane::Platform::ScopedOverride<Orvane::Platform::MessageWindowService> m_installed{m_desktop};
    ServicePeer m_service{m_desktop};
};

}  // namespace Quorvel::Lumo::Api::testing
