// A recording client on the fake desktop beside a simulated service, for the tests that
// drive the client through what the service sends and read what it sends back.
#pragma once

#include "platform/service.h"
#include "tests/service_api_client/recording_client.h"
#include "tests/service_api_connection/service_peer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api::testing {

class ConnectedClientTest : public ::testing::Test {
  protected:
    // Started as the helper starts it, and registered with the service.
    void Connect() {
        ASSERT_EQ(m_client->Start(0, nullptr, 0, true), LUMO_SUCCESS);
        m_service.Announce();
        ASSERT_EQ(m_client->log, (std::vector<std::string>{"available", "connected"}));
        m_client->log.clear();
    }
    WindowHandle ClientWindow() const { return m_desktop.CreatedWindows().at(0); }
    void Tell(std::uint32_t messageId, std::uint32_t argument1, std::uint32_t argument2,
              const std::vector<std::uint8_t>& payload) {
        m_service.Tell(ClientWindow(), messageId, argument1, argument2, payload);
    }
    std::string LastEntry() const {
        return m_client->log.empty() ? "(nothing)" : m_client->log.back();
    }

    FakeMessageWindow m_desktop;
    Orvane::Platform::ScopedOverride<Orvane::Platform::MessageWindowService> m_installed{m_desktop};
    ServicePeer m_service{m_desktop};
    std::unique_ptr<RecordingClient> m_client = std::make_unique<RecordingClient>();
};

}  // namespace Quorvel::Lumo::Api::testing
