// Where the client library reports what went wrong inside it while handling a message.
#pragma once

#include <cstdint>

namespace Quorvel::Lumo::Api {

class IInternalErrorHandler {
  public:
    // A payload could not be brought to the size of its record.
    static constexpr std::uint32_t kPayloadNotRecordSized = 2;

    // `messageId` is the code of the message being handled.
    virtual void OnInternalError(std::uint32_t kind, std::uint32_t messageId) = 0;

  protected:
    ~IInternalErrorHandler() = default;
};

}  // namespace Quorvel::Lumo::Api
