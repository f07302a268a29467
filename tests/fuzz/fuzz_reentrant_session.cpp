// Sessions whose callbacks call back in, judged by a model of the table "What each call does
// where it is made" (docs/protocol.md): a small reference implementation of its rows.
//
// An input is played twice on a fresh fake desktop, by the library and then by the model. A
// simulated service answers inside every block, refuses some, fails as another window of the
// thread, says goodbye, vanishes and comes back, and speaks the client's decoded messages;
// up to three sessions (bare cores or clients) start, stop, register, unregister, send, send
// raw blocks through a bare message window, throw or end from inside any callback; memory
// runs out while a call frames its block; console handlers come and go while events are
// raised. Each play writes what it does and hears as lines (every call and its outcome, every
// block the service takes, every event and message with the session's state then, where
// every exception arrives, every session's state whenever control is back with the
// application): the model's lines must be the library's, in order. The model is held to the
// table's own rules too: the session and the service agree, every exception arrives once.
// LUMO_TRACE=1 in the environment prints the library's lines.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "lumo/api/client.h"
#include "platform/console_handler_list.h"
#include "platform/kept_exception.h"
#include "platform/service.h"
#include "service_api/core/core.h"
#include "service_api/core/outgoing_message.h"
#include "tests/service_api_connection/service_peer.h"

using namespace Quorvel::Lumo::Api;
using namespace Quorvel::Lumo::Api::testing;
using Orvane::Platform::CopyDataBlock;
using Orvane::Platform::MessageWindowEvents;

// Memory runs out: while `starving` every allocation fails, and one of a gigabyte or more
// always does. A call starves from its start until its block reaches the system.
namespace {
bool starving = false;
void* Allocate(std::size_t size, bool nothrow = false) {
    void* memory = starving || size >= (std::size_t{1} << 30) ? nullptr : std::malloc(size);
    return memory != nullptr || nothrow ? memory : throw std::bad_alloc();
}
}  // namespace
void* operator new(std::size_t size) {
    return Allocate(size);
}
void* operator new[](std::size_t size) {
    return Allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size, true);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

template <class... Parts>
std::string Words(const Parts&... parts) {
    std::ostringstream line;
    ((line << parts << ' '), ...);
    return line.str().substr(0, line.str().size() - 1);
}

// What the application makes of the bytes it is handed.
std::string Digest(const std::uint8_t* bytes, std::size_t size) {
    std::uint32_t hash = 2166136261u;
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ bytes[i]) * 16777619u;
    }
    return std::to_string(hash);
}

// The input, a byte at a time; zeros once it is used up.
struct Script {
    const std::uint8_t *at, *end;
    std::uint8_t Next() { return at < end ? *at++ : 0; }
};

// The lines of a play; the model's are held to the library's as they come.
struct Trace {
    std::vector<std::string> lines;
    const std::vector<std::string>* library = nullptr;
    void operator()(std::string line) {
        const std::size_t at = lines.size();
        lines.push_back(std::move(line));
        if (library != nullptr && (at >= library->size() || (*library)[at] != lines[at])) {
            Fail("the model parts from the library", at);
        }
    }
    // Where the table leaves memory to chance, the model takes the library's draw.
    bool Next(const std::string& line) const {
        return lines.size() < library->size() && (*library)[lines.size()] == line;
    }
    [[noreturn]] void Fail(const std::string& why, std::size_t at) const {
        for (std::size_t i = at > 20 ? at - 20 : 0; i < at; ++i) {
            std::fprintf(stderr, "  %s\n", lines[i].c_str());
        }
        const bool more = library != nullptr && at < library->size();
        std::fprintf(stderr, "library: %s\nmodel:   %s\n%s\n", more ? (*library)[at].c_str() : "",
                     at < lines.size() ? lines[at].c_str() : "", why.c_str());
        std::abort();
    }
} trace;

void Check(bool holds, int line = __builtin_LINE()) {
    if (!holds) {
        trace.Fail(Words("the rule at line", line, "fails"), trace.lines.size());
    }
}

// Every exception of the input is numbered; each must arrive once, where the lines say.
struct Thrown {
    int id;
};
std::vector<int> arrivals;
[[noreturn]] void Throw(const std::string& who) {
    arrivals.push_back(0);
    trace(Words(who, "throws", arrivals.size()));
    throw Thrown{static_cast<int>(arrivals.size())};
}
// The exception under way: its number, or "out of memory"; `arrives` counts it in.
std::string Caught(bool arrives) {
    try {
        throw;
    } catch (const Thrown& thrown) {
        Check(!arrives || ++arrivals.at(thrown.id - 1) == 1);
        return std::to_string(thrown.id);
    } catch (const std::bad_alloc&) {
        return "out of memory";
    }
}

// The application's call under way, and its outcome.
std::string asking;
template <class Call>
void Ask(const std::string& call, bool starved, Call&& ask) {
    asking = call;
    trace(starved ? call + " without memory" : call);
    try {
        starving = starved;
        const XeLUMOResult result = ask();
        starving = false;
        trace(Words(call, "=", result));
    } catch (...) {
        starving = false;
        trace(Words(call, "threw", Caught(false)));
        throw;
    }
}

