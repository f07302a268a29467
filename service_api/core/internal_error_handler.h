// Where the client library reports what went wrong inside it while handling a message, or
// while a session ended.
#pragma once

#include <cstdint>

namespace Quorvel::Lumo::Api {

class IInternalErrorHandler {
  public:
    // A payload could not be brought to the size of its record.
    static constexpr std::uint32_t kPayloadNotRecordSized = 2;
    // A handler threw while the core was being destroyed: its unregistration's send let a
    // message in. The exception went no further (nothing leaves a destructor).
    static constexpr std::uint32_t kHandlerFailedWhileEnding = 3;

    // `messageId` is the code of the message being handled, or of the request whose send
    // let the failing message in.
    virtual void OnInternalError(std::uint32_t kind, std::uint32_t messageId) = 0;

  protected:
    ~IInternalErrorHandler() = default;
};

}  // namespace Quorvel::Lumo::Api
