#include "platform/testing/fake_ipc_library.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Orvane::Platform::Testing {
namespace {

// A message as a reader receives it: the code, little-endian, then the data.
std::vector<std::uint8_t> MessageBytes(std::uint32_t code, const std::uint8_t* data,
                                       std::size_t length) {
    std::vector<std::uint8_t> message(4 + length);
    for (int i = 0; i < 4; ++i) {
        message[i] = static_cast<std::uint8_t>(code >> (8 * i));
    }
    std::copy(data, data + length, message.begin() + 4);
    return message;
}

}  // namespace

std::uint32_t FakeIpcLibrary::Initialize() {
    std::lock_guard lock(mutex_);
    const auto failure = TakeFailure(Call::Initialize);
    initialized_ = initialized_ || !failure;
    return failure.value_or(0);
}

std::uint32_t FakeIpcLibrary::CreateChannel(const char* name, std::uint32_t* channel) {
    std::lock_guard lock(mutex_);
    if (const auto failure = TakeFailure(Call::Create)) {
        return *failure;
    }
    if (!initialized_) {
        return kNotInitialized;
    }
    if (name == nullptr || *name == '\0' || channel == nullptr) {
        return kInvalidArgument;
    }
    if (FindOwn(name) != nullptr || peers_.count(name) != 0) {
        return kChannelExists;
    }
    *channel = nextHandle_++;
    channels_.emplace(*channel, Channel{name, true, objects_.Create(true), {}});
    return 0;
}

std::uint32_t FakeIpcLibrary::OpenChannel(const char* name, std::uint32_t* channel) {
    std::lock_guard lock(mutex_);
    if (const auto failure = TakeFailure(Call::Open)) {
        return *failure;
    }
    if (!initialized_) {
        return kNotInitialized;
    }
    if (name == nullptr || channel == nullptr) {
        return kInvalidArgument;
    }
    if (FindOwn(name) == nullptr && peers_.count(name) == 0) {
        return kNoSuchChannel;
    }
    *channel = nextHandle_++;
    channels_.emplace(*channel, Channel{name, false, nullptr, {}});
    return 0;
}

std::uint32_t FakeIpcLibrary::GetDataReadyEvent(std::uint32_t channel, KernelHandle* event) {
    std::lock_guard lock(mutex_);
    if (const auto failure = TakeFailure(Call::GetDataReadyEvent)) {
        return *failure;
    }
    Channel* found = Find(channel);
    if (found == nullptr || event == nullptr) {
        return found == nullptr ? kInvalidHandle : kInvalidArgument;
    }
    if (!found->own) {
        return kWrongChannelKind;
    }
    *event = found->dataReady;
    return 0;
}

std::uint32_t FakeIpcLibrary::ReadChannel(void* buffer, std::uint32_t channel, std::uint32_t size,
                                          std::uint32_t* bytesRead, std::uint32_t) {
    std::lock_guard lock(mutex_);
    if (const auto failure = TakeFailure(Call::Read)) {
        return *failure;
    }
    Channel* found = Find(channel);
    if (found == nullptr) {
        return kInvalidHandle;
    }
    if (!found->own) {
        return kWrongChannelKind;
    }
    if (buffer == nullptr || bytesRead == nullptr) {
        return kInvalidArgument;
    }
    if (found->queue.empty()) {
        return kNoMessage;
    }
    const std::vector<std::uint8_t>& next = found->queue.front();
    if (next.size() > size) {
        *bytesRead = static_cast<std::uint32_t>(next.size());
        return kBufferTooSmall;
    }
    if (!next.empty()) {
        std::memcpy(buffer, next.data(), next.size());
    }
    *bytesRead = static_cast<std::uint32_t>(next.size());
    found->queue.pop_front();
    if (found->queue.empty()) {
        objects_.Reset(found->dataReady);
    }
    return 0;
}

std::uint32_t FakeIpcLibrary::WriteChannelWithDataBuffer(std::uint32_t target,
                                                         const char* senderName,
                                                         const char* targetName, const void* data,
                                                         std::uint32_t length, std::uint32_t code) {
    if (const auto action = Locked([&] { return std::exchange(duringNextWrite_, nullptr); })) {
        action();
    }
    std::lock_guard lock(mutex_);
    if (const auto failure = TakeFailure(Call::Write)) {
        return *failure;
    }
    Channel* found = Find(target);
    if (found == nullptr) {
        return kInvalidHandle;
    }
    if (found->own) {
        return kWrongChannelKind;
    }
    if ((data == nullptr && length != 0) || (targetName != nullptr && found->name != targetName)) {
        return kInvalidArgument;
    }
    Channel* receiver = FindOwn(found->name);
    if (receiver == nullptr && peers_.count(found->name) == 0) {
        return kChannelGone;
    }
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    std::vector<std::uint8_t> payload(bytes, bytes + length);
    sent_.push_back({target, senderName != nullptr ? senderName : "",
                     targetName != nullptr ? targetName : "", code, payload});
    if (receiver != nullptr) {
        Queue(*receiver, MessageBytes(code, payload.data(), payload.size()));
    }
    return 0;
}

std::uint32_t FakeIpcLibrary::CloseChannel(std::uint32_t channel) {
    std::lock_guard lock(mutex_);
    if (const auto failure = TakeFailure(Call::Close)) {
        return *failure;
    }
    const auto found = channels_.find(channel);
    if (found == channels_.end()) {
        return kInvalidHandle;
    }
    if (found->second.own) {
        objects_.Close(found->second.dataReady);
    }
    channels_.erase(found);
    return 0;
}

void FakeIpcLibrary::Deliver(const std::string& name, std::uint32_t code,
                             const std::vector<std::uint8_t>& data) {
    DeliverRaw(name, MessageBytes(code, data.data(), data.size()));
}

void FakeIpcLibrary::DeliverRaw(const std::string& name, const std::vector<std::uint8_t>& bytes) {
    std::lock_guard lock(mutex_);
    Channel* channel = FindOwn(name);
    if (channel != nullptr) {
        Queue(*channel, bytes);
    }
}

std::uint32_t FakeIpcLibrary::OwnChannel(const std::string& name) const {
    std::lock_guard lock(mutex_);
    for (const auto& [handle, channel] : channels_) {
        if (channel.own && channel.name == name) {
            return handle;
        }
    }
    return 0;
}

std::optional<std::uint32_t> FakeIpcLibrary::TakeFailure(Call call) {
    calls_.push_back(call);
    auto& queued = failures_[call];
    if (queued.empty()) {
        return std::nullopt;
    }
    const std::uint32_t result = queued.front();
    queued.pop_front();
    return result;
}

FakeIpcLibrary::Channel* FakeIpcLibrary::Find(std::uint32_t channel) {
    const auto found = channels_.find(channel);
    return found == channels_.end() ? nullptr : &found->second;
}

FakeIpcLibrary::Channel* FakeIpcLibrary::FindOwn(const std::string& name) {
    for (auto& [handle, channel] : channels_) {
        if (channel.own && channel.name == name) {
            return &channel;
        }
    }
    return nullptr;
}

void FakeIpcLibrary::Queue(Channel& channel, std::vector<std::uint8_t> bytes) {
    channel.queue.push_back(std::move(bytes));
    objects_.Set(channel.dataReady);
}

}  // namespace Orvane::Platform::Testing