// The system as the Windows build meets it (platform/message_window_win.cpp): what a window's
// handler throws is kept for the thread, and no handler of the thread runs while one is.
struct System final : Orvane::Platform::FakeMessageWindow {
    struct Guard final : MessageWindowEvents {
        explicit Guard(MessageWindowEvents& events) : events(events) {}
        template <class Handle>
        static bool Keep(Handle&& handle) {
            return Orvane::Platform::CallKeepingExceptions(handle, [] { return false; });
        }
        bool OnRegisteredMessage(std::uint32_t m, std::uintptr_t w, std::intptr_t l) override {
            return Keep([&] { return events.OnRegisteredMessage(m, w, l); });
        }
        bool OnCopyData(const CopyDataBlock& b) override {
            return Keep([&] { return events.OnCopyData(b); });
        }
        bool OnTimer(std::uintptr_t id) override {
            return Keep([&] { return events.OnTimer(id); });
        }
        MessageWindowEvents& events;
    };
    WindowHandle Create(const wchar_t* c, const wchar_t* n, MessageWindowEvents& e) override {
        return FakeMessageWindow::Create(c, n, guards.emplace_back(e));
    }
    std::intptr_t SendCopyData(WindowHandle target, const CopyDataBlock& block) override {
        starving = false;
        return FakeMessageWindow::SendCopyData(target, block);
    }
    std::deque<Guard> guards;
};
System& TheSystem() {
    return static_cast<System&>(Orvane::Platform::Get<Orvane::Platform::MessageWindowService>());
}

// Windows that handle nothing; another window of the thread fails on every block.
struct Quiet : MessageWindowEvents {
    bool OnRegisteredMessage(std::uint32_t, std::uintptr_t, std::intptr_t) override {
        return false;
    }
    bool OnCopyData(const CopyDataBlock&) override { return false; }
    bool OnTimer(std::uintptr_t) override { return false; }
};
struct Failing final : Quiet {
    bool OnCopyData(const CopyDataBlock&) override { Throw("another window"); }
};

constexpr std::uint64_t kKeys[] = {0, 0x0123456789ABCDEF, 0xFEDCBA9876543210};
std::array<std::uint8_t, 8> KeyBytes(int key) {
    std::array<std::uint8_t, 8> bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(kKeys[key] >> (8 * i));
    }
    return bytes;
}
std::uint32_t Low(WindowHandle window) {
    return static_cast<std::uint32_t>(window);
}

// The service: it holds a registration per client window from the moment it takes one,
// refuses a block now and then (never an unregistration), answers inside every block with
// messages the input picks, and judges a registration's token by its key.
class Service {
  public:
    explicit Service(Script& script) : m_script(script) { Restart(); }
    WindowHandle Window() const { return m_window; }
    std::vector<WindowHandle> clients;  // the sessions' windows
    std::set<std::uint32_t> held;

    bool Alive() const { return TheSystem().IsWindow(m_window); }
    // The broadcast, and the liveness timers, a window at a time: each answer shows.
    void Announce() {
        const std::uint32_t announcement = TheSystem().RegisterMessage(L"LUMO_SERVERAVAILABLE");
        for (WindowHandle client : Alive() ? clients : std::vector<WindowHandle>{}) {
            trace(Words("announced to", Low(client),
                        TheSystem().SendRegisteredMessage(client, announcement, 0, m_window)));
        }
    }
    void Tick() {
        for (WindowHandle client : std::vector(clients)) {
            if (TheSystem().Timers(client).count(1280) != 0) {
                trace(Words("tick", Low(client), TheSystem().FireTimer(client, 1280)));
            }
        }
    }
    void Vanish() {
        TheSystem().Destroy(m_window);
        held.clear();
    }
    void Restart() {
        m_leaving = false;
        m_window = TheSystem().AddPeer();
        TheSystem().SetPeerHandler(m_window, [this](const auto& block) { Receive(block); });
        m_earlier = Orvane::Platform::CurrentLocalTime();
    }
    // One message to every session's window, or another window's failure.
    void Speak() {
        static constexpr std::uint32_t kIds[] = {1004, 1004, 2013, 3000, 2210, 2013, 3000, 2210,
                                                 1004, 2013, 3000, 3000, 1005, 0,    1,    2};
        // By the pick's high bits 3000, no one's, gives way to a message the client decodes:
        // instrument data, a fixed record, a measurement, a data reply, a sub-client's event.
        static constexpr std::uint32_t kOwn[] = {3000, 1000, 1001, 1002, 2015, 2062, 2226, 2302};
        static constexpr std::size_t kSizes[] = {0, 3, 4, 10, 47, 48, 50, 400, 699, 700, 701};
        const std::uint8_t pick = m_script.Next(), size = m_script.Next();
        const std::uint32_t id = kIds[pick % 16] == 3000 ? kOwn[pick / 32] : kIds[pick % 16];
        if (!Alive() || id == 1 || id == 2) {
            // A block shorter than a header, someone else's message, another timer.
            for (WindowHandle client : std::vector(clients)) {
                trace(Words("strangers to", Low(client), TheSystem().SendBytes(client, {1, 2}),
                            TheSystem().SendRegisteredMessage(client, 0xC333, 0, 1),
                            TheSystem().FireTimer(client, 1281)));
            }
            return;
        }
        if (id == 0) {
            TheSystem().SendBytes(m_failing, ServiceMessage(2013, 0, 0));
            return;
        }
        // Goodbye: the service takes nothing more, and ends.
        if (id == 1005) {
            m_leaving = true;
            held.clear();
        }
        std::vector<std::uint8_t> payload(id == 1005 ? 0 : kSizes[size % 11]);
        for (std::size_t i = 0; i < payload.size(); ++i) {
            payload[i] = static_cast<std::uint8_t>(size + i * 7);
        }
        for (WindowHandle client : std::vector(clients)) {
            if (TheSystem().IsWindow(client)) {
                const auto block = ServiceMessage(id, pick / 16 % 2 * 2013, size % 3, payload);
                const std::intptr_t answer = TheSystem().SendBytes(client, block);
                trace(Words("to", Low(client), id, "=", answer));
            }
        }
        if (m_leaving) {
            Vanish();
        }
    }

