// Sessions whose callbacks call back in, judged by a model of the session's table of
// outcomes (docs/protocol.md). A simulated service answers inside every request with
// messages the input picks, or fails as another window of this thread may fail during the
// send; the session's callbacks and observers start, register, unregister, stop, destroy
// the session, throw, send, or change the observer lists, as the input says. The first
// byte picks a bare core or a whole client. Whenever control is back with the application
// the model compares the session, what it heard and what the service holds; the service
// itself refuses a registration while one stands and an unregistration without one.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "platform/kept_exception.h"
#include "platform/service.h"
#include "service_api/client/client.h"
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

struct Exceptions {
    std::vector<int> delivered;
    [[noreturn]] void Throw() {
        delivered.push_back(0);
        throw Thrown{delivered.size() - 1};
    }
};

class Watcher;

class Reactions {
  public:
    virtual void Heard(LumoCoreEvent event) = 0;
    virtual void Act(Watcher* watcher) = 0;

  protected:
    ~Reactions() = default;
};

// Watches the Wrtl and display events of a client session.
class Watcher final : public Wrtl::IObserver, public Display::IObserver {
  public:
    explicit Watcher(Reactions& reactions) : m_reactions(reactions) {}
#define LUMO_REACT(id)                                        \
    void OnServerMessage##id(const ServiceRecord&) override { \
        m_reactions.Act(this);                                \
    }
    LUMO_WRTL_OBSERVER_MESSAGES(LUMO_REACT)
    LUMO_DISPLAY_OBSERVER_MESSAGES(LUMO_REACT)
#undef LUMO_REACT

  private:
    Reactions& m_reactions;
};

class ReactingClient final : public Client {
  public:
    explicit ReactingClient(Reactions& reactions) : m_reactions(reactions) {}
    void OnConnectedToServer() override { m_reactions.Heard(LumoCoreEvent::Registered); }
    void OnServerDown() override { m_reactions.Heard(LumoCoreEvent::ServerDown); }
    void OnUnregisteredFromServer() override { m_reactions.Heard(LumoCoreEvent::Unregistered); }
    void OnServerAvailable() override { m_reactions.Heard(LumoCoreEvent::ServerAvailable); }
    void OnServerMessage2013(XeLUMOResult) override { m_reactions.Act(nullptr); }
    void OnInstrumentData(const std::uint8_t*) override {}
    void OnReliableMeasurement(const std::uint8_t*) override {}
    void OnUnreliableMeasurement(const std::uint8_t*) override {}

  private:
    Reactions& m_reactions;
};

// The service: answers inside every request with up to three messages, and holds a
// registration per client window from the moment it takes a 2000 or 100.
class Service {
  public:
    enum class Registration { None, Taking, Held };

    Service(FakeMessageWindow& desktop, Script& script, Exceptions& exceptions)
        : m_desktop(desktop), m_script(script), m_exceptions(exceptions), m_peer(desktop) {
        desktop.SetPeerHandler(m_peer.Window(), [this](const std::vector<std::uint8_t>& block) {
            Take(U32At(block, 0), U32At(block, 32));
        });
    }

    void Announce() { m_peer.Announce(); }

    // One message to the client as the input picks it, or (0) a failure of another window
    // of the client's thread, which the client's send throws.
    void Speak() {
        static constexpr std::uint32_t kMessages[] = {2013, 1005, 2302, 2062, 2300, 1000, 0};
        const std::uint32_t id = kMessages[m_script.Next() % std::size(kMessages)];
        if (id == 0) {
            m_exceptions.Throw();
        }
        for (WindowHandle window : m_desktop.CreatedWindows()) {
            if (id == 1005) {
                m_registrations.erase(static_cast<std::uint32_t>(window));
            }
            m_peer.Tell(window, id == 2013 ? 1004 : id, id == 2013 ? 2013 : 0);
        }
    }

    Registration Of(WindowHandle window) const {
        const auto found = m_registrations.find(static_cast<std::uint32_t>(window));
        return found == m_registrations.end() ? Registration::None : found->second;
    }
    const std::map<std::uint32_t, Registration>& Registrations() const { return m_registrations; }

