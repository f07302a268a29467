#include "service_api/core/core.h"

#include "platform/kept_exception.h"
#include "platform/service.h"
#include "tests/service_api_connection/service_peer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
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

TEST_F(CoreTest, SendNeedsARegisteredConnection) {
    EXPECT_EQ(m_core.Send(2005, nullptr, 0, 0, 0), LUMO_NOT_REGISTERED);
    EXPECT_EQ(m_core.Register(), LUMO_NOT_INITIALIZED);
    Connect(kManualRegister);
    EXPECT_EQ(m_core.Send(2005, nullptr, 0, 0, 0), LUMO_NOT_REGISTERED);
    EXPECT_EQ(m_core.Register(), LUMO_SUCCESS);

    EXPECT_EQ(m_core.Send(2100, nullptr, 0, 3, 0), LUMO_SUCCESS);
    EXPECT_EQ(m_service.ReceivedCodes().back(), 2100u);

    m_service.Refuse();
    EXPECT_EQ(m_core.Send(2005, nullptr, 0, 0, 0), LUMO_EXECUTION_FAILED);
    m_service.Vanish();
    m_desktop.TickTimers();
    EXPECT_EQ(m_core.Send(2005, nullptr, 0, 0, 0), LUMO_NOT_REGISTERED);
}

TEST_F(CoreTest, StartStopLifecycle) {
    m_desktop.FailCreate(FakeMessageWindow::CreateFailure::OutOfMemory);
    EXPECT_EQ(m_core.Start(0, kAutoRegister), LUMO_SERVICE_INTERNAL_ERROR);
    EXPECT_FALSE(m_core.IsStarted());
    m_desktop.FailCreate(FakeMessageWindow::CreateFailure::None);
    EXPECT_EQ(m_core.Stop(), LUMO_SUCCESS);
    Connect();
    const WindowHandle first = ClientWindow();
    EXPECT_EQ(m_core.Start(0, kAutoRegister), LUMO_ALREADY_STARTED);
    EXPECT_EQ(m_core.Stop(), LUMO_SUCCESS);
    EXPECT_EQ(m_service.ReceivedCodes(), (std::vector<std::uint32_t>{2000, 2001}));
    EXPECT_FALSE(m_core.IsStarted() || m_core.IsRegistered() || m_core.IsServerAvailable());
    EXPECT_FALSE(m_desktop.IsWindow(first));
}

TEST_F(CoreTest, RepliesArriveInsideTheSendAndHandlersMaySendAgain) {
    // The service answers every request at once, from inside the client's send.
    m_desktop.SetPeerHandler(m_service.Window(), [&](const std::vector<std::uint8_t>& request) {
        const std::uint32_t code = U32At(request, 0);
        if (code != 2000) {
            Tell(1004, code, 0);
        }
    });
    m_core.AddMessageHandler(2013, [&](const sLUMOChunk&, char*, std::uint64_t) {
        m_log.push_back("reply 2013");
        m_log.push_back("send 2014 -> " + std::to_string(m_core.Send(2014, nullptr, 0, 0, 0)));
    });
    m_core.AddMessageHandler(2014, Note("h2014"));
    Connect();

    EXPECT_EQ(m_core.Send(2013, nullptr, 0, 0, 0), LUMO_SUCCESS);
    EXPECT_EQ(m_log,
              (std::vector<std::string>{"reply 2013", "h2014(1004,2014,0)", "send 2014 -> 0"}));
    EXPECT_EQ(m_service.ReceivedCodes(), (std::vector<std::uint32_t>{2000, 2013, 2014}));
}

