// The channel library inside one process. Channels that the code under test creates get a
// queue and a data-ready event (an object of the FakeKernelObjects, signalled exactly while
// the queue is not empty); channels of other processes are names the test declares, and
// what is written to them is kept for inspection. Error codes are those of the stand-in
// library in tools/KxIpcDll.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/ipc_library.h"
#include "platform/testing/fake_kernel_objects.h"
#include "platform/testing/lockable.h"

namespace Orvane::Platform::Testing {

class FakeIpcLibrary final : public IpcLibrary, private Lockable {
  public:
    enum class Call { Initialize, Create, Open, GetDataReadyEvent, Read, Write, Close };
    struct SentMessage {
        std::uint32_t target;
        std::string senderName;
        std::string targetName;
        std::uint32_t code;
        std::vector<std::uint8_t> data;
    };

    static constexpr std::uint32_t kNotInitialized = 1;
    static constexpr std::uint32_t kInvalidArgument = 2;
    static constexpr std::uint32_t kChannelExists = 4;
    static constexpr std::uint32_t kNoSuchChannel = 5;
    static constexpr std::uint32_t kInvalidHandle = 6;
    static constexpr std::uint32_t kWrongChannelKind = 7;
    static constexpr std::uint32_t kNoMessage = 8;
    static constexpr std::uint32_t kBufferTooSmall = 9;
    static constexpr std::uint32_t kChannelGone = 11;

    explicit FakeIpcLibrary(FakeKernelObjects& objects) : objects_(objects) {}

    std::uint32_t Initialize() override;
    std::uint32_t CreateChannel(const char* name, std::uint32_t* channel) override;
    std::uint32_t OpenChannel(const char* name, std::uint32_t* channel) override;
    std::uint32_t GetDataReadyEvent(std::uint32_t channel, KernelHandle* event) override;
    std::uint32_t ReadChannel(void* buffer, std::uint32_t channel, std::uint32_t size,
                              std::uint32_t* bytesRead, std::uint32_t flags) override;
    std::uint32_t WriteChannelWithDataBuffer(std::uint32_t target, const char* senderName,
                                             const char* targetName, const void* data,
                                             std::uint32_t length, std::uint32_t code) override;
    std::uint32_t CloseChannel(std::uint32_t channel) override;

    // Another process's channel of that name comes into being, or goes away (writes to it
    // then fail).
    void AddPeerChannel(const std::string& name) {
        Locked([&] { peers_.insert(name); });
    }
    void RemovePeerChannel(const std::string& name) {
        Locked([&] { peers_.erase(name); });
    }
    // Queues a message on an own channel as a writer would: the code, then the data.
    void Deliver(const std::string& name, std::uint32_t code,
                 const std::vector<std::uint8_t>& data = {});
    // Queues exactly these bytes, for messages no well-behaved writer produces.
    void DeliverRaw(const std::string& name, const std::vector<std::uint8_t>& bytes);
    // The next call of that kind returns the code without doing anything.
    void FailNext(Call call, std::uint32_t result) {
        Locked([&] { failures_[call].push_back(result); });
    }
    // Runs `action` as the next write begins, outside the fake's lock: it may block.
    void DuringNextWrite(std::function<void()> action) {
        Locked([&] { duringNextWrite_ = std::move(action); });
    }
    // The handle the next created or opened channel gets; later ones count up from it.
    void SetNextHandle(std::uint32_t handle) {
        Locked([&] { nextHandle_ = handle; });
    }

    std::vector<Call> Calls() const {
        return Locked([&] { return calls_; });
    }
    std::vector<SentMessage> Sent() const {
        return Locked([&] { return sent_; });
    }
    // The handle of the open own channel of that name, 0 when there is none.
    std::uint32_t OwnChannel(const std::string& name) const;

  private:
    struct Channel {
        std::string name;
        bool own;
        KernelHandle dataReady;
        std::deque<std::vector<std::uint8_t>> queue;
    };

    std::optional<std::uint32_t> TakeFailure(Call call);
    Channel* Find(std::uint32_t channel);
    Channel* FindOwn(const std::string& name);
    void Queue(Channel& channel, std::vector<std::uint8_t> bytes);

    FakeKernelObjects& objects_;
    bool initialized_ = false;
    std::uint32_t nextHandle_ = 1;
    std::map<std::uint32_t, Channel> channels_;
    std::set<std::string> peers_;
    std::map<Call, std::deque<std::uint32_t>> failures_;
    std::vector<Call> calls_;
    std::vector<SentMessage> sent_;
    std::function<void()> duringNextWrite_;
};

}  // namespace Orvane::Platform::Testing
