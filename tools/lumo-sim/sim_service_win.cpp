#include "tools/lumo-sim/sim_service_win.h"

#include "lumo/api/chunk.h"
#include "platform/local_time.h"
#include "tools/common/message_pump_win.h"
#include "tools/common/utf.h"
#include "tools/lumo-sim/received_message.h"

namespace LumoSim {

using LumoTools::Utf16ToUtf8;
namespace {

namespace Api = Quorvel::Lumo::Api;

constexpr wchar_t kClassName[] = L"LumoSimServiceWindow";
constexpr wchar_t kWindowName[] = L"LUMO_SIM_SERVICE";
// A client that does not answer within this time is reported, not waited for for ever.
constexpr UINT kSendTimeoutMs = 10000;
// Waits look at the client's window at least this often.
constexpr DWORD kLivenessSliceMs = 100;

std::uint32_t LowBits(HWND window) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(window));
}

// Window handles are 32-bit values, sign-extended in a 64-bit process.
HWND FromLowBits(std::uint32_t value) {
    return reinterpret_cast<HWND>(static_cast<std::intptr_t>(static_cast<std::int32_t>(value)));
}

void AddSentDetails(JsonLine& line, const ServiceMessage& message, const SimSettings& settings) {
    if (message.messageId == Api::MessageCode::kInstrumentData) {
        const SimInstrument& i = settings.instrument;
        line.Add("name", Utf16ToUtf8(i.name))
            .Add("nameFillsRecord", i.nameFillsRecord)
            .Add("type", i.type)
            .Add("subType", i.subType)
            .Add("version1Major", i.version1Major)
            .Add("version1Minor", i.version1Minor)
            .Add("version2Major", i.version2Major)
            .Add("version2Minor", i.version2Minor);
    } else if (message.messageId == Api::MessageCode::kMeasurement && message.payload.size() >= 4) {
        line.Add("status", std::uint32_t{message.payload[0]} |
                               std::uint32_t{message.payload[1]} << 8 |
                               std::uint32_t{message.payload[2]} << 16 |
                               std::uint32_t{message.payload[3]} << 24);
    }
}

}  // namespace

SimService::SimService(const LumoTools::Output& output)
    : output_(output), serverAvailableMessage_(RegisterWindowMessageW(L"LUMO_SERVERAVAILABLE")) {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = &SimService::WindowProcedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = kClassName;
    RegisterClassExW(&windowClass);
}

SimService::~SimService() {
    DestroyServiceWindow();
    UnregisterClassW(kClassName, GetModuleHandleW(nullptr));
}

bool SimService::CreateServiceWindow() {
    if (window_ != nullptr) {
        output_.Print(output_.Line("error").Add("text", "the service window exists already"));
        return false;
    }
    // A plain top-level window with no parent: message-only windows get no broadcasts.
    window_ = CreateWindowExW(0, kClassName, kWindowName, 0, 0, 0, 0, 0, nullptr, nullptr,
                              GetModuleHandleW(nullptr), this);
    if (window_ == nullptr) {
        output_.Print(output_.Line("error")
                          .Add("text", "the service window could not be created")
                          .Add("lastError", GetLastError()));
        return false;
    }
    output_.Print(output_.Line("window-created")
                      .Add("window", LowBits(window_))
                      .Add("serverAvailableMessage", serverAvailableMessage_));
    return Broadcast();
}

void SimService::DestroyServiceWindow() {
    if (window_ == nullptr) {
        return;
    }
    const std::uint32_t window = LowBits(window_);
    const std::int64_t destroyedUs = LumoTools::MonotonicMicroseconds();
    DestroyWindow(window_);
    window_ = nullptr;
    if (client_ != nullptr) {
        ForgetClient("service window destroyed");
    }
    output_.Print(
        output_.Line("window-destroyed").Add("clockUs", destroyedUs).Add("window", window));
}