  private:
    void Receive(const std::vector<std::uint8_t>& block) {
        // A raw block may be shorter than a header.
        const auto at = [&](std::size_t offset) {
            return block.size() >= offset + 4 ? U32At(block, offset) : 0;
        };
        const std::uint32_t code = at(0), client = at(32);
        const bool registration = code == 2000 || code == 100;
        std::uint32_t hash = 2166136261u;
        for (std::size_t i = 0; i < block.size(); ++i) {
            // A registration's token changes with the minute: it is judged by itself.
            hash = (!registration || i < 64 || i >= 72) ? (hash ^ block[i]) * 16777619u : hash;
        }
        const auto now = Orvane::Platform::CurrentLocalTime();
        int key = 0;
        while (registration && key < 3 && !TokenMadeBetween(block, KeyBytes(key), m_earlier, now)) {
            ++key;
        }
        m_earlier = now;
        const bool refused = m_leaving || (code != 2001 && m_script.Next() % 8 == 0);
        trace(Words("service takes", code, at(4), "from", client, block.size(), hash, "key", key,
                    refused ? "refused" : "taken"));
        if (!refused) {
            // A real service refuses a second registration and a stray unregistration, but
            // for the one a client sends before it learns that its registration is refused
            // (it ends inside the registration's send).
            Check(!registration || held.insert(client).second);
            Check(code != 2001 || held.erase(client) == 1 || m_refusing.count(client) != 0);
        }
        const auto refusing = m_refusing.insert(refused && registration ? client : 0);
        for (int answers = m_leaving ? 0 : m_script.Next() % 4; answers > 0; --answers) {
            Speak();
        }
        m_refusing.erase(refusing);
        TheSystem().SetPeerAnswer(m_window, refused ? 0 : 1);
    }

    Script& m_script;
    WindowHandle m_window = 0;
    Orvane::Platform::LocalTime m_earlier{};
    bool m_leaving = false;
    std::multiset<std::uint32_t> m_refusing;  // clients whose registration it refuses now
    Failing m_failingEvents;
    WindowHandle m_failing = TheSystem().Create(L"Other", L"Other", m_failingEvents);
};

struct Options {
    bool autoRegister, alternate;
    int key;  // into kKeys
    std::uint32_t clientType;
};

const std::vector<std::uint8_t> kData(65536, 5);  // what a client's 2016 carries

// Raw blocks that a session's bare message window (the core's, without a core) sends: to the
// service's window or to none, three parts, each of data
// or none (null, 0), or of a size beyond the data that no block can hold (the block then
// fails for memory before any part is read).
struct RawShape {
    bool toService;
    std::uint32_t sizes[3];
    unsigned present;  // a bit for each part that has its data
    const std::uint8_t* Part(int part) const {
        return ((present >> part) & 1) != 0 ? kData.data() : nullptr;
    }
};
constexpr RawShape kRawShapes[] = {{true, {4, 8, 12}, 7},         {true, {40, 8, 0}, 3},
                                   {true, {4, 0, 0}, 1},          {true, {4, 8, 0}, 2},
                                   {true, {0, 8, 0}, 3},          {true, {4, UINT32_MAX - 4, 0}, 3},
                                   {true, {4, UINT32_MAX, 0}, 3}, {false, {4, 8, 12}, 7}};

// A session, the library's or the model's, a bare core or a client.
struct Session {
    virtual ~Session() = default;
    virtual XeLUMOResult Start(const Options& options) = 0;
    virtual XeLUMOResult Stop() = 0;
    virtual XeLUMOResult Register() = 0;
    virtual XeLUMOResult Unregister() = 0;
    // A core sends 2013 with `size` zeros; a client 2013 for none, else 2016 with data.
    virtual XeLUMOResult Request(std::uint32_t size) = 0;
    virtual XeLUMOResult SendRaw(const RawShape& shape, WindowHandle service) = 0;
    virtual void Connect(WindowHandle service) = 0;
    virtual void ClearHandlers() = 0;
    virtual std::string State() const = 0;
    // Ends the session: the model's object stays (its frames may still run).
    virtual void End(std::unique_ptr<Session>& self) = 0;
};

class App;
std::unique_ptr<Session> MakeLibrarySession(App& app, bool client);
std::unique_ptr<Session> MakeModel(App& app, bool client);

// The application: its sessions and console handlers, and what it does when called.
class App {
  public:
    App(Script& script, Service& service, bool model)
        : m_script(script), m_service(service), m_model(model) {}

    void Step();
    // Control is back with the application: its wait throws what was kept.
    void Judge();
    // A session heard an event or a message: note it with the session's state, then act.
    void Heard(const Session* session, const std::string& what) {
        const std::string name = Name(session);
        trace(Words(name, "hears", what, name == "ended" ? "" : session->State()));
        Act();
    }
    int ConsoleCalled(int handler);
    void EndAll() {
        for (auto& session : sessions) {
            if (session) {
                session->End(session);
            }
            Judge();
        }
    }
    std::vector<std::unique_ptr<Session>> ended;
    std::unique_ptr<Session> sessions[3];

  private:
    std::string Name(const Session* session) const {
        for (int slot = 0; slot < 3; ++slot) {
            if (sessions[slot].get() == session) {
                return Words("s", slot);
            }
        }
        return "ended";
    }
    void Act();
    // Adds (0), removes (1) a console handler, or raises an event (2).
    void Console(int what, int handler);

    Script& m_script;
    Service& m_service;
    const bool m_model;
    Orvane::Platform::ConsoleHandlerList m_console{
        [this] { return m_script.Next() % 8 == 0 ? 5u : 0u; }};
    std::vector<int> m_consoleModel;
    bool m_consoleInstalled = false;
};
App* app = nullptr;

