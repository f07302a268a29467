/// @file
/// The message loop of the session's thread: the only place where the service's messages
/// reach the application.
#pragma once

#include <cstdint>

namespace Quorvel::Lumo::Api {

/// Waits up to `timeoutMs` for window messages of the calling thread, then dispatches every
/// one that is waiting, and returns. The service's messages reach the session's callbacks
/// inside it, and so does the session's 500 ms check that the service still lives: call it
/// again and again while the session is open, as in `while (!stop) PumpMessages(100);`.
/// An application with a message loop of its own (`GetMessageW`, `DispatchMessageW`) keeps
/// it and calls `PumpMessages(0)` after each message it dispatches: that is where an
/// exception of a callback comes out, since the system's dispatch drops what a window
/// throws.
/// @return true when it dispatched at least one message.
/// @throws whatever a callback of this thread threw, once it is out of the system's
/// dispatch; the exception ends the handling of that message, and until it is thrown no
/// other message of the thread is handled.
/// @par Thread
/// The session's thread, which called Client::Start: a window's messages arrive only on
/// the thread that made it.
/// @par Calls from inside
/// Not from inside a callback: a callback runs inside it already.
bool PumpMessages(std::uint32_t timeoutMs);

}  // namespace Quorvel::Lumo::Api
