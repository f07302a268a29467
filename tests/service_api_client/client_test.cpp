#include "lumo/api/client.h"

#include "platform/kept_exception.h"
#include "tests/service_api_client/connected_client.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api::testing {
namespace {

using ClientTest = ConnectedClientTest;

TEST_F(ClientTest, EveryMessageReachesItsCallbackThroughItsDecoder) {
    Connect();
    // Status word 0x00200000, then one more byte.
    const std::vector<std::uint8_t> payload{0x00, 0x00, 0x20, 0x00, 0xAB};
    const std::string zeroHeader(96, '0');
    std::vector<std::pair<std::uint32_t, std::string>> cases = {
        {1000, "instrument"},
        {1002, "reliable"},
        {1004, "1004 raw 1 5 00002000ab 5"},
        {2015, "2015 data 5 " + zeroHeader + " null 0"},
        {2210, "2210 flag 1"},
    };
#define LUMO_EXPECT_RESULT(id, slot) cases.push_back({id, #id " result 5"});
#define LUMO_EXPECT_RECORD(id, slot) cases.push_back({id, #id " record " #id " 00002000ab"});
#define LUMO_EXPECT_FIXED(id, slot, size) cases.push_back({id, #id " fixed"});
    LUMO_CLIENT_MESSAGES(LUMO_EXPECT_RESULT, LUMO_EXPECT_RECORD, LUMO_EXPECT_FIXED,
                         LUMO_CLIENT_MESSAGES_SKIP)
#undef LUMO_EXPECT_RESULT
#undef LUMO_EXPECT_RECORD
#undef LUMO_EXPECT_FIXED
    ASSERT_EQ(cases.size(), 67u);

    for (const auto& [messageId, expected] : cases) {
        m_client->log.clear();
        Tell(messageId, 1, 5, payload);
        EXPECT_EQ(m_client->log, std::vector<std::string>{expected}) << "message " << messageId;
    }
}

TEST_F(ClientTest, FixedRecordsAreZeroExtendedOrPassedAsReceived) {
    Connect();
    const struct {
        std::uint32_t messageId;
        std::size_t size;
    } cases[] = {{1000, 700}, {2233, 700}, {1001, 564}, {2202, 564}, {1006, 528}, {1009, 400}};
    for (const auto& each : cases) {
        // One byte short: the record's last byte is the zero of the padding.
        std::vector<std::uint8_t> shorter(each.size - 1, 0x11);
        m_client->peek = each.size;
        Tell(each.messageId, 0, 0, shorter);
        ASSERT_EQ(m_client->peeked.size(), 1u) << each.messageId;
        shorter.push_back(0);
        EXPECT_EQ(m_client->peeked.back(), shorter) << each.messageId;

        // One byte long: the received payload itself, so its extra byte is readable.
        std::vector<std::uint8_t> longer(each.size + 1, 0x11);
        longer.back() = 0x22;
        m_client->peek = longer.size();
        Tell(each.messageId, 0, 0, longer);
        EXPECT_EQ(m_client->peeked.back(), longer) << each.messageId;
        m_client->peeked.clear();
    }
}

TEST_F(ClientTest, MeasurementsSplitOnTheReliableBit) {
    Connect();
    const struct {
        std::vector<std::uint8_t> payload;
        std::string expected;
    } cases[] = {
        {{0x00, 0x00, 0x20, 0x00}, "reliable"},          // 0x00200000
        {{0xFF, 0xFF, 0x1F, 0x00, 0x99}, "unreliable"},  // 0x001FFFFF
        {{0xFF, 0xFF, 0xFF, 0xFF}, "reliable"},          // every bit
        {{0xFF, 0xFF, 0xDF, 0xFF}, "unreliable"},        // every bit but that one
        {{0x00, 0x00, 0x20}, "internal 2 1002"},         // no whole status word
        {{}, "internal 2 1002"},
    };
    for (const auto& each : cases) {
        m_client->peek = each.payload.size();
        m_client->peeked.clear();
        Tell(1002, 0, 0, each.payload);
        EXPECT_EQ(LastEntry(), each.expected) << ::testing::PrintToString(each.payload);
        if (each.expected != "internal 2 1002") {
            ASSERT_EQ(m_client->peeked.size(), 1u);
            EXPECT_EQ(m_client->peeked[0], each.payload) << "the record is passed untouched";
        }
    }
}

TEST_F(ClientTest, DataReplySplitsHeaderAndData) {
    Connect();
    std::vector<std::uint8_t> header(48);
    for (std::size_t i = 0; i < header.size(); ++i) {
        header[i] = static_cast<std::uint8_t>(i + 1);
    }
    const std::string headerHex = Hex(header.data(), header.size());
    const std::string zeroHeader(96, '0');
    auto with = [&](std::vector<std::uint8_t> tail) {
        std::vector<std::uint8_t> payload = header;
        payload.insert(payload.end(), tail.begin(), tail.end());
        return payload;
    };
    const struct {
        const char* name;
        std::uint32_t result;
        std::vector<std::uint8_t> payload;
        std::string expected;
    } cases[] = {
        {"47 bytes", 0, std::vector<std::uint8_t>(header.begin(), header.end() - 1),
         "2015 data 7 " + zeroHeader + " null 0"},
        {"header only", 0, header, "2015 data 0 " + headerHex + " null 0"},
        {"header and data", 0, with({0xAA, 0xBB}), "2015 data 0 " + headerHex + " aabb 2"},
        {"refused", 5, with({0xAA}), "2015 data 5 " + zeroHeader + " null 0"},
    };
    for (const auto& each : cases) {
        Tell(2015, 0, each.result, each.payload);
        EXPECT_EQ(LastEntry(), each.expected) << each.name;
    }
}

TEST_F(ClientTest, StartValuesBecomeTheTransportOptions) {
    const std::uint64_t key = 0x0807060504030201;
    ASSERT_EQ(m_client->Start(1, &key, 0x0A0B0C0D, true), LUMO_SUCCESS);
    const Orvane::Platform::LocalTime before = Orvane::Platform::CurrentLocalTime();
    m_service.Announce();
    ASSERT_EQ(m_service.Received().size(), 1u);
    const std::vector<std::uint8_t>& sent = m_service.Received()[0];
    EXPECT_EQ(U32At(sent, 0), 100u) << "a non-zero start argument registers the other way";
    EXPECT_EQ(U32At(sent, 72), 0x0A0B0C0Du);
    EXPECT_TRUE(TokenMadeBetween(sent, {1, 2, 3, 4, 5, 6, 7, 8}, before,
                                 Orvane::Platform::CurrentLocalTime()))
        << "the key is the value's bytes, low byte first";
    EXPECT_EQ(m_client->Start(0, nullptr, 0, true), LUMO_ALREADY_STARTED);
    EXPECT_EQ(m_desktop.CreatedWindows().size(), 1u);
}

TEST_F(ClientTest, DestructionUnregistersAndHearsNothingMore) {
    Connect();
    // The service answers the unregistration at once with more messages; the application
    // part of the client is gone by then and must not be called.
    m_desktop.SetPeerHandler(m_service.Window(), [&](const std::vector<std::uint8_t>& request) {
        if (U32At(request, 0) == 2001) {
            Tell(1000, 0, 0, {1});
            Tell(1002, 0, 0, {0, 0, 0x20, 0});
            Tell(1005, 0, 0, {});
            throw std::runtime_error("another window of the thread failed meanwhile");
        }
    });
    const WindowHandle window = ClientWindow();
    m_client.reset();
    EXPECT_EQ(m_service.ReceivedCodes(), (std::vector<std::uint32_t>{2000, 2001}));
    EXPECT_FALSE(m_desktop.IsWindow(window));
    EXPECT_THROW(Orvane::Platform::ThrowKeptException(), std::runtime_error);
}

// The service's shutdown reaches OnServerDown, from which an application may end the
// session: nothing of the client may be touched after that (AddressSanitizer sees it when
// it is).
TEST_F(ClientTest, ServerDownMayEndTheSession) {
    Connect();
    m_client->onServerDown = [this] { m_client.reset(); };
    const WindowHandle window = ClientWindow();
    m_service.Tell(window, 1005);
    EXPECT_EQ(m_client, nullptr);
    EXPECT_FALSE(m_desktop.IsWindow(window));
}

}  // namespace
}  // namespace Quorvel::Lumo::Api::testing