void App::Act() {
    const std::uint8_t pick = m_script.Next(), slot = pick % 3, action = pick / 3 % 12;
    const bool starved = pick >= 192;
    std::unique_ptr<Session>& session = sessions[slot];
    const std::string name = Words("s", +slot);
    if (action == 0) {
        Throw(name);
    }
    const std::uint8_t how = m_script.Next();
    if (!session && action == 1) {
        trace(Words(name, how % 2 != 0 ? "is a client" : "is a core"));
        session =
            m_model ? MakeModel(*this, how % 2 != 0) : MakeLibrarySession(*this, how % 2 != 0);
    }
    static constexpr std::uint32_t kSizes[] = {0,     272,   273, 65536, kLargestPayload,
                                               65536, 65536, 273, 0,     kLargestPayload + 1};
    switch (session ? action : 0) {
        case 1: {
            const std::size_t windows = TheSystem().CreatedWindows().size();
            // The system refuses the message filter as often as the top three bits say.
            TheSystem().FailFilterAttempts(how / 32);
            Ask(name + " start", starved, [&] {
                return session->Start({how / 2 % 2 != 0, how / 4 % 2 != 0, how / 8 % 3, how / 24u});
            });
            if (TheSystem().CreatedWindows().size() > windows) {
                m_service.clients.push_back(TheSystem().CreatedWindows().back());
            }
            break;
        }
        case 2:
            Ask(name + " stop", starved, [&] { return session->Stop(); });
            break;
        case 3:
        case 4:
            Ask(name + " register", starved, [&] { return session->Register(); });
            break;
        case 5:
            Ask(name + " unregister", starved, [&] { return session->Unregister(); });
            break;
        case 6:
        case 7:
            if (how >= 240) {
                Ask(Words(name, "raw", how % 8), starved,
                    [&] { return session->SendRaw(kRawShapes[how % 8], m_service.Window()); });
                break;
            }
            Ask(Words(name, "request", kSizes[how % 10]), starved,
                [&] { return session->Request(kSizes[how % 10]); });
            break;
        case 8:
            trace(name + " ends");
            starving = starved;
            session->End(session);
            starving = false;
            trace(name + " ended");
            break;
        case 9:
            trace(name + " connects"), session->Connect(m_service.Window());
            break;
        case 10:
            trace(name + " clears"), session->ClearHandlers();
            break;
        case 11:
            trace(Words(name, session->State()));
            break;
    }
}

void App::Step() {
    switch (m_script.Next() % 8) {
        case 0:
            m_service.Announce();
            break;
        case 1:
            m_service.Speak();
            break;
        case 2:
            m_service.Tick();
            break;
        case 3:
            trace("the service restarts");
            m_service.Vanish();
            m_service.Restart();
            break;
        case 4: {
            const std::uint8_t pick = m_script.Next();
            Console(pick % 3, pick / 3 % 4);
            break;
        }
        default:
            Act();
            break;
    }
}

// Console handlers, four of them, each a function of its own.
template <int N>
int ConsoleHandler(std::uint32_t) {
    return app->ConsoleCalled(N);
}
constexpr Orvane::Platform::ConsoleControl::Handler kHandlers[] = {
    &ConsoleHandler<0>, &ConsoleHandler<1>, &ConsoleHandler<2>, &ConsoleHandler<3>};

// The model of the list (platform/console_handler_list.h): the system's handler goes in
// with the first handler; a removal takes the latest addition; a dispatch calls the handlers
// listed when it began, newest first, skipping those removed meanwhile, until one deals
// with the event.
void App::Console(int what, int handler) {
    std::vector<int>& list = m_consoleModel;
    std::uint32_t result = 87;
    if (what == 0 && m_model && !m_consoleInstalled && m_script.Next() % 8 == 0) {
        result = 5;
    } else if (what == 0 && m_model) {
        m_consoleInstalled = true;
        list.push_back(handler);
        result = 0;
    } else if (what == 0) {
        result = m_console.Add(kHandlers[handler]);
    } else if (what == 1 && m_model) {
        const auto found = std::find(list.rbegin(), list.rend(), handler);
        if (found != list.rend()) {
            list.erase(std::next(found).base());
            result = 0;
        }
    } else if (what == 1) {
        result = m_console.Remove(kHandlers[handler]);
    } else if (m_model) {
        const std::vector<int> handlers = list;
        result = 0;
        for (auto it = handlers.rbegin(); it != handlers.rend() && result == 0; ++it) {
            const bool listed = std::find(list.begin(), list.end(), *it) != list.end();
            result = listed ? ConsoleCalled(*it) : 0;
        }
    } else {
        result = m_console.Dispatch(static_cast<std::uint32_t>(handler));
    }
    trace(Words("console", what, handler, "=", result));
}

// A handler deals with the event, throws, removes a handler or declines.
int App::ConsoleCalled(int handler) {
    trace(Words("console handler", handler));
    const std::uint8_t pick = m_script.Next();
    if (pick % 4 == 1) {
        Throw(Words("console handler", handler));
    }
    if (pick % 4 == 2) {
        Console(1, pick / 4 % 4);
    }
    return pick % 4 == 0;
}

void App::Judge() {
    try {
        Orvane::Platform::ThrowKeptException();
    } catch (...) {
        trace("the wait throws " + Caught(true));
    }
    std::string state = Words("filter attempts", TheSystem().FilterAttempts(), "service holds");
    for (std::uint32_t client : m_service.held) {
        state += Words("", client);
    }
    for (const auto& session : sessions) {
        state += " | " + (session ? session->State() : "none");
    }
    trace(state);
}

// ---- The library's play ----

