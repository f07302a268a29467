// Building and sending one announcement datagram to 127.0.0.1 against a raw sendto of the
// same bytes on a socket of its own.
#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "announce/dds_announcement.h"

namespace {

DdsInstrumentInfo Instrument() {
    DdsInstrumentInfo info{};
    std::strcpy(info.model, "Zento");
    std::strcpy(info.name, "Simulator");
    std::strcpy(info.version1, "2.1");
    std::strcpy(info.version2, "1.0");
    info.intervalMs = 2000;
    return info;
}

void AnnounceBuildAndSend(benchmark::State& state) {
    DdsAnnouncement announcement(true, true);
    const DdsInstrumentInfo info = Instrument();
    announcement.Announce(info);
    for (auto _ : state) {
        announcement.BuildContents(info);
        if (announcement.SendToLoopback() != 0) {
            state.SkipWithError("send failed");
            break;
        }
    }
}
BENCHMARK(AnnounceBuildAndSend);

// A whole Announce: it also switches its socket to non-blocking again, one more system call.
void AnnounceWithItsModeSwitch(benchmark::State& state) {
    DdsAnnouncement announcement(true, true);
    const DdsInstrumentInfo info = Instrument();
    for (auto _ : state) {
        if (announcement.Announce(info) != 0) {
            state.SkipWithError("announce failed");
            break;
        }
    }
}
BENCHMARK(AnnounceWithItsModeSwitch);

void RawSendtoOfTheSameBytes(benchmark::State& state) {
    DdsAnnouncement announcement(true, false);
    announcement.Announce(Instrument());
    // The same kind of socket as the announcer's: non-blocking, sent on without signals.
    const int s = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(50999);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (auto _ : state) {
        if (sendto(s, announcement.Packet(), announcement.SendLength(), MSG_NOSIGNAL,
                   reinterpret_cast<const sockaddr*>(&to), sizeof to) < 0) {
            state.SkipWithError("sendto failed");
            break;
        }
    }
    close(s);
}
BENCHMARK(RawSendtoOfTheSameBytes);

void AnnounceBuildOnly(benchmark::State& state) {
    DdsAnnouncement announcement(true, false);
    const DdsInstrumentInfo info = Instrument();
    for (auto _ : state) {
        announcement.BuildContents(info);
    }
}
BENCHMARK(AnnounceBuildOnly);

void AnnounceSendOnly(benchmark::State& state) {
    DdsAnnouncement announcement(true, true);
    announcement.Announce(Instrument());
    for (auto _ : state) {
        announcement.SendToLoopback();
    }
}
BENCHMARK(AnnounceSendOnly);

}  // namespace
