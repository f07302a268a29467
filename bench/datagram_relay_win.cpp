// The floor of the helper's data-to-datagram latency under Wine: a bare relay. A hidden
// top-level window takes the simulated service's instrument data (lumo-sim sends it here
// after "set recipient LUMO_BENCH_RELAY") and, inside the window procedure as the helper
// does, sends one UDP datagram to the announcement listener: an announcement laid out by
// hand around the record's name, so that dds-listen reads it and the run can tell which
// change it carries. No client library, no identification, no flow log, no debug output.
//   datagram-relay [RUN-MS]
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/windows_api.h"
#include "tools/common/message_pump_win.h"
#include "tools/common/titled_window_win.h"

namespace {

constexpr std::size_t kChunkHeaderSize = 32;  // the service's chunk, then the record
constexpr std::size_t kNameOffset = 20;       // the record's UTF-16 name
constexpr std::size_t kNameBound = 61;        // the announcement's bound, less the terminator
constexpr std::size_t kHeaderSize = 14;
constexpr std::uint16_t kAnnounce = 5009;
constexpr u_short kListenerPort = 50999;
// The texts after the name: version1, version2, state, interval, reserved1, reservedText,
// reserved2, and the closing zero.
constexpr char kTextsAfterName[] =
    "\0\0"
    "0\0"
    "2000\0"
    "0\0"
    "\0"
    "0\0";

SOCKET udp = INVALID_SOCKET;
sockaddr_in listener{};
std::uint16_t sequence = 1;

void Store16(char* at, std::uint16_t value) {
    std::memcpy(at, &value, sizeof value);
}

// An empty model, the record's name narrowed unit by unit, the other texts fixed.
int BuildAnnouncement(const std::uint8_t* record, std::size_t recordSize, char* datagram) {
    char* cursor = datagram + kHeaderSize;
    *cursor++ = '\0';
    for (std::size_t i = 0; i < kNameBound && kNameOffset + 2 * i + 1 < recordSize; ++i) {
        const std::uint8_t low = record[kNameOffset + 2 * i];
        if (low == 0 && record[kNameOffset + 2 * i + 1] == 0) {
            break;
        }
        *cursor++ = static_cast<char>(low);
    }
    *cursor++ = '\0';
    std::memcpy(cursor, kTextsAfterName, sizeof kTextsAfterName);
    cursor += sizeof kTextsAfterName;
    const auto length = static_cast<std::uint32_t>(cursor - datagram);
    std::memcpy(datagram, &length, sizeof length);
    Store16(datagram + 4, kAnnounce);
    sequence = static_cast<std::uint16_t>(sequence % 0xFFFF + 1);  // never 0
    Store16(datagram + 6, sequence);
    Store16(datagram + 8, 0);
    Store16(datagram + 10, 1);
    Store16(datagram + 12, static_cast<std::uint16_t>(length - kHeaderSize));
    return static_cast<int>(length);
}

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_COPYDATA) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
    if (data->lpData == nullptr || data->cbData < kChunkHeaderSize) {
        return FALSE;
    }
    char datagram[kHeaderSize + 1 + kNameBound + 1 + sizeof kTextsAfterName];
    const int length =
        BuildAnnouncement(static_cast<const std::uint8_t*>(data->lpData) + kChunkHeaderSize,
                          data->cbData - kChunkHeaderSize, datagram);
    sendto(udp, datagram, length, 0, reinterpret_cast<const sockaddr*>(&listener), sizeof listener);
    return TRUE;
}

}  // namespace

int main(int argc, char** argv) {
    const DWORD runMs = argc > 1 ? static_cast<DWORD>(std::strtoul(argv[1], nullptr, 10)) : 120000;
    WSADATA winsock;
    if (WSAStartup(MAKEWORD(2, 2), &winsock) != 0 ||
        (udp = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP)) == INVALID_SOCKET) {
        std::fputs("datagram-relay: no UDP socket\n", stderr);
        return 1;
    }
    listener.sin_family = AF_INET;
    listener.sin_port = htons(kListenerPort);
    listener.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    HWND window =
        LumoTools::CreateTitledWindow(L"LumoBenchRelay", L"LUMO_BENCH_RELAY", WindowProcedure);
    std::printf("{\"event\":\"ready\"}\n");
    std::fflush(stdout);
    LumoTools::PumpMessagesUntil(runMs, nullptr, runMs);
    DestroyWindow(window);
    closesocket(udp);
    WSACleanup();
    return 0;
}
