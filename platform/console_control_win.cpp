#include "platform/console_control.h"

#include "platform/console_handler_list.h"
#include "platform/service.h"
#include "platform/windows_api.h"

namespace Orvane::Platform {
namespace {

BOOL WINAPI Dispatch(DWORD eventType);

// The system wants a handler of its own signature; one dispatcher of that signature stands
// for all portable handlers and is registered from the first of them on.
class Win32ConsoleControl final : public ConsoleControl {
  public:
    std::uint32_t AddHandler(Handler handler) override { return m_handlers.Add(handler); }
    std::uint32_t RemoveHandler(Handler handler) override { return m_handlers.Remove(handler); }
    int Raise(DWORD eventType) { return m_handlers.Dispatch(eventType); }

  private:
    static std::uint32_t InstallDispatcher() {
        if (SetConsoleCtrlHandler(&Dispatch, TRUE)) {
            return 0;
        }
        const DWORD error = GetLastError();
        return error != 0 ? error : ERROR_GEN_FAILURE;
    }

    ConsoleHandlerList m_handlers{&InstallDispatcher};
};

// Never destroyed: the dispatcher stays registered, and the system may call it on its own
// thread while the process's static objects go.
Win32ConsoleControl& Instance() {
    static Win32ConsoleControl* const service = new Win32ConsoleControl;
    return *service;
}

// The system calls this on a control thread of its own, where nothing catches what a handler
// throws: the unwinder would find no handler and end the process (std::terminate). A handler
// that throws has not dealt with the event, which goes on to the system's next handler.
BOOL WINAPI Dispatch(DWORD eventType) {
    try {
        return Instance().Raise(eventType) != 0 ? TRUE : FALSE;
    } catch (...) {
        return FALSE;
    }
}

}  // namespace

template <>
ConsoleControl& DefaultService<ConsoleControl>() {
    return Instance();
}

}  // namespace Orvane::Platform