// What a handler asks or throws inside a send, or from an event, ends as the application
// last asked, and the service holds what the core says. The service answers the blocks
// numbered in `answers` ("2=register,send": its second block, once) with a message whose
// handler runs those words. A core ended inside is touched no more (AddressSanitizer sees
// it when it is), and nothing leaves its destructor: the thread's next wait throws it
// ("kept").
TEST(CoreNestedCalls, EndAsTheApplicationLastAsked) {
    const struct {
        const char *name, *answers, *outer, *heard;
        std::vector<std::uint32_t> sent;
        bool registered, started;
    } cases[] = {
        // clang-format off
        {"a registration inside the registration", "1=register", "announce", " register=0 registered", {2000}, true, true},
        {"an unregistration inside the unregistration", "2=unregister", "announce unregister unregister", " registered unregistered", {2000, 2001}, false, true},
        {"a registration inside the unregistration", "2=register", "announce unregister", " registered registered register=0", {2000, 2001, 2000}, true, true},
        {"a throw inside the unregistration", "2=throw", "announce unregister unregister", " registered thrown", {2000, 2001}, false, true},
        {"a throw inside the registration", "1=throw", "announce unregister", " thrown unregistered", {2000, 2001}, false, true},
        {"an unregistration inside the registration", "1=unregister", "announce", " unregistered", {2000, 2001}, false, true},
        {"a request inside the 2001 that follows the registration", "1=unregister 2=send", "announce", " send=0 unregistered", {2000, 2001, 2013}, false, true},
        {"an unregistration inside a registration inside the unregistration", "2=register 3=unregister", "announce unregister", " registered unregistered register=0", {2000, 2001, 2000, 2001}, false, true},
        {"the server lost inside the unregistration", "2=goodbye", "announce unregister", " registered down", {2000, 2001}, false, true},
        {"a registration inside Stop's unregistration", "2=register", "announce stop", " registered register=10 unregistered", {2000, 2001}, false, false},
        {"a start inside a Stop in Stop", "2=stop,start,announce", "announce stop", " registered start=25", {2000, 2001}, false, false},
        {"a Stop inside the registration", "1=stop", "announce", "", {2000, 2001}, false, false},
        {"an end inside Stop's unregistration", "2=destroy", "announce stop", " registered", {2000, 2001}, false, false},
        {"a throw inside the destructor's unregistration", "2=throw", "announce destroy", " registered kept", {2000, 2001}, false, false},
        // clang-format on
    };
    for (const auto& each : cases) {
        FakeMessageWindow desktop;
        ScopedOverride<MessageWindowService> installed(desktop);
        ServicePeer service(desktop);
        // Outlive the core, which unregisters as it goes.
        std::string heard;
        std::map<std::size_t, std::string> answers;
        std::istringstream in(each.answers);
        for (std::string answer; in >> answer;) {
            answers[std::stoul(answer)] = answer.substr(answer.find('=') + 1);
        }
        auto core = std::make_unique<Core>();
        const std::map<std::string, std::function<void()>> words = {
            {"throw", [] { throw std::runtime_error("handler failed"); }},
            {"register", [&] { heard += " register=" + std::to_string(core->Register()); }},
            {"start", [&] { heard += " start=" + std::to_string(core->Start(0, kAutoRegister)); }},
            {"send",
             [&] { heard += " send=" + std::to_string(core->Send(2013, nullptr, 0, 0, 0)); }},
            {"unregister", [&] { core->Unregister(); }},
            {"stop", [&] { core->Stop(); }},
            {"destroy", [&] { core.reset(); }},
            {"announce", [&] { service.Announce(); }},
            {"goodbye", [&] { service.Tell(desktop.CreatedWindows().at(0), 1005); }},
        };
        // A handler's throw leaves it; the application notes what reaches it.
        const auto run = [&](std::string steps, bool inHandler) {
            std::replace(steps.begin(), steps.end(), ',', ' ');
            std::istringstream in(steps);
            for (std::string word; in >> word;) {
                try {
                    words.at(word)();
                } catch (const std::runtime_error&) {
                    if (inHandler) {
                        throw;
                    }
                    heard += " thrown";
                }
            }
        };
        core->AddMessageHandler(2013, [&](const sLUMOChunk& header, char*, std::uint64_t) {
            run(answers.at(header.argument1), true);
        });
        core->SetEventHandler(LumoCoreEvent::Registered, [&] { heard += " registered"; });
        core->SetEventHandler(LumoCoreEvent::Unregistered, [&] { heard += " unregistered"; });
        core->SetEventHandler(LumoCoreEvent::ServerDown, [&] { heard += " down"; });
        desktop.SetPeerHandler(service.Window(), [&](const std::vector<std::uint8_t>&) {
            if (const std::size_t block = service.Received().size(); answers.count(block) != 0) {
                service.Tell(desktop.CreatedWindows().at(0), 2013,
                             static_cast<std::uint32_t>(block));
            }
        });
        core->Start(0, kAutoRegister);
        run(each.outer, false);
        try {
            Orvane::Platform::ThrowKeptException();
        } catch (const std::runtime_error&) {
            heard += " kept";
        }
        EXPECT_EQ(heard, each.heard) << each.name;
        EXPECT_EQ(service.ReceivedCodes(), each.sent) << each.name;
        EXPECT_EQ(core && core->IsRegistered(), each.registered) << each.name;
        EXPECT_EQ(core && core->IsStarted(), each.started) << each.name;
    }
}

}  // namespace
}  // namespace Quorvel::Lumo::Api::testing