// The client's callbacks and its sub-clients' observers, as the application hears them: what
// it reads of each record, one of the size the public header gives.
struct ReactingClient final : Client, Display::IObserver, DcScript::IObserver, Wrtl::IObserver {
    ReactingClient(App& app, const Session& session) : app(app), session(session) {
        trace(Words("parameters", GetParameterNames().size()));
        GetDisplayClient().Observers().AddObserver(this);
        GetDcScriptClient().Observers().AddObserver(this);
        GetWrtlClient().Observers().AddObserver(this);
    }
    // Observers go off their lists before they go.
    ~ReactingClient() override {
        GetDisplayClient().Observers().RemoveObserver(this);
        GetDcScriptClient().Observers().RemoveObserver(this);
        GetWrtlClient().Observers().RemoveObserver(this);
    }
    void Heard(const std::string& what) { app.Heard(&session, what); }
    void OnConnectedToServer() override { Heard("registered"); }
    void OnServerDown() override { Heard("server down"); }
    void OnUnregisteredFromServer() override { Heard("unregistered"); }
    void OnServerAvailable() override { Heard("server available"); }
    void Read(const char* what, const std::uint8_t* bytes, std::size_t size) {
        Heard(Words(what, Digest(bytes, size)));
    }
    void OnInstrumentData(const std::uint8_t* record) override { Read("1000", record, 700); }
    void OnServerMessage1001(const std::uint8_t* record) override { Read("1001", record, 564); }
    void OnReliableMeasurement(const std::uint8_t* m) override { Read("reliable", m, 4); }
    void OnUnreliableMeasurement(const std::uint8_t* m) override { Read("unreliable", m, 4); }
    void OnServerMessage1004(std::uint32_t a, std::uint32_t b, const std::uint8_t* payload,
                             std::uint32_t size) override {
        Heard(Words(1004, a, b, payload != nullptr, size));
    }
    void OnServerMessage2013(XeLUMOResult result) override { Heard(Words(2013, result)); }
    void OnServerMessage2015(XeLUMOResult result, const std::uint8_t* header,
                             const std::uint8_t* data, std::uint32_t size) override {
        Heard(Words(2015, result, Digest(header, 48), size,
                    data != nullptr ? Digest(data, size) : "none"));
    }
    void OnServerMessage2210(bool value) override { Heard(Words(2210, value)); }
    void OnInternalError(std::uint32_t kind, std::uint32_t id) override {
        Heard(Words("internal error", kind, id));
    }
    void Observed(const ServiceRecord& r) {
        Heard(Words("observer", r.header.messageId, r.header.argument1, r.header.argument2,
                    r.payload.size(), Digest(r.payload.data(), r.payload.size())));
    }
#define LUMO_HEARS(id)                                          \
    void OnServerMessage##id(const ServiceRecord& r) override { \
        Observed(r);                                            \
    }
    LUMO_DISPLAY_OBSERVER_MESSAGES(LUMO_HEARS)
    LUMO_DC_SCRIPT_OBSERVER_MESSAGES(LUMO_HEARS)
    LUMO_WRTL_OBSERVER_MESSAGES(LUMO_HEARS)
#undef LUMO_HEARS
    App& app;
    const Session& session;
};

// Each session has a bare message window of its own for raw blocks; an unstarted core
// listens to it, and hears nothing.
struct LibrarySession final : Session {
    LibrarySession(App& app, bool client) : app(app) {
        if (client) {
            this->client = std::make_unique<ReactingClient>(app, *this);
            return;
        }
        core = std::make_unique<Core>();
        static constexpr const char* kEvents[] = {"server available", "registered", "unregistered",
                                                  "server down"};
        for (int event = 0; event < 4; ++event) {
            core->SetEventHandler(static_cast<LumoCoreEvent>(event),
                                  [this, event] { this->app.Heard(this, kEvents[event]); });
        }
        core->AddMessageHandler(2013, Note("h 2013"));
        core->AddMessageHandler(1004, Note("h 1004"));
        core->SetDefaultHandler(Note("default"));
    }
    XeLUMOResult Start(const Options& o) override {
        const std::uint64_t key = kKeys[o.key];
        return core ? core->Start(o.alternate, {o.autoRegister, o.clientType, KeyBytes(o.key)})
                    : client->Start(o.alternate, o.key != 0 ? &key : nullptr, o.clientType,
                                    o.autoRegister);
    }
    XeLUMOResult Stop() override { return core ? core->Stop() : LUMO_NOT_INITIALIZED; }
    XeLUMOResult Register() override { return core ? core->Register() : client->Register(); }
    XeLUMOResult Unregister() override { return core ? core->Unregister() : client->Unregister(); }
    XeLUMOResult Request(std::uint32_t size) override {
        return core        ? core->Send(2013, nullptr, size, 0, 0)
               : size == 0 ? client->SendRequest2013()
                           : client->SendRequest2016(1, 2, 3, kData.data(), std::min(size, 65536u));
    }
    XeLUMOResult SendRaw(const RawShape& raw, WindowHandle service) override {
        return window.SendRaw(raw.toService ? service : 0, raw.Part(0), raw.sizes[0], raw.Part(1),
                              raw.sizes[1], raw.Part(2), raw.sizes[2]);
    }
    void Connect(WindowHandle service) override {
        core ? core->ServerAvailable(service) : client->ConnectToServerWindow(service);
    }
    void ClearHandlers() override { core ? core->ClearMessageHandlers() : void(); }
    std::string State() const override {
        if (client) {
            return client->IsStarted() ? "started" : "stopped";
        }
        return Words(core->IsStarted() ? "started" : "stopped",
                     core->IsRegistered() ? "registered" : "unregistered",
                     core->IsServerAvailable() ? "available" : "waiting", core->MessageCount());
    }
    void End(std::unique_ptr<Session>& self) override { self.reset(); }
    LumoMessageHandler Note(const char* handler) {
        return [this, handler](const sLUMOChunk& header, char*, std::uint64_t size) {
            app.Heard(this, Words(handler, header.messageId, header.argument1, size));
        };
    }
    App& app;
    std::unique_ptr<Core> core;
    std::unique_ptr<ReactingClient> client;
    Core sink;
    WindowsMessagingWindow window{sink, {}, 0};
};

