// The recording interface that flow points and timed scopes feed.
#pragma once

#include <cstdint>
#include <iosfwd>

// What a record says about the step; the adapter turns it into the stored event code.
enum class FlowKind : std::uint32_t {
    None = 0,
    RootError = 1,
    CascadeError = 2,
    DismissedError = 3,
    Construction = 4,
    Destruction = 5,
    StateChange = 6,
    ScopePush = 7,
    ScopePop = 8,
    TimingPoint = 9,
    ReturnError = 10,
    Warning = 11,
    MessageSend = 12,
    MessageReceive = 13,
};

class MFlowLoggerImplementation {
  public:
    virtual ~MFlowLoggerImplementation() = default;

    // Appends one entry; never blocks, allocates or formats. A kind outside the table is
    // dropped.
    virtual void Record(FlowKind kind, std::uint32_t code, std::uint32_t extra,
                        const char* className, const char* functionName, const void* object) = 0;

    // The whole log as text, oldest entry first.
    virtual void Render(std::ostream& out) const = 0;
};