  private:
    void Take(std::uint32_t code, std::uint32_t client) {
        Registration& registration = m_registrations[client];
        if (code == 2000) {
            Check(registration == Registration::None);
            registration = Registration::Taking;
        } else if (code == 2001) {
            // A client that closes while its registration is being taken withdraws it at once.
            Check(registration != Registration::None);
            registration = Registration::None;
        }
        // What the client's handlers do with the answers is the client's affair: the request
        // was taken.
        struct Settle {
            Service& service;
            std::uint32_t client;
            ~Settle() {
                auto& registration = service.m_registrations[client];
                if (registration == Registration::Taking) {
                    registration = Registration::Held;
                }
            }
        } const settle{*this, client};
        for (int n = m_script.Next() % 4; n > 0; --n) {
            Speak();
        }
    }

    FakeMessageWindow& m_desktop;
    Script& m_script;
    Exceptions& m_exceptions;
    ServicePeer m_peer;
    std::map<std::uint32_t, Registration> m_registrations;
};

// The session and the model of its outcomes.
class Session final : public Reactions {
  public:
    enum Action {
        kRegister = 1,
        kUnregister,
        kStop,
        kDestroy,
        kThrow,
        kRequest,
        kRemove,
        kStart,
        kActions
    };

    Session(Script& script, FakeMessageWindow& desktop, Service& service, Exceptions& exceptions,
            bool bareCore)
        : m_script(script), m_desktop(desktop), m_service(service), m_exceptions(exceptions) {
        if (!bareCore) {
            client = std::make_unique<ReactingClient>(*this);
            for (Watcher* watcher : {&first, &second}) {
                client->GetWrtlClient().Observers().AddObserver(watcher);
                client->GetDisplayClient().Observers().AddObserver(watcher);
            }
            client->Start(0, nullptr, 0, true);
            return;
        }
        core = std::make_unique<Core>();
        for (LumoCoreEvent event : {LumoCoreEvent::ServerAvailable, LumoCoreEvent::Registered,
                                    LumoCoreEvent::Unregistered, LumoCoreEvent::ServerDown}) {
            core->SetEventHandler(event, [this, event] { Heard(event); });
        }
        for (std::int32_t code : {2013, 1005}) {
            core->AddMessageHandler(
                code, [this](const sLUMOChunk&, char*, std::uint64_t) { Act(nullptr); });
        }
        core->Start(0, {1, 0, {}});
    }

    void Heard(LumoCoreEvent event) override {
        if (event != LumoCoreEvent::ServerAvailable) {
            // Registered twice needs an unregistration (asked for or heard) or a loss between.
            Check(event != LumoCoreEvent::Registered || !m_heardRegistered);
            m_heardRegistered = event == LumoCoreEvent::Registered;
            m_eventsBehind = m_secondRegister = false;
        }
        ++m_heard;
        Act(nullptr);
    }

    void Act(Watcher* watcher) override {
        const int action = m_script.Next() % kActions;
        const bool registered = Registered();
        const std::size_t heard = m_heard;
        XeLUMOResult result = LUMO_NOT_INITIALIZED;  // also for no call
        if (action == kUnregister) {
            // Effective while registered or while a registration is being taken.
            m_withdrawn = m_withdrawn || (registered && !m_secondRegister) ||
                          m_service.Of(Window()) == Service::Registration::Taking;
        }
        // A client has no Stop: it ends when destroyed.
        const bool stops = action == kDestroy || (action == kStop && core);
        if (action == kUnregister || stops) {
            m_heardRegistered = false;
        }
        if (stops && m_secondRegister) {
            m_excused.insert(static_cast<std::uint32_t>(Window()));
        }
        if (action == kThrow) {
            m_exceptions.Throw();
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
            if (action == kRemove && watcher != nullptr) {
                Watcher* gone = m_script.Next() % 2 ? watcher
                                : watcher == &first ? &second
                                                    : &first;
                client->GetWrtlClient().Observers().RemoveObserver(gone);
                client->GetDisplayClient().Observers().RemoveObserver(gone);
            }
        }
        // A Register that reached a server is the last word even when the server went.
        if ((action == kRegister && result != LUMO_NOT_INITIALIZED) ||
            (action == kStart && result == LUMO_SUCCESS)) {
            m_withdrawn = false;
        }
        // A Register on a registered session sends nothing and leaves the core unregistered
        // while the service keeps the client: the one place where the two may disagree.
        if (action == kRegister && result == LUMO_SUCCESS && registered && m_heard == heard) {
            m_secondRegister = true;
        }
    }

