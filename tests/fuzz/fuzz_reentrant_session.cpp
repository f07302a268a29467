// Sessions whose callbacks call back in, judged by a model of the session's table of
// outcomes (docs/protocol.md). A simulated service answers inside every request with
// messages the input picks, or fails as another window of this thread may fail during the
// send; the session's callbacks start, register, unregister, stop, destroy the session,
// throw or send, as the input says. The first byte picks a bare core or a whole client.
// Whenever control is back with the application the model compares the session, what it
// heard and what the service holds; the service refuses a registration while one stands
// and an unregistration without one.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "lumo/api/client.h"
#include "platform/kept_exception.h"
#include "platform/service.h"
#include "service_api/core/core.h"
#include "tests/service_api_connection/service_peer.h"

using namespace Quorvel::Lumo::Api;
using namespace Quorvel::Lumo::Api::testing;

namespace {

// The line names the rule that failed.
void Check(bool holds, int line = __builtin_LINE()) {
    if (!holds) {
        std::fprintf(stderr, "model: rule at line %d fails\n", line);
        std::abort();
    }
}

// The input, a byte at a time; zeros once it is used up.
struct Script {
    const std::uint8_t* at;
    const std::uint8_t* end;
    std::uint8_t Next() { return at < end ? *at++ : 0; }
    bool Done() const { return at >= end; }
};

// Every exception a handler or the service throws is numbered, and must reach the
// application exactly once: from the call it was under, or kept for the thread's next wait.
struct Thrown {
    std::size_t id;
};
std::vector<int> delivered;  // per exception of the input

[[noreturn]] void Throw() {
    delivered.push_back(0);
    throw Thrown{delivered.size() - 1};
}

// Hands each connection event, and each reply to 2013 (as -1), to the session.
class ReactingClient final : public Client {
  public:
    explicit ReactingClient(std::function<void(int)> on) : m_on(std::move(on)) {}
    void OnConnectedToServer() override { On(LumoCoreEvent::Registered); }
    void OnServerDown() override { On(LumoCoreEvent::ServerDown); }
    void OnUnregisteredFromServer() override { On(LumoCoreEvent::Unregistered); }
    void OnServerAvailable() override { On(LumoCoreEvent::ServerAvailable); }
    void OnServerMessage2013(XeLUMOResult) override { m_on(-1); }
    void OnInstrumentData(const std::uint8_t*) override {}
    void OnReliableMeasurement(const std::uint8_t*) override {}
    void OnUnreliableMeasurement(const std::uint8_t*) override {}

  private:
    void On(LumoCoreEvent event) { m_on(static_cast<int>(event)); }
    std::function<void(int)> m_on;
};

// The service: answers inside every request with up to three messages, and holds a
// registration per client window from the moment it takes a 2000, whatever the client's
// handlers make of the answers.
class Service {
  public:
    Service(FakeMessageWindow& desktop, Script& script)
        : m_desktop(desktop), m_script(script), m_peer(desktop) {
        desktop.SetPeerHandler(m_peer.Window(), [this](const std::vector<std::uint8_t>& block) {
            const std::uint32_t code = U32At(block, 0), client = U32At(block, 32);
            Check(code != 2000 || held.insert(client).second);
            Check(code != 2001 || held.erase(client) == 1);
            for (int n = m_script.Next() % 4; n > 0; --n) {
                Speak();
            }
        });
    }

    void Announce() { m_peer.Announce(); }

    // One message to the client as the input picks it, or (0) a failure of another window
    // of the client's thread, which the client's send throws.
    void Speak() {
        static constexpr std::uint32_t kMessages[] = {2013, 1005, 2302, 2062, 2300, 1000, 0};
        const std::uint32_t id = kMessages[m_script.Next() % std::size(kMessages)];
        if (id == 0) {
            Throw();
        }
        for (WindowHandle window : m_desktop.CreatedWindows()) {
            if (id == 1005) {
                held.erase(static_cast<std::uint32_t>(window));
            }
            m_peer.Tell(window, id == 2013 ? 1004 : id, id == 2013 ? 2013 : 0);
        }
    }

    bool Holds(WindowHandle window) const {
        return held.count(static_cast<std::uint32_t>(window)) != 0;
    }

    std::set<std::uint32_t> held;

  private:
    FakeMessageWindow& m_desktop;
    Script& m_script;
    ServicePeer m_peer;
};

// The session and the model of its outcomes.
class Session {
  public:
    enum Action { kRegister = 1, kUnregister, kStop, kDestroy, kThrow, kRequest, kStart, kActions };

    Session(Script& script, FakeMessageWindow& desktop, Service& service, bool bareCore)
        : m_script(script), m_desktop(desktop), m_service(service) {
        if (!bareCore) {
            client = std::make_unique<ReactingClient>([this](int event) { Heard(event); });
            client->Start(0, nullptr, 0, true);
            return;
        }
        core = std::make_unique<Core>();
        for (int event = 0; event < 4; ++event) {
            core->SetEventHandler(static_cast<LumoCoreEvent>(event),
                                  [this, event] { Heard(event); });
        }
        for (std::int32_t code : {2013, 1005}) {
            core->AddMessageHandler(code,
                                    [this](const sLUMOChunk&, char*, std::uint64_t) { Heard(-1); });
        }
        core->Start(0, {1, 0, {}});
    }