bool SimService::Broadcast() {
    if (window_ == nullptr) {
        output_.Print(output_.Line("error").Add("text", "no service window to announce"));
        return false;
    }
    const BOOL posted =
        PostMessageW(HWND_BROADCAST, serverAvailableMessage_, 0, reinterpret_cast<LPARAM>(window_));
    output_.Print(output_.Line("broadcast")
                      .Add("clockUs", LumoTools::MonotonicMicroseconds())
                      .Add("window", LowBits(window_))
                      .Add("posted", posted != FALSE));
    return posted != FALSE;
}

bool SimService::Run(const Command& command) {
    switch (command.kind) {
        case CommandKind::Wait:
            return PumpUntil(command.milliseconds, nullptr);
        case CommandKind::WaitRegistered:
            return Wait(command, [this] { return client_ != nullptr; });
        case CommandKind::WaitUnregistered:
            return Wait(command, [this] { return client_ == nullptr; });
        case CommandKind::WaitMessage:
            return Wait(command, [this, id = command.messageId] {
                if (receivedCount_[id] <= awaitedCount_[id]) {
                    return false;
                }
                ++awaitedCount_[id];
                return true;
            });
        case CommandKind::Broadcast:
            return Broadcast();
        case CommandKind::DestroyWindow:
            DestroyServiceWindow();
            return true;
        case CommandKind::CreateWindow:
            return CreateServiceWindow();
        case CommandKind::Set:
            command.apply(settings_);
            return true;
        case CommandKind::Send:
            return Send(command);
    }
    return false;
}

bool SimService::Wait(const Command& command, const std::function<bool()>& done) {
    if (PumpUntil(command.milliseconds, done)) {
        return true;
    }
    output_.Print(
        output_.Line("timeout").Add("command", command.text).Add("line", command.lineNumber));
    return false;
}

bool SimService::PumpUntil(std::uint32_t milliseconds, const std::function<bool()>& done) {
    return LumoTools::PumpMessagesUntil(milliseconds, done, kLivenessSliceMs, [this] {
        SendQueuedAnswers();
        CheckClientAlive();
    });
}

bool SimService::Send(const Command& command) {
    const ServiceMessage message = command.message(settings_);
    if (settings_.recipient.empty()) {
        return Deliver(message, "sent", client_);
    }
    // Looked up before the send's clock is read, so that a send to the recipient is timed
    // as one to the client is.
    const std::wstring title(settings_.recipient.begin(), settings_.recipient.end());
    const HWND recipient = FindWindowW(nullptr, title.c_str());
    if (recipient == nullptr) {
        output_.Print(output_.Line("error").Add(
            "text", "no window titled " + Utf16ToUtf8(settings_.recipient)));
        return false;
    }
    return Deliver(message, "sent", recipient);
}

void SimService::QueueAnswer(std::uint32_t requestId) {
    auto found = settings_.answers.find(requestId);
    if (found == settings_.answers.end()) {
        found = settings_.answers.find(kAnyRequest);
    }
    if (found == settings_.answers.end()) {
        return;
    }
    const Answer& answer = found->second;
    queuedAnswers_.push_back(
        {answer.replyId != 0 ? answer.replyId : requestId, 0, answer.result, answer.payload});
}

void SimService::SendQueuedAnswers() {
    // An answer's delivery may bring more requests, and with them more answers.
    while (!queuedAnswers_.empty()) {
        const ServiceMessage answer = queuedAnswers_.front();
        queuedAnswers_.erase(queuedAnswers_.begin());
        Deliver(answer, "answered", client_);
    }
}

