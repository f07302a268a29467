// A recording client on the fake desktop beside a simulated service, for the tests that
// drive the client through what the service sends and read what it sends back.
#pragma once

#include "tests/service_api_client/recording_client.h"
#include "tests/service_api_connection/service_peer.h"

#include <memory>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api::testing {

class ConnectedClientTest : public ServiceDesktopTest {
  protected:
    // Started as the helper starts it, and registered with the service.
    void Connect() {
        ASSERT_EQ(m_client->Start(0, nullptr, 0, true), LUMO_SUCCESS);
        m_service.Announce();
        ASSERT_EQ(m_client->log, (std::vector<std::string>{"available", "connected"}));
        m_client->log.clear();
    }
    std::string LastEntry() const {
        return m_client->log.empty() ? "(nothing)" : m_client->log.back();
    }

    std::unique_ptr<RecordingClient> m_client = std::make_unique<RecordingClient>();
};

}  // namespace Quorvel::Lumo::Api::testing
