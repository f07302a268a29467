#include "tools/KxIpcDll/channel.h"

#include <cstring>

#include "kxipc/KxIpcDll.h"

namespace KxIpc {

struct Channel::Waiting {
    LONG messages;
    LONG bytes;
};

namespace {

// Room kept well below the point where the system starts blocking writers (measured from
// about 280 small or 200 KB of large messages).
constexpr LONG kMaxWaitingMessages = 64;
constexpr LONG kMaxWaitingBytes = 64 * 1024;
constexpr DWORD kRoomPollMs = 2;
constexpr ULONGLONG kRoomWaitMs = 500;
constexpr DWORD kLockWaitMs = 500;

std::string SlotPath(const std::string& name) {
    return "\\\\.\\mailslot\\KxIpc\\" + name;
}
std::string ObjectName(const char* kind, const std::string& name) {
    return std::string("KxIpc.") + kind + "." + name;
}

// Overlapped, so that a write can be given up.
HANDLE OpenSlotForWriting(const std::string& name) {
    return CreateFileA(SlotPath(name).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                       OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
}

// Holds the channel's mutex, if it comes within kLockWaitMs. A holder that died leaves it
// abandoned, which still hands it to us; the shared record is then corrected by the reader
// as soon as the mailslot is empty.
class LockHolder {
  public:
    explicit LockHolder(HANDLE lock) : lock_(lock) {
        const DWORD waited = WaitForSingleObject(lock_, kLockWaitMs);
        held_ = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
    }
    ~LockHolder() {
        if (held_) {
            ReleaseMutex(lock_);
        }
    }
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;
    bool Held() const { return held_; }

  private:
    HANDLE lock_;
    bool held_;
};

// Writes one whole message, giving up at `deadline`.
unsigned WriteWithin(HANDLE slot, const std::string& message, ULONGLONG deadline) {
    OVERLAPPED overlapped{};
    overlapped.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (overlapped.hEvent == nullptr) {
        return KXIPC_ERROR_SYSTEM;
    }
    const auto size = static_cast<DWORD>(message.size());
    DWORD written = 0;
    bool done = false;
    if (WriteFile(slot, message.data(), size, nullptr, &overlapped) ||
        GetLastError() == ERROR_IO_PENDING) {
        const ULONGLONG now = GetTickCount64();
        const auto left = static_cast<DWORD>(now < deadline ? deadline - now : 0);
        if (WaitForSingleObject(overlapped.hEvent, left) != WAIT_OBJECT_0) {
            CancelIoEx(slot, &overlapped);
        }
        done = GetOverlappedResult(slot, &overlapped, &written, TRUE) && written == size;
    }
    const DWORD error = GetLastError();
    CloseHandle(overlapped.hEvent);
    return done                               ? KXIPC_OK
           : error == ERROR_OPERATION_ABORTED ? KXIPC_ERROR_RECEIVER_STALLED
                                              : KXIPC_ERROR_CHANNEL_GONE;
}

}  // namespace

bool IsValidChannelName(const char* name) {
    if (name == nullptr) {
        return false;
    }
    const std::size_t length = strnlen(name, KXIPC_MAX_NAME_LENGTH + 1);
    if (length == 0 || length > KXIPC_MAX_NAME_LENGTH) {
        return false;
    }
    for (std::size_t i = 0; i < length; ++i) {
        if (name[i] < ' ' || name[i] > '~' || name[i] == '\\') {
            return false;
        }
    }
    return true;
}

unsigned Channel::Create(const std::string& name, std::unique_ptr<Channel>* made) {
    std::unique_ptr<Channel> channel(new Channel(name, true));
    channel->slot_ = CreateMailslotA(SlotPath(name).c_str(), 0, 0, nullptr);
    if (channel->slot_ == INVALID_HANDLE_VALUE) {
        return GetLastError() == ERROR_ALREADY_EXISTS ? KXIPC_ERROR_CHANNEL_EXISTS
                                                      : KXIPC_ERROR_SYSTEM;
    }
    channel->lock_ = CreateMutexA(nullptr, FALSE, ObjectName("Lock", name).c_str());
    channel->dataReady_ = CreateEventA(nullptr, TRUE, FALSE, ObjectName("DataReady", name).c_str());
    channel->waitingMapping_ =
        CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Waiting),
                           ObjectName("Waiting", name).c_str());
    if (channel->lock_ == nullptr || channel->dataReady_ == nullptr ||
        channel->waitingMapping_ == nullptr) {
        return KXIPC_ERROR_SYSTEM;
    }
    channel->waiting_ = static_cast<Waiting*>(
        MapViewOfFile(channel->waitingMapping_, FILE_MAP_WRITE, 0, 0, sizeof(Waiting)));
    if (channel->waiting_ == nullptr) {
        return KXIPC_ERROR_SYSTEM;
    }
    {
        // A writer of an earlier channel of this name may still hold these objects.
        LockHolder hold(channel->lock_);
        if (!hold.Held()) {
            return KXIPC_ERROR_CHANNEL_BUSY;
        }
        ResetEvent(channel->dataReady_);
        *channel->waiting_ = {};
    }
    *made = std::move(channel);
    return KXIPC_OK;
}