std::unique_ptr<Session> MakeLibrarySession(App& app, bool client) {
    return std::make_unique<LibrarySession>(app, client);
}

// ---- The model's play ----

// The table as a reference implementation. The session counts a registration (the service
// holds it) or not, perhaps twice; a registration's or an unregistration's send under way
// is a frame, and a call's row is that of the innermost frame still standing. A frame the
// registration changed under (registered anew, the server lost, the window closed) is
// overtaken: its own ending no longer applies. A client hears its events and its messages
// as the table "Replies and events" of docs/protocol.md decodes them. The bare window for
// raw blocks sends as the message window's rows there say.
class Model final : public Session, Quiet {
  public:
    Model(App& app, bool client) : m_app(app), m_client(client), m_raw(OpenWindow()) {
        if (client) {
            trace("parameters 33");
        }
    }
    XeLUMOResult Start(const Options& options) override {
        const bool starved = std::exchange(starving, false);
        if (m_started || m_stopping || starved) {
            return m_started || m_stopping ? LUMO_ALREADY_STARTED : LUMO_SERVICE_INTERNAL_ERROR;
        }
        m_options = options;
        m_autoRegister = m_savedAutoRegister = options.autoRegister;
        m_window = OpenWindow();
        m_started = true;
        return LUMO_SUCCESS;
    }
    // A registration, an unregistration and an ending need no memory.
    XeLUMOResult Stop() override {
        starving = false;
        return m_client ? LUMO_NOT_INITIALIZED : StopHere();
    }
    XeLUMOResult Register() override {
        starving = false;
        return m_stopping || !m_started ? LUMO_NOT_INITIALIZED : RegisterHere();
    }
    XeLUMOResult Unregister() override {
        starving = false;
        Frame* inside = Inside();
        if (inside != nullptr && inside->registration && !std::exchange(inside->withdraw, true)) {
            AutoRegistrationOff();  // the 2001 follows once the registration is done
        }
        if (inside != nullptr || !m_registered || m_twice) {
            return LUMO_SUCCESS;
        }
        AutoRegistrationOff();
        return Withdraw(true);
    }
    XeLUMOResult Request(std::uint32_t size) override {
        const bool starved = std::exchange(starving, false), record = m_client && size != 0;
        if (record && starved) {
            throw std::bad_alloc();  // a client builds a 2016's record before anything else
        }
        if (!TakesRequests()) {
            return LUMO_NOT_REGISTERED;
        }
        const std::uint32_t payload = record ? 48 + std::min(size, 65536u) : size;
        if (payload > kLargestPayload) {
            return LUMO_BAD_PARAMETER;
        }
        // Beyond a registration's size a block needs memory, perhaps more than there is.
        if (payload >= (1u << 30) || (payload > kRegistrationRequestSize && starved &&
                                      trace.Next(asking + " threw out of memory"))) {
            throw std::bad_alloc();
        }
        std::vector<std::uint8_t> bytes(payload);
        if (record) {
            bytes[0] = 1, bytes[4] = 2, bytes[8] = 3;
            std::fill(bytes.begin() + 48, bytes.end(), 5);
        }
        const XeLUMOResult sent = Deliver(record ? 2016 : 2013, bytes);
        Orvane::Platform::ThrowKeptException();
        return sent;
    }
    // The parts back to back, in a block of their summed size, which needs memory.
    XeLUMOResult SendRaw(const RawShape& raw, WindowHandle service) override {
        const bool starved = std::exchange(starving, false);
        const std::uint64_t total = std::uint64_t{raw.sizes[0]} + raw.sizes[1] + raw.sizes[2];
        if (!raw.toService || raw.Part(0) == nullptr || raw.sizes[0] == 0 || total > UINT32_MAX) {
            return raw.toService ? LUMO_BAD_PARAMETER : LUMO_INVALID_HANDLE;
        }
        if (starved || total >= (1u << 30)) {
            throw std::bad_alloc();
        }
        std::vector<std::uint8_t> block;
        for (int part = 0; part < 3 && raw.Part(part) != nullptr; ++part) {
            block.insert(block.end(), raw.Part(part), raw.Part(part) + raw.sizes[part]);
        }
        const CopyDataBlock copy{0, static_cast<std::uint32_t>(block.size()), block.data()};
        const XeLUMOResult sent =
            TheSystem().SendCopyData(service, copy) != 0 ? LUMO_SUCCESS : LUMO_EXECUTION_FAILED;
        Orvane::Platform::ThrowKeptException();
        return sent;
    }
    void Connect(WindowHandle service) override {
        if (m_started) {
            ServerAvailable(service);
        }
    }
    void ClearHandlers() override { m_handlers = false; }
    std::string State() const override {
        if (m_client) {
            return m_started ? "started" : "stopped";
        }
        return Words(m_started ? "started" : "stopped",
                     TakesRequests() ? "registered" : "unregistered",
                     m_available ? "available" : "waiting", m_messages);
    }
    // As Stop, after a client's application part has gone; a throw meanwhile is kept.
    void End(std::unique_ptr<Session>& self) override {
        starving = false;
        TheSystem().Destroy(m_raw);
        m_app.ended.push_back(std::move(self));
        m_detached = m_client;
        try {
            StopHere();
        } catch (...) {
            Orvane::Platform::KeepException(std::current_exception());
        }
        m_ended = true;
    }
    // Whenever control is back with the application the session and a live service agree.
    void Agree(const Service& service) const {
        Check(!m_available || m_server != service.Window() || !service.Alive() ||
              m_registered == (service.held.count(Low(m_window)) != 0));
    }

