// The device API's inter-process channel library (KxIpcDll): named one-way channels that
// carry messages of a 32-bit code and a data buffer.
//
// Every call returns 0 on success or the library's own non-zero error code, which callers
// pass on or record but never interpret. Channel handles are 32-bit and never 0.
#pragma once

#include <cstdint>

#include "platform/kernel_handle.h"

namespace Orvane::Platform {

class IpcLibrary {
  public:
    virtual ~IpcLibrary() = default;

    // Prepares the library; called once before any channel is made.
    virtual std::uint32_t Initialize() = 0;
    // Creates the caller's own receiving channel under that name.
    virtual std::uint32_t CreateChannel(const char* name, std::uint32_t* channel) = 0;
    // Opens another process's channel for sending; fails when nobody created it.
    virtual std::uint32_t OpenChannel(const char* name, std::uint32_t* channel) = 0;
    // An event of an own channel that is signalled while a message is waiting on it. The
    // library owns it; it stays valid until the channel is closed.
    virtual std::uint32_t GetDataReadyEvent(std::uint32_t channel, KernelHandle* event) = 0;
    // Takes the next message of an own channel into the buffer: its code as a little-endian
    // 32-bit number followed by its data; bytesRead becomes 4 + the data length.
    virtual std::uint32_t ReadChannel(void* buffer, std::uint32_t channel, std::uint32_t size,
                                      std::uint32_t* bytesRead, std::uint32_t flags) = 0;
    // Delivers one message to an opened channel.
    virtual std::uint32_t WriteChannelWithDataBuffer(std::uint32_t target, const char* senderName,
                                                     const char* targetName, const void* data,
                                                     std::uint32_t length, std::uint32_t code) = 0;
    virtual std::uint32_t CloseChannel(std::uint32_t channel) = 0;
};

}  // namespace Orvane::Platform