unsigned Channel::Open(const std::string& name, std::unique_ptr<Channel>* made) {
    std::unique_ptr<Channel> channel(new Channel(name, false));
    const HANDLE probe = OpenSlotForWriting(name);
    if (probe == INVALID_HANDLE_VALUE) {
        return KXIPC_ERROR_NO_SUCH_CHANNEL;
    }
    CloseHandle(probe);
    channel->lock_ =
        OpenMutexA(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, ObjectName("Lock", name).c_str());
    channel->dataReady_ =
        OpenEventA(SYNCHRONIZE | EVENT_MODIFY_STATE, FALSE, ObjectName("DataReady", name).c_str());
    channel->waitingMapping_ =
        OpenFileMappingA(FILE_MAP_WRITE, FALSE, ObjectName("Waiting", name).c_str());
    // The creator may have gone between our opens.
    if (channel->lock_ == nullptr || channel->dataReady_ == nullptr ||
        channel->waitingMapping_ == nullptr) {
        return KXIPC_ERROR_NO_SUCH_CHANNEL;
    }
    channel->waiting_ = static_cast<Waiting*>(
        MapViewOfFile(channel->waitingMapping_, FILE_MAP_WRITE, 0, 0, sizeof(Waiting)));
    if (channel->waiting_ == nullptr) {
        return KXIPC_ERROR_SYSTEM;
    }
    *made = std::move(channel);
    return KXIPC_OK;
}

Channel::~Channel() {
    if (waiting_ != nullptr) {
        UnmapViewOfFile(waiting_);
    }
    for (HANDLE handle : {waitingMapping_, dataReady_, lock_}) {
        if (handle != nullptr) {
            CloseHandle(handle);
        }
    }
    if (slot_ != INVALID_HANDLE_VALUE) {
        CloseHandle(slot_);
    }
}

DWORD Channel::NextMessageSize() const {
    DWORD nextSize = MAILSLOT_NO_MESSAGE;
    // The message count that the system also offers is not reliable everywhere; the next
    // size is.
    if (!GetMailslotInfo(slot_, nullptr, &nextSize, nullptr, nullptr)) {
        return MAILSLOT_NO_MESSAGE;
    }
    return nextSize;
}

unsigned Channel::Read(void* buffer, unsigned size, unsigned* bytesRead) {
    LockHolder hold(lock_);
    if (!hold.Held()) {
        return KXIPC_ERROR_CHANNEL_BUSY;
    }
    const DWORD nextSize = NextMessageSize();
    if (nextSize == MAILSLOT_NO_MESSAGE) {
        return KXIPC_ERROR_NO_MESSAGE;
    }
    if (nextSize > size) {
        *bytesRead = nextSize;
        return KXIPC_ERROR_BUFFER_TOO_SMALL;
    }
    // Exactly the message's size: a smaller read would lose the rest of the message
    // silently on some systems.
    DWORD read = 0;
    if (!ReadFile(slot_, buffer, nextSize, &read, nullptr)) {
        return KXIPC_ERROR_SYSTEM;
    }
    if (NextMessageSize() == MAILSLOT_NO_MESSAGE) {
        ResetEvent(dataReady_);
        *waiting_ = {};
    } else {
        waiting_->messages = waiting_->messages > 0 ? waiting_->messages - 1 : 0;
        waiting_->bytes = waiting_->bytes > static_cast<LONG>(read) ? waiting_->bytes - read : 0;
    }
    *bytesRead = read;
    return KXIPC_OK;
}

unsigned Channel::Write(unsigned code, const void* data, unsigned length) {
    // The code always travels in front of the data, so no message is ever empty: an empty
    // mailslot message upsets the reads after it on some systems.
    std::string message(4 + static_cast<std::size_t>(length), '\0');
    for (int i = 0; i < 4; ++i) {
        message[i] = static_cast<char>(code >> (8 * i));
    }
    if (length != 0) {
        std::memcpy(message.data() + 4, data, length);
    }
    // A receiver that has stopped reading must not stop the writer for ever: it would
    // stop its whole thread (a helper's loop, the service's messages with it).
    const ULONGLONG deadline = GetTickCount64() + kRoomWaitMs;
    for (;;) {
        bool written = false;
        const unsigned result = TryWrite(message, deadline, &written);
        if (result != KXIPC_OK || written) {
            return result;
        }
        if (GetTickCount64() >= deadline) {
            return KXIPC_ERROR_RECEIVER_STALLED;
        }
        Sleep(kRoomPollMs);
    }
}

unsigned Channel::TryWrite(const std::string& message, ULONGLONG deadline, bool* written) {
    LockHolder hold(lock_);
    if (!hold.Held()) {
        return KXIPC_ERROR_CHANNEL_BUSY;
    }
    // A writing handle kept from the open would go on accepting messages after the creator
    // has closed the channel, on some systems without any error; opening by name for each
    // message fails exactly when the channel is gone.
    const HANDLE slot = OpenSlotForWriting(name_);
    if (slot == INVALID_HANDLE_VALUE) {
        return KXIPC_ERROR_CHANNEL_GONE;
    }
    // A record out of bounds, or one that counts messages while the event says none wait,
    // was not written by a writer of this library: it counts as empty.
    Waiting seen = *waiting_;
    if (seen.messages < 0 || seen.messages > kMaxWaitingMessages || seen.bytes < 0 ||
        seen.bytes > 2 * kMaxWaitingBytes || WaitForSingleObject(dataReady_, 0) != WAIT_OBJECT_0) {
        seen = {};
    }
    const auto size = static_cast<LONG>(message.size());
    const bool room = seen.messages == 0 || (seen.messages < kMaxWaitingMessages &&
                                             seen.bytes + size <= kMaxWaitingBytes);
    unsigned result = KXIPC_OK;
    if (room) {
        result = WriteWithin(slot, message, deadline);
        if (result == KXIPC_OK) {
            *waiting_ = {seen.messages + 1, seen.bytes + size};
            SetEvent(dataReady_);
            *written = true;
        }
    }
    CloseHandle(slot);
    return result;
}

}  // namespace KxIpc
