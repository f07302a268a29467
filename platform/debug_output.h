// Texts for a debugger or a debug-output listener: the process's only diagnostic output
// besides the flow log and crash dumps.
#pragma once

namespace Orvane::Platform {

struct DebugOutput {
    virtual ~DebugOutput() = default;
    virtual void Write(const char* text) = 0;
    virtual void Write(const wchar_t* text) = 0;
};

}  // namespace Orvane::Platform