  private:
    struct Frame {
        bool registration;
        bool withdraw = false;   // an Unregister was asked inside the registration's send
        bool overtaken = false;  // its own ending no longer applies
    };
    struct Sending {
        Sending(std::vector<Frame*>& frames, Frame& frame) : frames(frames) {
            frames.push_back(&frame);
        }
        ~Sending() { frames.pop_back(); }
        std::vector<Frame*>& frames;
    };
    Frame* Inside() const {
        const auto it = std::find_if(m_frames.rbegin(), m_frames.rend(),
                                     [](const Frame* frame) { return !frame->overtaken; });
        return it != m_frames.rend() ? *it : nullptr;
    }
    void Overtake() {
        for (Frame* frame : m_frames) {
            frame->overtaken = true;
        }
    }
    bool TakesRequests() const {
        return m_registered && !m_twice && (Inside() == nullptr || !Inside()->registration);
    }
    void AutoRegistrationOff() { m_savedAutoRegister = std::exchange(m_autoRegister, false); }
    void Hear(const std::string& what) {
        if (!m_detached) {
            m_app.Heard(this, what);
        }
    }
    void Count() {
        m_registered = true;
        m_twice = false;
        Overtake();
    }

    XeLUMOResult RegisterHere() {
        if (!m_available) {
            return LUMO_NOT_INITIALIZED;
        }
        m_autoRegister = m_savedAutoRegister;
        if (Frame* inside = Inside(); inside != nullptr && inside->registration) {
            inside->withdraw = false;  // the registration under way counts
            return LUMO_SUCCESS;
        }
        if (m_registered && Inside() == nullptr) {
            m_twice = true;
            return LUMO_SUCCESS;
        }
        // Available, or inside the unregistration's send: registers (anew).
        const auto request = BuildRegistrationRequest(
            Orvane::Platform::CurrentLocalTime(), KeyBytes(m_options.key), m_options.clientType);
        Frame frame{true};
        XeLUMOResult sent;
        {
            const Sending sending(m_frames, frame);
            sent = Deliver(m_options.alternate ? 100 : 2000, {request.begin(), request.end()});
            if (Orvane::Platform::HasKeptException()) {
                // The service's answer stands, unheard; an Unregister asked inside is not
                // carried out.
                if (!frame.overtaken && sent == LUMO_SUCCESS) {
                    m_autoRegister = m_savedAutoRegister;
                    Count();
                }
                Orvane::Platform::ThrowKeptException();
            }
        }
        if (frame.overtaken || sent != LUMO_SUCCESS) {
            return frame.overtaken ? LUMO_SERVER_NOT_AVAILABLE : sent;
        }
        Count();
        if (frame.withdraw) {
            return Withdraw(true);
        }
        Hear("registered");
        return LUMO_SUCCESS;
    }
    XeLUMOResult Withdraw(bool heard) {
        Frame frame{false};
        {
            const Sending sending(m_frames, frame);
            Deliver(2001, {});
            if (Orvane::Platform::HasKeptException()) {
                m_registered = m_registered && frame.overtaken;  // taken, unheard
                Orvane::Platform::ThrowKeptException();
            }
        }
        if (!frame.overtaken) {
            m_registered = false;
            if (heard) {
                Hear("unregistered");
            }
        }
        return LUMO_SUCCESS;
    }
    XeLUMOResult StopHere() {
        const bool nested = std::exchange(m_stopping, true);
        std::exception_ptr failed;
        try {
            Frame* inside = Inside();
            if (inside != nullptr && inside->registration) {
                Count();  // and its 2001 at once, from inside its send, unheard
                Withdraw(false);
            } else if (inside == nullptr && m_registered && !m_twice) {
                Withdraw(true);
            }
        } catch (...) {
            failed = std::current_exception();
        }
        if (!m_ended && m_started) {
            // A closed session leaves only a second Register's registration behind (inside
            // the unregistration's send the service has its 2001).
            Check(!m_registered || m_twice || Inside() != nullptr);
            TheSystem().Destroy(m_window);
        }
        if (!m_ended) {
            m_stopping = nested;
            m_started = m_available = m_registered = m_twice = false;
            Overtake();
        }
        if (failed) {
            std::rethrow_exception(failed);
        }
        return LUMO_SUCCESS;
    }
    // A message window, its filter opened to the broadcast in up to six tries.
    WindowHandle OpenWindow() {
        const WindowHandle window = TheSystem().Create(L"WindowsMessagingWindow", L"", *this);
        m_announcement = TheSystem().RegisterMessage(L"LUMO_SERVERAVAILABLE");
        for (int attempt = 0; attempt < 6 && !TheSystem().OpenMessageFilter(window, m_announcement);
             ++attempt) {
        }
        return window;
    }
    XeLUMOResult Deliver(std::uint32_t code, const std::vector<std::uint8_t>& payload) {
        std::vector<std::uint8_t> block(sizeof(LumoMessageHeader) + payload.size());
        BuildOutgoingMessage(block.data(), code, payload.data(),
                             static_cast<std::uint32_t>(payload.size()), 0, 0, Low(m_window));
        const CopyDataBlock copy{0, static_cast<std::uint32_t>(block.size()), block.data()};
        return TheSystem().SendCopyData(m_server, copy) != 0 ? LUMO_SUCCESS : LUMO_EXECUTION_FAILED;
    }
    void ServerAvailable(WindowHandle server) {
        if (std::exchange(m_available, true)) {
            return;
        }
        m_server = server;
        TheSystem().StartTimer(m_window, 1280, 500);
        const WindowHandle window = m_window;
        Hear("server available");
        if (!m_ended && m_window == window && m_started && m_autoRegister) {
            RegisterHere();
        }
    }
    void ServerLost() {
        m_available = m_registered = m_twice = false;
        Overtake();
        TheSystem().StopTimer(m_window, 1280);
        Hear("server down");
    }
    bool OnRegisteredMessage(std::uint32_t message, std::uintptr_t, std::intptr_t l) override {
        if (message == m_announcement) {
            ServerAvailable(static_cast<WindowHandle>(l));
        }
        return message == m_announcement;
    }
    bool OnTimer(std::uintptr_t id) override {
        if (id == 1280 && !TheSystem().IsWindow(m_server)) {
            ServerLost();
        }
        return id == 1280;
    }
    bool OnCopyData(const CopyDataBlock& block) override {
        if (block.cbData < sizeof(sLUMOChunk)) {
            return false;
        }
        const auto* bytes = static_cast<const std::uint8_t*>(block.lpData);
        const std::vector<std::uint8_t> received(bytes, bytes + block.cbData);
        const WindowHandle window = m_window;
        if (U32At(received, 0) == 1005) {
            ServerLost();
        }
        if (!m_ended && m_window == window && m_started) {
            ++m_messages;
            Heard(received);
        }
        return false;
    }
    // A bare core's handlers (2013 and 1004 until cleared, and the default one), a bare
    // window's listener, or a client's callbacks.
    void Heard(const std::vector<std::uint8_t>& block) {
        sLUMOChunk header;
        std::memcpy(&header, block.data(), sizeof header);
        const std::uint32_t id = header.messageId;
        const auto size = static_cast<std::uint32_t>(block.size() - sizeof header);
        if (!m_client) {
            const bool reply = id == 1004 && m_handlers && (header.argument1 == 2013);
            const bool handled = m_handlers && (id == 2013 || id == 1004);
            const std::string handler = reply ? "h 2013" : handled ? Words("h", id) : "default";
            return Hear(Words(handler, id, header.argument1, size));
        }
        const std::string heard =
            id == 2013 || (id == 1004 && header.argument1 == 2013) ? Words(2013, header.argument2)
            : id == 1004 ? Words(1004, header.argument1, header.argument2, size != 0, size)
            : id == 2210 ? Words(2210, header.argument1 != 0)
                         : Decoded(header, {block.begin() + sizeof header, block.end()});
        if (!heard.empty()) {
            Hear(heard);
        }
    }
    // From the table: a fixed record (1000 of 700 bytes, 1001 of 564) zero-extended or cut
    // to its size; a measurement by its status word, none without one; a data reply's
    // header and data, or the verdict alone (7 for a success shorter than its header); a
    // sub-client's event, a record as it came, to that sub-client's observers.
    static std::string Decoded(const sLUMOChunk& header, std::vector<std::uint8_t> payload) {
        const std::uint32_t id = header.messageId,
                            size = static_cast<std::uint32_t>(payload.size());
        if (id == 1000 || id == 1001) {
            payload.resize(id == 1000 ? 700 : 564);
            return Words(id, Digest(payload.data(), payload.size()));
        }
        if (id == 1002) {
            return size < 4 ? "internal error 2 1002"
                            : Words((payload[2] & 0x20) != 0 ? "reliable" : "unreliable",
                                    Digest(payload.data(), 4));
        }
        if (id == 2015) {
            const bool data = header.argument2 == 0 && size >= 48;
            payload.resize(data ? size : 48);
            std::fill(payload.begin(), payload.begin() + (data ? 0 : 48), 0);
            return Words(2015, header.argument2 == 0 && !data ? 7 : header.argument2,
                         Digest(payload.data(), 48), data ? size - 48 : 0,
                         size > 48 && data ? Digest(payload.data() + 48, size - 48) : "none");
        }
        const bool observed = id == 2062 || id == 2226 || id == 2302;
        return observed ? Words("observer", id, header.argument1, header.argument2, size,
                                Digest(payload.data(), size))
                        : "";
    }

