// KxIpcDll: named one-way message channels between the processes of one machine.
//
// A process creates a channel under a name to receive on it; other processes (or the same
// one) open the channel by that name to send to it. A message is a 32-bit code and a data
// buffer of up to KXIPC_MAX_DATA_LENGTH bytes; messages arrive whole, one at a time, in the
// order in which they were written. A channel lives until its creator closes it or ends.
//
// Every function returns 0 (KXIPC_OK) on success or one of the KXIPC_ERROR_ codes below.
// Channel handles are process-local, never 0 and never reused within a process. The
// functions may be called from any thread.
//
// The device API's plug-in ships the library; KxIpcDll.def lists its functions, from which
// the build makes the import library that programs link. The stand-in in tools/KxIpcDll
// implements the same functions, so that a machine without the plug-in can run the helper.
// The interface needs no Windows header: an event is the system's handle, a void*.
#pragma once

// A library that implements the functions exports them by KxIpcDll.def.
#ifdef KXIPC_BUILDING_DLL
#define KXIPC_API
#else
#define KXIPC_API __declspec(dllimport)
#endif

enum : unsigned {
    KXIPC_OK = 0,
    KXIPC_ERROR_NOT_INITIALIZED = 1,     // kxipcInitialize has not been called
    KXIPC_ERROR_INVALID_ARGUMENT = 2,    // a null pointer, a non-zero reserved flag, a wrong name
    KXIPC_ERROR_INVALID_NAME = 3,        // empty, longer than KXIPC_MAX_NAME_LENGTH, or with
                                         // characters outside ' ' to '~' or a backslash
    KXIPC_ERROR_CHANNEL_EXISTS = 4,      // some process has already created that channel
    KXIPC_ERROR_NO_SUCH_CHANNEL = 5,     // no process has created that channel
    KXIPC_ERROR_INVALID_HANDLE = 6,      // not an open channel of this process
    KXIPC_ERROR_WRONG_CHANNEL_KIND = 7,  // reading an opened channel, writing a created one
    KXIPC_ERROR_NO_MESSAGE = 8,          // nothing is waiting on the channel
    KXIPC_ERROR_BUFFER_TOO_SMALL = 9,    // the next message does not fit the buffer
    KXIPC_ERROR_MESSAGE_TOO_LARGE = 10,  // more than KXIPC_MAX_DATA_LENGTH bytes of data
    KXIPC_ERROR_CHANNEL_GONE = 11,       // the channel's creator has closed it or ended
    KXIPC_ERROR_SYSTEM = 12,             // the system refused; GetLastError tells why
    KXIPC_ERROR_RECEIVER_STALLED = 13,   // the receiver read nothing for 500 ms while full
    KXIPC_ERROR_CHANNEL_BUSY = 14,       // another party held the channel for 500 ms
};

enum : unsigned {
    KXIPC_MAX_NAME_LENGTH = 128,
    KXIPC_MAX_DATA_LENGTH = 65532,  // a whole message, code included, is at most 64 KiB
};

extern "C" {

// Prepares the library. Must be called before any other function; calling it again does
// nothing.
KXIPC_API unsigned kxipcInitialize(void);

// Creates the caller's own receiving channel under `name` and stores its handle in
// `*channel`. Fails with KXIPC_ERROR_CHANNEL_EXISTS while any process holds a channel of
// that name.
KXIPC_API unsigned kxipcCreateChannel(const char* name, unsigned* channel);

// Opens the channel that some process created under `name`, for sending, and stores its
// handle in `*channel`. Fails with KXIPC_ERROR_NO_SUCH_CHANNEL when no process has created
// it (or its creator has closed it since).
KXIPC_API unsigned kxipcOpenChannel(const char* name, unsigned* channel);

// Stores in `*event` (a HANDLE) a manual-reset event of an own channel that is signalled
// exactly while at least one message is waiting on it. The event belongs to the library: do
// not close it or change its state; it stays valid until the channel is closed.
KXIPC_API unsigned kxipcGetDataReadyEvent(unsigned channel, void** event);

// Takes the next message waiting on an own channel: writes its code as a little-endian
// 32-bit number followed by its data into `buffer` and sets `*bytesRead` to 4 + the data
// length. `flags` is reserved and must be 0. Nothing waiting: KXIPC_ERROR_NO_MESSAGE.
// A message longer than `size` is not truncated: the call fails with
// KXIPC_ERROR_BUFFER_TOO_SMALL, sets `*bytesRead` to the size it needs and leaves the
// message waiting.
KXIPC_API unsigned kxipcReadChannel(void* buffer, unsigned channel, unsigned size,
                                    unsigned* bytesRead, unsigned flags);

// Sends one message with `code` and `length` bytes of `data` (which may be null when
// `length` is 0) to a channel opened with kxipcOpenChannel. `targetName`, when not null,
// must be the name under which `target` was opened; `senderName` names the sender for the
// caller's own records and is not transmitted. Fails with KXIPC_ERROR_CHANNEL_GONE once the
// channel's creator has closed it; should a process create the name anew, the handle sends
// to that new channel. Waits while the receiver is 64 messages or 64 KiB behind, until it
// has read some, but 500 ms at most: then fails with KXIPC_ERROR_RECEIVER_STALLED. Every
// function that waits for the channel's lock gives up after 500 ms with
// KXIPC_ERROR_CHANNEL_BUSY.
KXIPC_API unsigned kxipcWriteChannelWithDataBuffer(unsigned target, const char* senderName,
                                                   const char* targetName, const void* data,
                                                   unsigned length, unsigned code);

// Closes a created or opened channel. Closing a created channel ends it for every process:
// messages still waiting are lost. A second close of the same handle fails with
// KXIPC_ERROR_INVALID_HANDLE.
KXIPC_API unsigned kxipcCloseChannel(unsigned channel);

}  // extern "C"
