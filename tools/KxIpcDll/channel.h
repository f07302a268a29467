// One channel as this process holds it.
//
// A channel is a mailslot, which keeps each message whole and in order, plus named objects
// shared by everyone who uses the name: the manual-reset data-ready event, a mutex, and a
// small shared record of what is waiting. A writer's "write, count, signal" and a reader's
// "read, count, clear the signal when nothing is left" each happen under the mutex, so the
// event is signalled exactly while a message waits.
//
// Some systems block a mailslot writer once the reader falls far behind, and unblock it
// only after much has been drained; a writer blocked under the mutex would then stop the
// reader for good. So a writer writes only while the shared record shows room, and
// otherwise waits outside the mutex for the reader to catch up. Any local process can
// write the mailslot and the record, though: so the record is checked before it is used,
// the write itself gives up at the writer's deadline, and every wait for the mutex is
// bounded too.
#pragma once

#include <memory>
#include <string>

#include "platform/windows_api.h"

namespace KxIpc {

class Channel {
  public:
    // Both return KXIPC_OK or an error code, and the channel in `*made` on success.
    static unsigned Create(const std::string& name, std::unique_ptr<Channel>* made);
    static unsigned Open(const std::string& name, std::unique_ptr<Channel>* made);

    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    bool Own() const { return own_; }
    const std::string& Name() const { return name_; }
    HANDLE DataReady() const { return dataReady_; }

    unsigned Read(void* buffer, unsigned size, unsigned* bytesRead);
    unsigned Write(unsigned code, const void* data, unsigned length);

  private:
    struct Waiting;  // the shared record

    Channel(std::string name, bool own) : name_(std::move(name)), own_(own) {}

    // MAILSLOT_NO_MESSAGE, or the size of the next message.
    DWORD NextMessageSize() const;
    // Under the mutex: writes the message if there is room, else leaves *written false.
    unsigned TryWrite(const std::string& message, ULONGLONG deadline, bool* written);

    std::string name_;
    bool own_;
    HANDLE slot_ = INVALID_HANDLE_VALUE;  // the reading end; created channels only
    HANDLE dataReady_ = nullptr;
    HANDLE lock_ = nullptr;
    HANDLE waitingMapping_ = nullptr;
    Waiting* waiting_ = nullptr;
};

// Whether the name can be a channel's: 1 to KXIPC_MAX_NAME_LENGTH characters from ' ' to
// '~', no backslash (it would split the system's object names).
bool IsValidChannelName(const char* name);

}  // namespace KxIpc
