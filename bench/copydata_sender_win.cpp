// What requests cost a sender, through the client library and bare, against the same bare
// receiving window (copydata-receiver) in another process. Each line it prints is one
// sender's figures.
//   copydata-sender latency COUNT               each send of a 280-byte request and of a
//                                               64 KiB 2016, timed alone: p50 and p99, the
//                                               two senders taking turns
//   copydata-sender answered WINDOW SECONDS     requests answered a second, as an application
//                                               sees them: at most WINDOW 2013s in flight, the
//                                               next sent as an answer comes in (the receiver
//                                               runs with --answer); both senders in turn, in
//                                               slices, each slice drained of its answers
// The bare sender frames its blocks as the library does and sends them the same way
// (WM_COPYDATA by SendMessage), so the difference is the library's own cost.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "lumo/api/client.h"
#include "service_api/core/windows_messaging_window.h"
#include "tools/common/message_pump_win.h"

namespace {

using Quorvel::Lumo::Api::Client;
using Quorvel::Lumo::Api::LUMO_SUCCESS;

constexpr std::size_t kHeaderSize = 60;    // chunk header and the sender's block
constexpr std::size_t kRequestSize = 280;  // the record of 2004
constexpr std::size_t kLargeSize = 65536;  // a 2016 record of 64 KiB
constexpr std::size_t k2016HeaderSize = 48;
// No answer for this long means that one was lost: the receiver answers within microseconds.
constexpr std::uint32_t kAnswerPatienceMs = 2000;
// Short enough that both senders meet the same moods of the machine, long enough that the
// drain at a slice's end is a small part of it.
constexpr double kSliceSeconds = 0.1;

LONGLONG Ticks() {
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

double Microseconds(LONGLONG ticks) {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(ticks) * 1e6 / static_cast<double>(frequency.QuadPart);
}

void DispatchWaiting() {
    LumoTools::PumpMessagesUntil(0, nullptr, 0);
}

// Pumps until `done` or the time is up.
bool PumpUntil(std::uint32_t milliseconds, const std::function<bool()>& done) {
    return LumoTools::PumpMessagesUntil(milliseconds, done, 10);
}

// What one sender heard and where its answers' time went: in its window's procedure, and
// from the procedure's entry to the application's callback.
struct Answers {
    int heard = 0;
    LONGLONG procedureEntered = 0;
    LONGLONG inProcedure = 0;
    LONGLONG toCallback = 0;
    WNDPROC procedure = nullptr;
};
Answers bareAnswers, libraryAnswers;

void Heard(Answers& answers) {
    answers.toCallback += Ticks() - answers.procedureEntered;
    ++answers.heard;
}

// Wraps a sender's window procedure to time the answers' way through it.
template <Answers& answers>
LRESULT CALLBACK TimedProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_COPYDATA) {
        return CallWindowProcW(answers.procedure, window, message, wParam, lParam);
    }
    answers.procedureEntered = Ticks();
    const LRESULT result = CallWindowProcW(answers.procedure, window, message, wParam, lParam);
    answers.inProcedure += Ticks() - answers.procedureEntered;
    return result;
}

template <Answers& answers>
void TimeAnswers(HWND window) {
    answers.procedure = reinterpret_cast<WNDPROC>(SetWindowLongPtrW(
        window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&TimedProcedure<answers>)));
}

class CountingClient final : public Client {
  public:
    void OnConnectedToServer() override { registered = true; }
    void OnServerDown() override {}
    void OnInstrumentData(const std::uint8_t*) override {}
    void OnReliableMeasurement(const std::uint8_t*) override {}
    void OnUnreliableMeasurement(const std::uint8_t*) override {}
    void OnServerMessage2013(Quorvel::Lumo::Api::XeLUMOResult) override { Heard(libraryAnswers); }
    bool registered = false;
};