    // A connection event, or (-1) a message.
    void Heard(int event) {
        if (event > static_cast<int>(LumoCoreEvent::ServerAvailable)) {
            // Registered twice needs an unregistration (asked for or heard) or a loss between.
            const bool registered = event == static_cast<int>(LumoCoreEvent::Registered);
            Check(!registered || !m_heardRegistered);
            m_heardRegistered = registered;
            m_eventsBehind = m_secondRegister = false;
        }
        Act(m_script.Next() % kActions);
    }

    void Act(int action) {
        const WindowHandle window = Window();
        // A client does not say; after a throw it is registered without a word, as the
        // service knows.
        const bool registered = core ? core->IsRegistered() : m_service.Holds(window);
        XeLUMOResult result = LUMO_NOT_INITIALIZED;  // also for no call
        // Effective while registered or while a registration is being taken.
        m_withdrawn = m_withdrawn || (action == kUnregister && !m_secondRegister &&
                                      (registered || m_service.Holds(window)));
        // A client has no Stop: it ends when destroyed.
        const bool stops = action == kDestroy || (action == kStop && core);
        m_heardRegistered = m_heardRegistered && action != kUnregister && !stops;
        if (stops && m_secondRegister) {
            m_excused.insert(static_cast<std::uint32_t>(window));
        }
        if (action == kThrow) {
            Throw();
        } else if (action == kDestroy) {
            core.reset();
            client.reset();
        } else if (core) {
            result = action == kRegister     ? core->Register()
                     : action == kUnregister ? core->Unregister()
                     : action == kStop       ? core->Stop()
                     : action == kRequest    ? core->Send(2013, nullptr, 0, 0, 0)
                     : action == kStart      ? core->Start(0, {1, 0, {}})
                                             : LUMO_NOT_INITIALIZED;
        } else if (client) {
            result = action == kRegister     ? client->Register()
                     : action == kUnregister ? client->Unregister()
                     : action == kRequest    ? client->SendRequest2013()
                     : action == kStart      ? client->Start(0, nullptr, 0, true)
                                             : LUMO_NOT_INITIALIZED;
        }
        // A Register that reached a server is the last word even when the server went.
        if ((action == kRegister && result != LUMO_NOT_INITIALIZED) ||
            (action == kStart && result == LUMO_SUCCESS)) {
            m_withdrawn = false;
        }
        // A Register on a registered session sends nothing and leaves the core unregistered
        // while the service keeps the client: the one place where the two may disagree.
        m_secondRegister = m_secondRegister || (action == kRegister && result == LUMO_SUCCESS &&
                                                registered && !(core && core->IsRegistered()));
    }

    // Control is back with the application: what it was thrown arrived, and the session,
    // what it heard and what the service holds agree.
    void Judge() {
        try {
            Orvane::Platform::ThrowKeptException();
        } catch (const Thrown& thrown) {
            Delivered(thrown);
        }
        for (int times : delivered) {
            Check(times == 1);
        }
        const WindowHandle window = Window();
        Check((window != 0) == (core ? core->IsStarted() : client && client->IsStarted()));
        for (std::uint32_t holder : m_service.held) {
            Check(holder == static_cast<std::uint32_t>(window) || m_excused.count(holder));
        }
        if (window == 0) {
            return;
        }
        const bool held = m_service.Holds(window);
        Check(!m_withdrawn || !held);
        Check(!core || held == core->IsRegistered() || (held && m_secondRegister));
        Check(m_eventsBehind || m_secondRegister || held == m_heardRegistered);
    }

    void Delivered(const Thrown& thrown) {
        Check(++delivered.at(thrown.id) == 1);
        // What a throw ends is not heard; a withdrawal asked for under it may not happen.
        m_eventsBehind = true;
        m_withdrawn = false;
    }

  private:
    WindowHandle Window() const {
        const std::vector<WindowHandle> windows = m_desktop.CreatedWindows();
        return windows.empty() ? 0 : windows[0];
    }

    Script& m_script;
    FakeMessageWindow& m_desktop;
    Service& m_service;
    bool m_heardRegistered = false;
    bool m_eventsBehind = false;
    bool m_secondRegister = false;
    bool m_withdrawn = false;
    std::set<std::uint32_t> m_excused;
    std::unique_ptr<Core> core;
    std::unique_ptr<ReactingClient> client;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FakeMessageWindow desktop;
    Orvane::Platform::ScopedOverride<Orvane::Platform::MessageWindowService> use{desktop};
    Script script{data, data + size};
    delivered.clear();
    Service service(desktop, script);
    Session session(script, desktop, service, script.Next() % 2 == 0);
    while (!script.Done()) {
        try {
            const int step = script.Next() % 4;
            step == 0   ? service.Announce()
            : step == 1 ? service.Speak()
            : step == 2 ? desktop.TickTimers()
                        : session.Act(script.Next() % Session::kActions);
        } catch (const Thrown& thrown) {
            session.Delivered(thrown);
        }
        session.Judge();
    }
    session.Act(Session::kDestroy);
    session.Judge();
    return 0;
}
