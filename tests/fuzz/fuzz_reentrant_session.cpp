// Sessions whose callbacks call back in. A simulated service answers inside every request
// with messages the input picks; the session's callbacks and observers register,
// unregister, stop, destroy the session, throw, send, or change the observer lists, as the
// input says. The first byte picks a bare core or a whole client. Beside the sanitizers the
// service judges what it is sent: no registration while one stands or is being taken, no
// unregistration without one; and the session never hears Registered twice without an
// unregistration (asked for or heard) or a loss between.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>

#include "platform/service.h"
#include "service_api/client/client.h"
#include "tests/service_api_connection/service_peer.h"

using namespace Quorvel::Lumo::Api;
using namespace Quorvel::Lumo::Api::testing;

namespace {

struct Thrown {};

void Check(bool holds) {
    if (!holds) {
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
        kActions
    };

    Session(Script& script, bool bareCore) : m_script(script) {
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
        if (event == LumoCoreEvent::Registered) {
            Check(!m_registered);
        }
        m_registered = event == LumoCoreEvent::Registered ||
                       (m_registered && event == LumoCoreEvent::ServerAvailable);
        Act(nullptr);
    }

    void Act(Watcher* watcher) override {
        const int action = m_script.Next() % kActions;
        // Asked for: a registration from inside its send may overtake it unheard.
        m_registered = m_registered && action != kUnregister && action != kStop;
        if (action == kThrow) {
            throw Thrown{};
        } else if (action == kDestroy) {
            core.reset();
            client.reset();
        } else if (core) {
            action == kRegister     ? core->Register()
            : action == kUnregister ? core->Unregister()
            : action == kStop       ? core->Stop()
            : action == kRequest    ? core->Send(2013, nullptr, 0, 0, 0)
                                    : LUMO_SUCCESS;
        } else if (client) {
            action == kRegister     ? client->Register()
            : action == kUnregister ? client->Unregister()
            : action == kRequest    ? client->SendRequest2013()
                                    : LUMO_SUCCESS;
            if (action == kRemove && watcher != nullptr) {
                Watcher* gone = m_script.Next() % 2 ? watcher
                                : watcher == &first ? &second
                                                    : &first;
                client->GetWrtlClient().Observers().RemoveObserver(gone);
                client->GetDisplayClient().Observers().RemoveObserver(gone);
            }
        }
    }

  private:
    Script& m_script;
    bool m_registered = false;

  public:
    // The watchers outlive the client they watch.
    Watcher first{*this}, second{*this};
    std::unique_ptr<Core> core;
    std::unique_ptr<ReactingClient> client;
};

// The service: answers inside every request with up to three messages, and judges what
// it is sent by the registration it holds for each client window.
class Service {
  public:
    Service(FakeMessageWindow& desktop, Script& script)
        : m_desktop(desktop), m_script(script), m_peer(desktop) {
        desktop.SetPeerHandler(m_peer.Window(), [this](const std::vector<std::uint8_t>& block) {
            Take(U32At(block, 0), U32At(block, 32));
        });
    }

    void Announce() { m_peer.Announce(); }

    // One message to the client, as the input picks it.
    void Speak() {
        static constexpr std::uint32_t kMessages[] = {2013, 1005, 2302, 2062, 2300, 1000};
        const std::uint32_t id = kMessages[m_script.Next() % std::size(kMessages)];
        for (WindowHandle window : m_desktop.CreatedWindows()) {
            if (id == 1005) {
                m_registrations.erase(static_cast<std::uint32_t>(window));
            }
            m_peer.Tell(window, id == 2013 ? 1004 : id, id == 2013 ? 2013 : 0);
        }
    }

  private:
    enum class Registration { None, Taking, Held };

    void Take(std::uint32_t code, std::uint32_t client) {
        Registration& registration = m_registrations[client];
        if (code == 2000) {
            Check(registration == Registration::None);
            registration = Registration::Taking;
        } else if (code == 2001) {
            Check(registration == Registration::Held);
            registration = Registration::None;
        }
        try {
            for (int n = m_script.Next() % 4; n > 0; --n) {
                Speak();
            }
        } catch (...) {
            // The client's handler failed on an answer: it does not count the registration.
            Settle(client, Registration::None);
            throw;
        }
        Settle(client, Registration::Held);
    }

    // A registration still being taken when its request returns ends as `outcome`.
    void Settle(std::uint32_t client, Registration outcome) {
        const auto found = m_registrations.find(client);
        if (found != m_registrations.end() && found->second == Registration::Taking) {
            found->second = outcome;
        }
    }

    FakeMessageWindow& m_desktop;
    Script& m_script;
    ServicePeer m_peer;
    std::map<std::uint32_t, Registration> m_registrations;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FakeMessageWindow desktop;
    Orvane::Platform::ScopedOverride<Orvane::Platform::MessageWindowService> use{desktop};
    Script script{data, data + size};
    Service service(desktop, script);
    Session session(script, script.Next() % 2 == 0);
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
        } catch (const Thrown&) {
        }
    }
    return 0;
}
