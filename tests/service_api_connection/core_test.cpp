#include "service_api/core/core.h"

#include "platform/service.h"
#include "tests/service_api_connection/service_peer.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace Quorvel::Lumo::Api::testing {
namespace {

using Orvane::Platform::MessageWindowService;
using Orvane::Platform::ScopedOverride;

constexpr LumoTransportOptions kAutoRegister{1, 0, {}};
constexpr LumoTransportOptions kManualRegister{0, 0, {}};

class CoreTest : public ServiceDesktopTest {
  protected:
    // Started, the service announced, and (with auto-registration) registered.
    void Connect(LumoTransportOptions options = kAutoRegister) {
        ASSERT_EQ(m_core.Start(0, options), LUMO_SUCCESS);
        m_service.Announce();
    }
    // A handler that notes its name and what it got.
    LumoMessageHandler Note(const std::string& name) {
        return [this, name](const sLUMOChunk& header, char* payload, std::uint64_t size) {
            std::string entry = name + "(" + std::to_string(header.messageId) + "," +
                                std::to_string(header.argument1) + "," + std::to_string(size);
            for (std::uint64_t i = 0; i < size; ++i) {
                entry += "," + std::to_string(static_cast<unsigned char>(payload[i]));
            }
            m_log.push_back(entry + ")");
        };
    }

    std::vector<std::string> m_log;
    Core m_core;
};

TEST_F(CoreTest, RoutesByCodeAndRepliesByTheCodeTheyAnswer) {
    const struct {
        const char* name;
        bool replyHandler, defaultHandler;
        std::uint32_t messageId, argument1;
        std::vector<std::uint8_t> payload;
        std::vector<std::string> expected;
    } cases[] = {
        // clang-format off
        {"code with a handler", true, true, 2013, 0, {}, {"h2013(2013,0,0)"}},
        {"payload behind the header", true, true, 2013, 5, {9, 8, 7}, {"h2013(2013,5,3,9,8,7)"}},
        {"reply to a code with a handler", true, true, 1004, 2013, {}, {"h2013(1004,2013,0)"}},
        {"reply to a code without one", true, true, 1004, 2999, {}, {"h1004(1004,2999,0)"}},
        {"unclaimed reply, no 1004 handler", false, true, 1004, 2999, {}, {"default(1004,2999,0)"}},
        {"unknown code", true, true, 3333, 2013, {}, {"default(3333,2013,0)"}},
        {"unclaimed reply, nothing else", false, false, 1004, 2999, {}, {}},
        // clang-format on
    };
    for (const auto& each : cases) {
        FakeMessageWindow desktop;
        ScopedOverride<MessageWindowService> installed(desktop);
        ServicePeer service(desktop);
        Core core;
        m_log.clear();
        core.AddMessageHandler(2013, Note("h2013"));
        if (each.replyHandler) {
            core.AddMessageHandler(1004, Note("h1004"));
        }
        if (each.defaultHandler) {
            core.SetDefaultHandler(Note("default"));
        }
        core.Start(0, kManualRegister);
        const std::uint32_t countBefore = core.MessageCount();
        service.Tell(desktop.CreatedWindows().at(0), each.messageId, each.argument1, 0,
                     each.payload);
        EXPECT_EQ(m_log, each.expected) << each.name;
        // Dropped or not, every message counts and stamps the time.
        EXPECT_EQ(core.MessageCount(), countBefore + 1) << each.name;
        EXPECT_NE(core.LastMessageTime().year, 0) << each.name;
    }
}

TEST_F(CoreTest, HandlerTablesReplaceRemoveAndClear) {
    m_core.AddMessageHandler(2013, Note("first"));
    m_core.AddMessageHandler(2013, Note("second"));
    m_core.SetDefaultHandler(Note("default"));
    int serverAvailable = 0;
    m_core.SetEventHandler(LumoCoreEvent::ServerAvailable, [&] { ++serverAvailable; });
    Connect(kManualRegister);
    Tell(2013);
    EXPECT_EQ(m_log, (std::vector<std::string>{"second(2013,0,0)"}));

    EXPECT_EQ(m_core.RemoveMessageHandler(2013), 1u);
    EXPECT_EQ(m_core.RemoveMessageHandler(2013), 0u);
    // A handler that removes itself runs on to its end (its state is still there).
    m_core.AddMessageHandler(2015, [this, note = Note("self")](const sLUMOChunk& header,
                                                               char* payload, std::uint64_t size) {
        m_core.RemoveMessageHandler(2015);
        note(header, payload, size);
    });
    Tell(2015);
    Tell(2015);
    EXPECT_EQ(m_log.back(), "default(2015,0,0)");
    EXPECT_EQ(m_log.end()[-2], "self(2015,0,0)");
    m_core.AddMessageHandler(2014, Note("gone"));
    m_core.ClearMessageHandlers();
    Tell(2014);
    EXPECT_EQ(m_log.back(), "default(2014,0,0)");
    EXPECT_EQ(serverAvailable, 1);
}

TEST_F(CoreTest, AThrowingOrEmptyHandlerLeavesTheCoreAsItWas) {
    m_core.AddMessageHandler(2013, [](const sLUMOChunk&, char*, std::uint64_t) {
        throw std::runtime_error("handler failed");
    });
    m_core.AddMessageHandler(2014, LumoMessageHandler{});
    Connect();
    EXPECT_THROW(Tell(2013), std::runtime_error);
    EXPECT_THROW(Tell(2014), std::bad_function_call);
    EXPECT_EQ(m_core.MessageCount(), 2u);
    EXPECT_TRUE(m_core.IsRegistered() && m_core.IsServerAvailable());
    EXPECT_EQ(m_core.Send(2005, nullptr, 0, 0, 0), LUMO_SUCCESS);

    m_core.SetEventHandler(LumoCoreEvent::Unregistered, LumoEventHandler{});
    EXPECT_THROW(m_core.Unregister(), std::bad_function_call);
    EXPECT_FALSE(m_core.IsRegistered()) << "the flag changes before the handler runs";
    m_core.SetEventHandler(LumoCoreEvent::Unregistered, [] {});  // the destructor unregisters
    m_core.SetEventHandler(LumoCoreEvent::Registered, LumoEventHandler{});
    EXPECT_THROW(m_core.Register(), std::bad_function_call);
    EXPECT_TRUE(m_core.IsRegistered());
}

}  // namespace
}  // namespace Quorvel::Lumo::Api::testing
