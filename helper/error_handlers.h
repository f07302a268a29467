// The interfaces through which the maker's thread machinery reports errors to the
// application. Each holds only its operations: the helper is never deleted through them.
#pragma once

#include <cstdint>

class ISpontaneousErrorHandler {
  public:
    // An error that no caller was waiting for, with its code.
    virtual void OnSpontaneousError(std::uint32_t errorCode) = 0;

  protected:
    ~ISpontaneousErrorHandler() = default;
};

class ICrashHandler {
  public:
    // A structured exception that reached the top of a thread, with its exception code.
    virtual void OnUnhandledException(std::uint32_t exceptionCode) = 0;

  protected:
    ~ICrashHandler() = default;
};

class IThreadErrorHandler : public ISpontaneousErrorHandler, public ICrashHandler {
  public:
    // The user's session is ending (log-off, shut-down, console closed).
    virtual void NotifyUserLogged() = 0;

  protected:
    ~IThreadErrorHandler() = default;
};