LRESULT CALLBACK BareWindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_COPYDATA) {
        Heard(bareAnswers);
        return TRUE;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

// The bare sender: its blocks built once, its own window for the answers.
class BareSender {
  public:
    explicit BareSender(HWND receiver) : m_receiver(receiver) {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = BareWindowProcedure;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = L"LumoBenchBareSender";
        RegisterClassW(&windowClass);
        m_window = CreateWindowExW(0, windowClass.lpszClassName, L"", 0, 0, 0, 0, 0, nullptr,
                                   nullptr, windowClass.hInstance, nullptr);
    }
    HWND Window() const { return m_window; }
    bool Send(std::uint32_t messageId, std::size_t payloadSize) {
        std::vector<std::uint8_t>& block = m_blocks[payloadSize];
        if (block.empty()) {
            block.assign(kHeaderSize + payloadSize, 0);
            const std::uint32_t fields[] = {messageId, 0, 0,
                                            static_cast<std::uint32_t>(payloadSize + 28)};
            std::memcpy(block.data(), fields, sizeof fields);
            const auto window =
                static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(m_window));
            std::memcpy(block.data() + 32, &window, sizeof window);
        }
        COPYDATASTRUCT data{0, static_cast<DWORD>(block.size()), block.data()};
        return SendMessageW(m_receiver, WM_COPYDATA, reinterpret_cast<WPARAM>(m_window),
                            reinterpret_cast<LPARAM>(&data)) != 0;
    }

  private:
    HWND m_receiver;
    HWND m_window = nullptr;
    std::map<std::size_t, std::vector<std::uint8_t>> m_blocks;  // by payload size
};

// The client library's window of this process (other processes may have one too).
HWND LibraryWindow() {
    HWND window = nullptr;
    DWORD process = 0;
    do {
        window = FindWindowExW(
            nullptr, window, Quorvel::Lumo::Api::WindowsMessagingWindow::ClassNameText(), nullptr);
    } while (window != nullptr && GetWindowThreadProcessId(window, &process) != 0 &&
             process != GetCurrentProcessId());
    return window;
}

double Percentile(std::vector<double> values, double percent) {
    std::sort(values.begin(), values.end());
    const auto index =
        static_cast<std::size_t>(percent / 100 * static_cast<double>(values.size() - 1));
    return values[index];
}

// One request of a kind: 0 a 280-byte 2004, 1 a 64 KiB 2016, 2 a 2013 without payload; false
// when it was not handed over.
using Request = std::function<bool(int kind)>;

// One sender's share of a run.
struct Sender {
    Sender(const char* name, Request request, Answers& answers)
        : name(name), request(std::move(request)), answers(answers) {}
    const char* name;
    Request request;
    Answers& answers;
    std::vector<double> took;  // latency: each send's microseconds
    int sent = 0;              // answered: requests, time in its slices and in its sends
    LONGLONG elapsed = 0;
    LONGLONG sending = 0;
};

// Each send of a kind timed alone, the two senders taking turns, which one goes first
// changing with each pair (bare, library, library, bare, ...).
bool MeasureLatency(Sender& bare, Sender& library, unsigned long count) {
    for (int kind : {0, 1}) {
        for (unsigned long i = 0; i < 2 * count; ++i) {
            Sender& sender = (i % 2 == 0) == (i / 2 % 2 == 0) ? bare : library;
            const LONGLONG started = Ticks();
            const bool sent = sender.request(kind);
            sender.took.push_back(Microseconds(Ticks() - started));
            if (!sent) {
                std::fprintf(stderr, "copydata-sender: %s send %lu was not handed over\n",
                             sender.name, i / 2 + 1);
                return false;
            }
            DispatchWaiting();
        }
        for (Sender* sender : {&bare, &library}) {
            std::printf(
                "{\"sender\":\"%s\",\"request\":\"%s\",\"n\":%lu,\"p50Us\":%.1f,"
                "\"p99Us\":%.1f}\n",
                sender->name, kind == 0 ? "280 B" : "64 KiB", count, Percentile(sender->took, 50),
                Percentile(sender->took, 99));
            sender->took.clear();
        }
    }
    return true;
}

