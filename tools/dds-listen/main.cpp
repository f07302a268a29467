// dds-listen: shows the announcement datagrams that reach this PC. See --help.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "network/kx_socket_udp.h"
#include "tools/common/output.h"
#include "tools/common/version.h"
#include "tools/dds-listen/lib/announcement_decoder.h"
#include "tools/dds-listen/lib/announcer_liveness.h"
#include "tools/dds-listen/lib/listen_options.h"
#include "tools/dds-listen/lib/listen_output.h"

namespace {

using Clock = std::chrono::steady_clock;
using Orvane::Network::KxSocketUDP;
using namespace DdsListen;

constexpr long kPollMicroseconds = 100000;  // how often silence is checked
constexpr unsigned int kLargestDatagram = 65536;

void PrintLine(const std::string& line) {
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

std::string Code(std::uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(code));
    return text;
}

std::uint64_t MillisecondsSince(Clock::time_point start) {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

bool OpenListener(KxSocketUDP& socket, const ListenOptions& options) {
    if (const std::uint32_t result = socket.Bind(options.address.c_str(), options.port);
        result != 0) {
        std::fprintf(stderr, "dds-listen: cannot listen on %s:%u (%s)\n", options.address.c_str(),
                     options.port, Code(result).c_str());
        return false;
    }
    if (options.multicastInterface.empty()) {
        return true;
    }
    const std::uint32_t result =
        socket.JoinMulticastGroup(kMulticastGroup, options.multicastInterface.c_str());
    if (result != 0) {
        std::fprintf(stderr, "dds-listen: cannot join %s on %s (%s)\n", kMulticastGroup,
                     options.multicastInterface.c_str(), Code(result).c_str());
        return false;
    }
    return true;
}

int Listen(const ListenOptions& options) {
    KxSocketUDP socket;
    if (!OpenListener(socket, options)) {
        return 1;
    }
    // Tells whoever started the listener that datagrams sent from now on are seen.
    std::fprintf(stderr, "dds-listen: listening on %s:%u\n", options.address.c_str(), options.port);
    std::fflush(stderr);
    const Clock::time_point start = Clock::now();
    const std::uint64_t limitMs = options.seconds ? *options.seconds * 1000 : 0;
    AnnouncerLiveness liveness;
    std::vector<unsigned char> buffer(kLargestDatagram);
    std::uint64_t datagrams = 0;

    while (!(options.count && datagrams >= *options.count) &&
           !(options.seconds && MillisecondsSince(start) >= limitMs)) {
        int ready = 0;
        if (const std::uint32_t result = socket.WaitReadable(ready, 0, kPollMicroseconds);
            result != 0) {
            std::fprintf(stderr, "dds-listen: waiting failed (%s)\n", Code(result).c_str());
            return 1;
        }
        if (ready > 0) {
            char host[32] = {};
            unsigned int received = 0;
            unsigned short port = 0;
            const std::uint32_t result =
                socket.ReceiveFrom(reinterpret_cast<char*>(buffer.data()), kLargestDatagram,
                                   received, host, sizeof host, port);
            if (result != 0) {
                std::fprintf(stderr, "dds-listen: receiving failed (%s)\n", Code(result).c_str());
                continue;
            }
            const std::int64_t receivedUs = LumoTools::MonotonicMicroseconds();
            ++datagrams;
            const std::string source = std::string(host) + ":" + std::to_string(port);
            const DecodeResult decoded = DecodeAnnouncement(buffer.data(), received);
            PrintLine(DatagramLine(options.format, source, received, decoded, receivedUs));
            if (decoded.announcement) {
                if (const auto back =
                        liveness.Heard(source, *decoded.announcement, MillisecondsSince(start))) {
                    PrintLine(LivenessLine(options.format, *back));
                }
            }
        }
        for (const auto& event : liveness.Check(MillisecondsSince(start))) {
            PrintLine(LivenessLine(options.format, event));
        }
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (LumoTools::PrintVersionIfAsked("dds-listen", argc, argv)) {
        return 0;
    }
    const ParsedOptions parsed =
        ParseListenOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (!parsed.options) {
        std::fprintf(stderr, "dds-listen: %s\n%s", parsed.error.c_str(), ListenUsage().c_str());
        return 2;
    }
    if (parsed.options->help) {
        std::fputs(ListenUsage().c_str(), stdout);
        return 0;
    }
    return Listen(*parsed.options);
}
