// lumo-watcher: joins the measuring-arm service as a client and prints what it learns: the
// parameter table of the API, each instrument the service reports, and each coming and
// going of the service, until Ctrl+C ends it. Start it before the service, or restart the
// service: the service announces itself when it starts.
#include <lumo/api/client.h>
#include <lumo/api/message_loop.h>
#include <lumo/api/result_codes.h>

#include <windows.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

namespace Api = Quorvel::Lumo::Api;

namespace {

std::atomic<bool> g_interrupted{false};

// Ctrl+C and Ctrl+Break arrive on a thread of the system's: the handler only notes them,
// and the session ends on its own thread.
BOOL WINAPI OnConsoleControl(DWORD event) {
    if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
        g_interrupted = true;
        return TRUE;
    }
    return FALSE;
}

std::string Utf8(const std::wstring& text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(), size,
                        nullptr, nullptr);
    return utf8;
}

// Each line goes out at once, so that whoever reads a pipe follows the watcher live.
void Print(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::fflush(stdout);
}

template <class T>
T Field(const std::uint8_t* record, std::size_t offset) {
    T value;
    std::memcpy(&value, record + offset, sizeof value);
    return value;
}

// The fields of the 700-byte instrument record that an application reads (see
// Client::OnInstrumentData). The name runs from byte 20 up to its terminator, and at most
// to the instrument type at byte 416.
void PrintInstrument(const char* message, const std::uint8_t* record) {
    std::wstring name;
    for (std::size_t offset = 20; offset < 416; offset += 2) {
        const auto unit = Field<std::uint16_t>(record, offset);
        if (unit == 0) {
            break;
        }
        name.push_back(static_cast<wchar_t>(unit));
    }
    Print("instrument (%s): type %u, sub-type %u, \"%s\", versions %u.%u and %u.%u\n", message,
          Field<std::uint32_t>(record, 416), record[534], Utf8(name).c_str(),
          Field<std::uint32_t>(record, 524), record[0], record[1], record[2]);
}

class Watcher final : public Api::Client {
  public:
    void OnServerAvailable() override { Print("service available\n"); }

    void OnConnectedToServer() override {
        Print("connected\n");
        // Asks for the instrument attached before the watcher joined; the answer comes in
        // OnServerMessage2233. A command only hands the request over: its result says
        // whether the service took it.
        const Api::XeLUMOResult sent = SendRequest2233();
        if (sent != Api::LUMO_SUCCESS) {
            Print("request 2233 not sent: %s\n", Utf8(Api::GetResultText(sent)).c_str());
        }
    }

    void OnInstrumentData(const std::uint8_t* record) override { PrintInstrument("1000", record); }
    void OnServerMessage2233(const std::uint8_t* record) override {
        PrintInstrument("2233", record);
    }

    // The watcher does not look at measurements.
    void OnReliableMeasurement(const std::uint8_t*) override {}
    void OnUnreliableMeasurement(const std::uint8_t*) override {}

    void OnServerDown() override { Print("service down: waiting for it again\n"); }
};

int Watch() {
    Print("LUMO API %s (%s)\n", Utf8(Api::Client::ApiVersionText()).c_str(),
          Utf8(Api::Client::ApiReleaseDate()).c_str());
    // The session lives on this thread: its callbacks run inside PumpMessages.
    Watcher watcher;
    for (const auto& [id, parameter] : watcher.GetParameterNames()) {
        Print("parameter %d: \"%s\", type %d, category %d\n", id, Utf8(parameter.name).c_str(),
              parameter.valueType, parameter.category);
    }
    // Registers as soon as the service appears (true), with no client key (null) and client
    // type 0.
    const Api::XeLUMOResult started = watcher.Start(0, nullptr, 0, true);
    if (started != Api::LUMO_SUCCESS) {
        std::fprintf(stderr, "lumo-watcher: %s\n", Utf8(Api::GetResultText(started)).c_str());
        return 1;
    }
    Print("waiting for the service; Ctrl+C ends\n");
    while (!g_interrupted) {
        Api::PumpMessages(100);
    }
    Print("ending\n");
    return 0;  // the watcher's destructor unregisters from the service
}

}  // namespace

int main() {
    SetConsoleCtrlHandler(OnConsoleControl, TRUE);
    try {
        const int status = Watch();
        Print("ended\n");
        return status;
    } catch (const std::exception& failure) {
        // What a callback throws comes out of PumpMessages.
        std::fprintf(stderr, "lumo-watcher: %s\n", failure.what());
        return 1;
    }
}