    // Control is back with the application: what it was thrown arrived, and the session,
    // what it heard and what the service holds agree.
    void Judge() {
        if (Orvane::Platform::HasKeptException()) {
            try {
                Orvane::Platform::ThrowKeptException();
            } catch (const Thrown& thrown) {
                Delivered(thrown);
            }
        }
        for (int delivered : m_exceptions.delivered) {
            Check(delivered == 1);
        }
        const std::vector<WindowHandle> windows = m_desktop.CreatedWindows();
        Check(windows.size() == (core ? core->IsStarted() : client && client->IsStarted()));
        for (const auto& [window, registration] : m_service.Registrations()) {
            const bool gone = windows.empty() || static_cast<std::uint32_t>(windows[0]) != window;
            Check(registration != Service::Registration::Taking);
            Check(registration == Service::Registration::None || !gone || m_excused.count(window));
        }
        if (windows.empty()) {
            return;
        }
        const bool held = m_service.Of(windows[0]) == Service::Registration::Held;
        Check(!m_withdrawn || !held);
        if (core) {
            Check(held == core->IsRegistered() || (held && m_secondRegister));
        }
        Check(m_eventsBehind || m_secondRegister || held == m_heardRegistered);
    }

    void Delivered(const Thrown& thrown) {
        Check(++m_exceptions.delivered.at(thrown.id) == 1);
        // What a throw ends is not heard; a withdrawal asked for under it may not happen.
        m_eventsBehind = true;
        m_withdrawn = false;
    }

    void End() {
        if (m_secondRegister) {
            m_excused.insert(static_cast<std::uint32_t>(Window()));
        }
        core.reset();
        client.reset();
    }

  private:
    // A client does not say; after a throw it is registered without a word, as the service
    // knows.
    bool Registered() const {
        return core ? core->IsRegistered() : m_service.Of(Window()) == Service::Registration::Held;
    }
    WindowHandle Window() const {
        const std::vector<WindowHandle> windows = m_desktop.CreatedWindows();
        return windows.empty() ? 0 : windows[0];
    }

    Script& m_script;
    FakeMessageWindow& m_desktop;
    Service& m_service;
    Exceptions& m_exceptions;
    std::size_t m_heard = 0;
    bool m_heardRegistered = false;
    bool m_eventsBehind = false;
    bool m_secondRegister = false;
    bool m_withdrawn = false;
    std::set<std::uint32_t> m_excused;

  public:
    // The watchers outlive the client they watch.
    Watcher first{*this}, second{*this};
    std::unique_ptr<Core> core;
    std::unique_ptr<ReactingClient> client;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FakeMessageWindow desktop;
    Orvane::Platform::ScopedOverride<Orvane::Platform::MessageWindowService> use{desktop};
    Script script{data, data + size};
    Exceptions exceptions;
    Service service(desktop, script, exceptions);
    Session session(script, desktop, service, exceptions, script.Next() % 2 == 0);
    while (!script.Done()) {
        try {
            switch (script.Next() % 4) {
                case 0:
                    service.Announce();
                    break;
                case 1:
                    service.Speak();
                    break;
                case 2:
                    desktop.TickTimers();
                    break;
                default:
                    session.Act(nullptr);
                    break;
            }
        } catch (const Thrown& thrown) {
            session.Delivered(thrown);
        }
        session.Judge();
    }
    session.End();
    session.Judge();
    return 0;
}