// Keeps `window` requests in flight for a slice, then waits for the slice's last answer;
// false when an answer did not come.
bool AnsweredSlice(Sender& sender, int window) {
    const auto inFlight = [&] { return sender.sent - sender.answers.heard; };
    const LONGLONG started = Ticks();
    bool answered = true;
    while (answered && Microseconds(Ticks() - started) < kSliceSeconds * 1e6) {
        while (inFlight() < window) {
            const LONGLONG sending = Ticks();
            if (!sender.request(2)) {
                std::fprintf(stderr, "copydata-sender: %s request %d was not handed over\n",
                             sender.name, sender.sent + 1);
                return false;
            }
            sender.sending += Ticks() - sending;
            ++sender.sent;
        }
        answered = PumpUntil(kAnswerPatienceMs, [&] { return inFlight() < window; });
    }
    answered = answered && PumpUntil(kAnswerPatienceMs, [&] { return inFlight() == 0; });
    sender.elapsed += Ticks() - started;
    if (!answered) {
        std::fprintf(stderr, "copydata-sender: %s lost %d of %d answers (none came within %u ms)\n",
                     sender.name, inFlight(), sender.sent, kAnswerPatienceMs);
    }
    return answered;
}

// Slices of the two senders in turn, which one goes first changing each time: the second
// of a pair meets the machine as the first left it.
bool MeasureAnswered(Sender& bare, Sender& library, int window, double seconds) {
    bool bareFirst = true;
    for (double run = 0; run < seconds; run += 2 * kSliceSeconds, bareFirst = !bareFirst) {
        for (Sender* sender : {bareFirst ? &bare : &library, bareFirst ? &library : &bare}) {
            if (!AnsweredSlice(*sender, window)) {
                return false;
            }
        }
    }
    for (const Sender* sender : {&bare, &library}) {
        const Answers& answers = sender->answers;
        const double heard = answers.heard;
        std::printf(
            "{\"sender\":\"%s\",\"window\":%d,\"requests\":%d,\"answered\":%d,"
            "\"perSecond\":%.0f,\"sendUs\":%.2f,\"procedureUs\":%.2f,\"toCallbackUs\":%.2f}\n",
            sender->name, window, sender->sent, answers.heard,
            heard / (Microseconds(sender->elapsed) / 1e6), Microseconds(sender->sending) / heard,
            Microseconds(answers.inProcedure) / heard, Microseconds(answers.toCallback) / heard);
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string measure = argc > 1 ? argv[1] : "";
    if (!(measure == "latency" && argc == 3) && !(measure == "answered" && argc == 4)) {
        std::fputs(
            "usage: copydata-sender latency COUNT\n"
            "       copydata-sender answered WINDOW SECONDS\n",
            stderr);
        return 2;
    }
    HWND receiver = nullptr;
    PumpUntil(10000,
              [&] { return (receiver = FindWindowW(nullptr, L"LUMO_BENCH_RECEIVER")) != nullptr; });
    if (receiver == nullptr) {
        std::fputs("copydata-sender: no LUMO_BENCH_RECEIVER window\n", stderr);
        return 1;
    }

    CountingClient client;
    client.Start(0, nullptr, 0, true);
    client.ConnectToServerWindow(reinterpret_cast<std::uintptr_t>(receiver));
    if (!PumpUntil(10000, [&] { return client.registered; })) {
        std::fputs("copydata-sender: the client did not register\n", stderr);
        return 1;
    }
    BareSender bareSender(receiver);
    std::vector<std::uint8_t> largeData(kLargeSize - k2016HeaderSize, 0x5A);
    const Request bare = [&](int kind) {
        return bareSender.Send(kind == 0   ? 2004
                               : kind == 1 ? 2016
                                           : 2013,
                               kind == 0   ? kRequestSize
                               : kind == 1 ? kLargeSize
                                           : 0);
    };
    const Request library = [&](int kind) {
        return (kind == 0   ? client.SendRequest2004(1, 2, 3, 4, 5)
                : kind == 1 ? client.SendRequest2016(1, 2, 3, largeData.data(),
                                                     static_cast<std::uint32_t>(largeData.size()))
                            : client.SendRequest2013()) == LUMO_SUCCESS;
    };

    Sender bareRun("bare", bare, bareAnswers);
    Sender libraryRun("library", library, libraryAnswers);
    if (measure == "latency") {
        return MeasureLatency(bareRun, libraryRun, std::strtoul(argv[2], nullptr, 10)) ? 0 : 1;
    }
    TimeAnswers<bareAnswers>(bareSender.Window());
    TimeAnswers<libraryAnswers>(LibraryWindow());
    return MeasureAnswered(bareRun, libraryRun, std::atoi(argv[2]), std::strtod(argv[3], nullptr))
               ? 0
               : 3;
}
