// What one request costs a sender, through the client library or bare, against the same bare
// receiving window (copydata-receiver) in another process.
//   copydata-sender bare|library latency COUNT     each send of a 280-byte request and of a
//                                                  64 KiB 2016, timed alone: p50 and p99
//   copydata-sender bare|library sustained SECONDS requests handed over back to back while
//                                                  the receiver (--answer) answers each
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
#include <vector>

#include "service_api/client/client.h"
#include "tools/common/message_pump_win.h"

namespace {

using Quorvel::Lumo::Api::Client;
using Quorvel::Lumo::Api::LUMO_SUCCESS;

constexpr std::size_t kHeaderSize = 60;    // chunk header and the sender's block
constexpr std::size_t kRequestSize = 280;  // the record of 2004
constexpr std::size_t kLargeSize = 65536;  // a 2016 record of 64 KiB
constexpr std::size_t k2016HeaderSize = 48;

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

int answers = 0;  // replies heard, by either sender

class CountingClient final : public Client {
  public:
    void OnConnectedToServer() override { registered = true; }
    void OnServerDown() override {}
    void OnInstrumentData(const std::uint8_t*) override {}
    void OnReliableMeasurement(const std::uint8_t*) override {}
    void OnUnreliableMeasurement(const std::uint8_t*) override {}
    void OnServerMessage2013(Quorvel::Lumo::Api::XeLUMOResult) override { ++answers; }
    bool registered = false;
};

LRESULT CALLBACK BareWindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_COPYDATA) {
        ++answers;
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

double Percentile(std::vector<double> values, double percent) {
    std::sort(values.begin(), values.end());
    const auto index =
        static_cast<std::size_t>(percent / 100 * static_cast<double>(values.size() - 1));
    return values[index];
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: copydata-sender bare|library latency COUNT|sustained SECONDS\n", stderr);
        return 2;
    }
    const bool bare = std::string(argv[1]) == "bare";
    const std::string measure = argv[2];
    const unsigned long amount = std::strtoul(argv[3], nullptr, 10);
    HWND receiver = nullptr;
    PumpUntil(10000,
              [&] { return (receiver = FindWindowW(nullptr, L"LUMO_BENCH_RECEIVER")) != nullptr; });
    if (receiver == nullptr) {
        std::fputs("copydata-sender: no LUMO_BENCH_RECEIVER window\n", stderr);
        return 1;
    }

    CountingClient client;
    BareSender bareSender(receiver);
    std::vector<std::uint8_t> largeData(kLargeSize - k2016HeaderSize, 0x5A);
    if (!bare) {
        client.Start(0, nullptr, 0, true);
        client.ConnectToServerWindow(reinterpret_cast<std::uintptr_t>(receiver));
        if (!PumpUntil(10000, [&] { return client.registered; })) {
            std::fputs("copydata-sender: the client did not register\n", stderr);
            return 1;
        }
    }
    // One request of each kind, by the sender under test; false when it was not handed over.
    const auto request = [&](int kind) {
        if (bare) {
            return bareSender.Send(kind == 0   ? 2004
                                   : kind == 1 ? 2016
                                               : 2013,
                                   kind == 0   ? kRequestSize
                                   : kind == 1 ? kLargeSize
                                               : 0);
        }
        return (kind == 0   ? client.SendRequest2004(1, 2, 3, 4, 5)
                : kind == 1 ? client.SendRequest2016(1, 2, 3, largeData.data(),
                                                     static_cast<std::uint32_t>(largeData.size()))
                            : client.SendRequest2013()) == LUMO_SUCCESS;
    };

    if (measure == "latency") {
        for (int kind : {0, 1}) {
            std::vector<double> took;
            for (unsigned long i = 0; i < amount; ++i) {
                const LONGLONG started = Ticks();
                const bool sent = request(kind);
                took.push_back(Microseconds(Ticks() - started));
                if (!sent) {
                    return 1;
                }
                DispatchWaiting();
            }
            std::printf(
                "{\"sender\":\"%s\",\"request\":\"%s\",\"n\":%lu,\"p50Us\":%.1f,\"p99Us\":%.1f}\n",
                argv[1], kind == 0 ? "280 B" : "64 KiB", amount, Percentile(took, 50),
                Percentile(took, 99));
        }
        return 0;
    }
    int sent = 0;
    const LONGLONG started = Ticks();
    const double seconds = static_cast<double>(amount);
    while (Microseconds(Ticks() - started) < seconds * 1e6) {
        if (!request(2)) {
            return 1;
        }
        ++sent;
        DispatchWaiting();
    }
    const double elapsed = Microseconds(Ticks() - started) / 1e6;
    PumpUntil(5000, [&] { return answers >= sent; });
    std::printf("{\"sender\":\"%s\",\"requests\":%d,\"answered\":%d,\"perSecond\":%.0f}\n", argv[1],
                sent, answers, sent / elapsed);
    return answers == sent ? 0 : 1;
}
