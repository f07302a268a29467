// The other process of the channel library's tests.
//
//   kxipc_test_peer send CHANNEL COUNT
//       opens CHANNEL and writes COUNT messages: message i has code 1000 + i and i % 300
//       data bytes of value i % 256. Exit status 0 when every write succeeded.
//   kxipc_test_peer hold CHANNEL
//       creates CHANNEL, signals the event "CHANNEL.ready", waits for the event
//       "CHANNEL.quit" and ends without closing the channel.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tools/KxIpcDll/KxIpcDll.h"

namespace {

int Send(const char* name, int count) {
    unsigned channel = 0;
    if (kxipcOpenChannel(name, &channel) != KXIPC_OK) {
        return 2;
    }
    for (int i = 0; i < count; ++i) {
        const std::vector<unsigned char> data(i % 300, static_cast<unsigned char>(i % 256));
        if (kxipcWriteChannelWithDataBuffer(channel, "peer", name, data.data(),
                                            static_cast<unsigned>(data.size()),
                                            1000 + i) != KXIPC_OK) {
            return 3;
        }
    }
    return 0;
}

int Hold(const char* name) {
    const HANDLE ready = CreateEventA(nullptr, TRUE, FALSE, (std::string(name) + ".ready").c_str());
    const HANDLE quit = CreateEventA(nullptr, TRUE, FALSE, (std::string(name) + ".quit").c_str());
    unsigned channel = 0;
    if (kxipcCreateChannel(name, &channel) != KXIPC_OK) {
        return 2;
    }
    SetEvent(ready);
    WaitForSingleObject(quit, 30000);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (kxipcInitialize() != KXIPC_OK) {
        return 1;
    }
    if (argc == 4 && std::strcmp(argv[1], "send") == 0) {
        return Send(argv[2], std::atoi(argv[3]));
    }
    if (argc == 3 && std::strcmp(argv[1], "hold") == 0) {
        return Hold(argv[2]);
    }
    return 9;
}