bool SimService::Deliver(const ServiceMessage& message, const char* event, HWND to) {
    JsonLine line = output_.Line(event);
    line.Add("clockUs", LumoTools::MonotonicMicroseconds())
        .Add("messageId", message.messageId)
        .Add("argument1", message.argument1)
        .Add("argument2", message.argument2)
        .Add("payloadSize", message.payload.size());
    AddSentDetails(line, message, settings_);
    if (to == nullptr) {
        output_.Print(line.Add("delivered", false).Add("error", "no client is registered"));
        return false;
    }
    const std::vector<std::uint8_t> block = Framed(message);
    COPYDATASTRUCT data{0, static_cast<DWORD>(block.size()),
                        const_cast<std::uint8_t*>(block.data())};
    DWORD_PTR answer = 0;
    // SMTO_NORMAL keeps the client's nested sends to us flowing while we wait.
    const LRESULT sent =
        SendMessageTimeoutW(to, WM_COPYDATA, reinterpret_cast<WPARAM>(window_),
                            reinterpret_cast<LPARAM>(&data), SMTO_NORMAL, kSendTimeoutMs, &answer);
    line.Add("clientWindow", LowBits(to)).Add("size", block.size());
    if (sent == 0) {
        output_.Print(line.Add("delivered", false).Add("lastError", GetLastError()));
        return false;
    }
    output_.Print(line.Add("delivered", true).Add("answer", static_cast<std::uint64_t>(answer)));
    return true;
}

void SimService::ForgetClient(const char* reason) {
    const std::uint32_t window = LowBits(client_);
    client_ = nullptr;
    output_.Print(
        output_.Line("client-forgotten").Add("clientWindow", window).Add("reason", reason));
}

void SimService::CheckClientAlive() {
    if (client_ != nullptr && !IsWindow(client_)) {
        ForgetClient("window gone");
    }
}

LRESULT SimService::OnCopyData(const COPYDATASTRUCT& data) {
    JsonLine line = output_.Line("received");
    line.Add("clockUs", LumoTools::MonotonicMicroseconds());
    const auto received =
        DescribeReceived(line, data.dwData, data.lpData, data.lpData == nullptr ? 0 : data.cbData,
                         Orvane::Platform::CurrentLocalTime());
    // A registration the service cannot accept is refused: the client's send fails.
    const bool refused = received && IsRegistration(received->messageId) && !received->wellFormed;
    const LRESULT answer = settings_.acceptMessages && !refused ? TRUE : FALSE;
    output_.Print(line.Add("answer", answer));
    if (!received || refused) {
        return answer;
    }
    ++receivedCount_[received->messageId];
    // A real service does not act on a block it cannot read: no answer, and a malformed
    // unregistration keeps the client registered.
    if (!received->wellFormed) {
        return answer;
    }
    const HWND sender = FromLowBits(received->clientWindow);
    switch (received->messageId) {
        case Api::MessageCode::kRegister:
        case Api::MessageCode::kRegisterAlternate:
            if (!IsWindow(sender)) {
                output_.Print(output_.Line("error")
                                  .Add("text", "the registering client's window does not exist")
                                  .Add("clientWindow", received->clientWindow));
                break;
            }
            client_ = sender;
            output_.Print(
                output_.Line("client-registered").Add("clientWindow", received->clientWindow));
            // Only an answer scripted for the registration itself, not one for any request.
            if (settings_.answers.count(received->messageId) != 0) {
                QueueAnswer(received->messageId);
            }
            break;
        case Api::MessageCode::kUnregister:
            if (client_ == sender) {
                ForgetClient("unregistered");
            }
            break;
        default:
            if (client_ == sender) {
                QueueAnswer(received->messageId);
            }
            break;
    }
    if (settings_.answerInside) {
        // While the client's send to us is still waiting: its window hears the answer
        // re-entrantly, as it would from a service that answers at once.
        SendQueuedAnswers();
    }
    return answer;
}

LRESULT CALLBACK SimService::WindowProcedure(HWND window, UINT message, WPARAM wParam,
                                             LPARAM lParam) {
    if (message == WM_NCCREATE) {
        const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA,
                          reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    auto* self = reinterpret_cast<SimService*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_COPYDATA && self != nullptr) {
        return self->OnCopyData(*reinterpret_cast<const COPYDATASTRUCT*>(lParam));
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

}  // namespace LumoSim