    App& m_app;
    const bool m_client;
    Options m_options{};
    bool m_started = false, m_stopping = false, m_ended = false, m_detached = false;
    bool m_available = false, m_registered = false, m_twice = false, m_handlers = true;
    bool m_autoRegister = false, m_savedAutoRegister = false;
    WindowHandle m_window = 0, m_server = 0;
    std::uint32_t m_announcement = 0, m_messages = 0;
    std::vector<Frame*> m_frames;
    const WindowHandle m_raw;  // the bare window for raw blocks
};

std::unique_ptr<Session> MakeModel(App& app, bool client) {
    return std::make_unique<Model>(app, client);
}

void Play(const std::uint8_t* data, std::size_t size, std::vector<std::string>& library,
          bool model) {
    System system;
    Orvane::Platform::ScopedOverride<Orvane::Platform::MessageWindowService> use{system};
    Script script{data, data + size};
    arrivals.clear();
    trace.lines.clear();
    trace.library = model ? &library : nullptr;
    Service service(script);
    App play(script, service, model);
    app = &play;
    while (script.at < script.end) {
        try {
            play.Step();
        } catch (...) {
            trace("the application gets " + Caught(true));
        }
        play.Judge();
        for (const auto& session : play.sessions) {
            if (model && session) {
                static_cast<const Model&>(*session).Agree(service);
            }
        }
    }
    play.EndAll();
    Check(std::count(arrivals.begin(), arrivals.end(), 1) == static_cast<long>(arrivals.size()));
    if (model && trace.lines.size() != library.size()) {
        trace.Fail("the model ends before the library", trace.lines.size());
    }
    library = trace.lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> library;
    Play(data, size, library, false);
    for (std::size_t i = 0; std::getenv("LUMO_TRACE") != nullptr && i < library.size(); ++i) {
        std::fprintf(stderr, "%s\n", library[i].c_str());
    }
    Play(data, size, library, true);
    return 0;
}
