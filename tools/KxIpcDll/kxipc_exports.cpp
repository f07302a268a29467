// The library's functions: a process-wide table from handle to channel around Channel.
#include <map>
#include <memory>
#include <mutex>

#include "kxipc/KxIpcDll.h"
#include "tools/KxIpcDll/channel.h"

namespace {

class ChannelTable {
  public:
    unsigned Initialize() {
        std::lock_guard lock(mutex_);
        initialized_ = true;
        return KXIPC_OK;
    }

    bool Initialized() {
        std::lock_guard lock(mutex_);
        return initialized_;
    }

    unsigned Add(std::unique_ptr<KxIpc::Channel> channel) {
        std::lock_guard lock(mutex_);
        const unsigned handle = nextHandle_++;
        channels_.emplace(handle, std::move(channel));
        return handle;
    }

    // Shared, so that a close by another thread during a blocking write leaves the write's
    // channel alive until the write is over.
    std::shared_ptr<KxIpc::Channel> Find(unsigned handle) {
        std::lock_guard lock(mutex_);
        const auto found = channels_.find(handle);
        return found == channels_.end() ? nullptr : found->second;
    }

    bool Remove(unsigned handle) {
        std::lock_guard lock(mutex_);
        return channels_.erase(handle) == 1;
    }

  private:
    std::mutex mutex_;
    bool initialized_ = false;
    unsigned nextHandle_ = 1;
    std::map<unsigned, std::shared_ptr<KxIpc::Channel>> channels_;
};

ChannelTable& Table() {
    static ChannelTable table;
    return table;
}

using Maker = unsigned (*)(const std::string&, std::unique_ptr<KxIpc::Channel>*);

unsigned MakeChannel(Maker make, const char* name, unsigned* channel) {
    if (!Table().Initialized()) {
        return KXIPC_ERROR_NOT_INITIALIZED;
    }
    if (channel == nullptr) {
        return KXIPC_ERROR_INVALID_ARGUMENT;
    }
    if (!KxIpc::IsValidChannelName(name)) {
        return KXIPC_ERROR_INVALID_NAME;
    }
    std::unique_ptr<KxIpc::Channel> made;
    const unsigned result = make(name, &made);
    if (result == KXIPC_OK) {
        *channel = Table().Add(std::move(made));
    }
    return result;
}

// The channel behind a handle for an operation that needs one of the given kind.
unsigned FindChannel(unsigned handle, bool own, std::shared_ptr<KxIpc::Channel>* channel) {
    if (!Table().Initialized()) {
        return KXIPC_ERROR_NOT_INITIALIZED;
    }
    *channel = Table().Find(handle);
    if (*channel == nullptr) {
        return KXIPC_ERROR_INVALID_HANDLE;
    }
    return (*channel)->Own() == own ? KXIPC_OK : KXIPC_ERROR_WRONG_CHANNEL_KIND;
}

}  // namespace

extern "C" {

KXIPC_API unsigned kxipcInitialize(void) {
    return Table().Initialize();
}

KXIPC_API unsigned kxipcCreateChannel(const char* name, unsigned* channel) {
    return MakeChannel(&KxIpc::Channel::Create, name, channel);
}

KXIPC_API unsigned kxipcOpenChannel(const char* name, unsigned* channel) {
    return MakeChannel(&KxIpc::Channel::Open, name, channel);
}

KXIPC_API unsigned kxipcGetDataReadyEvent(unsigned channel, HANDLE* event) {
    std::shared_ptr<KxIpc::Channel> found;
    const unsigned result = FindChannel(channel, true, &found);
    if (result != KXIPC_OK) {
        return result;
    }
    if (event == nullptr) {
        return KXIPC_ERROR_INVALID_ARGUMENT;
    }
    *event = found->DataReady();
    return KXIPC_OK;
}

KXIPC_API unsigned kxipcReadChannel(void* buffer, unsigned channel, unsigned size,
                                    unsigned* bytesRead, unsigned flags) {
    std::shared_ptr<KxIpc::Channel> found;
    const unsigned result = FindChannel(channel, true, &found);
    if (result != KXIPC_OK) {
        return result;
    }
    if (buffer == nullptr || bytesRead == nullptr || flags != 0) {
        return KXIPC_ERROR_INVALID_ARGUMENT;
    }
    *bytesRead = 0;
    return found->Read(buffer, size, bytesRead);
}

KXIPC_API unsigned kxipcWriteChannelWithDataBuffer(unsigned target, const char*,
                                                   const char* targetName, const void* data,
                                                   unsigned length, unsigned code) {
    std::shared_ptr<KxIpc::Channel> found;
    const unsigned result = FindChannel(target, false, &found);
    if (result != KXIPC_OK) {
        return result;
    }
    if ((data == nullptr && length != 0) ||
        (targetName != nullptr && found->Name() != targetName)) {
        return KXIPC_ERROR_INVALID_ARGUMENT;
    }
    if (length > KXIPC_MAX_DATA_LENGTH) {
        return KXIPC_ERROR_MESSAGE_TOO_LARGE;
    }
    return found->Write(code, data, length);
}

KXIPC_API unsigned kxipcCloseChannel(unsigned channel) {
    if (!Table().Initialized()) {
        return KXIPC_ERROR_NOT_INITIALIZED;
    }
    return Table().Remove(channel) ? KXIPC_OK : KXIPC_ERROR_INVALID_HANDLE;
}

}  // extern "C"
