/// @file
/// Where the client library reports what went wrong inside it while handling a message.
#pragma once

#include <cstdint>

namespace Quorvel::Lumo::Api {

/// Receives the library's reports of messages it could not hand to their callback. Client
/// implements it with a body that does nothing; override Client::OnInternalError to see
/// them.
class IInternalErrorHandler {
  public:
    /// The kind of report: a payload could not be brought to the size of its record (a
    /// fixed record, or a measurement shorter than its status word), so its callback was
    /// not called.
    static constexpr std::uint32_t kPayloadNotRecordSized = 2;

    /// A message of code `messageId` was dropped for the reason `kind`
    /// (kPayloadNotRecordSized).
    /// @lumo_callback
    virtual void OnInternalError(std::uint32_t kind, std::uint32_t messageId) = 0;

  protected:
    /// Not destroyed through this interface.
    ~IInternalErrorHandler() = default;
};

}  // namespace Quorvel::Lumo::Api
