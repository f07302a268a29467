// Flow points: the cheap, lock-free trace that every operation of the helper leaves in
// the process-wide flow log.
//
//   int Foo::Bar() {
//       FLOW_POINT("Foo", "Bar");        // created once, thread-safely, on first use
//       FLOW_RECORD(this, 0);            // object, source line, code
//       ...
//       if (failed) FLOW_RECORD(this, result);
//   }
//
// A timed scope records kind 8 ("Scope_pop") when it closes:
//       FLOW_POINT("Foo", "Run");
//       FlowTimedScope scope(flowPoint, this);
#pragma once

#include "diagnostics/k_logger_adapter.h"

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <string>

// A cache line of its own: threads recording at different points never write to one line.
class alignas(64) FlowPoint {
  public:
    // Registers both names with the diagnostics registry. The texts must outlive the
    // process (string literals).
    FlowPoint(const char* className, const char* functionName);

    // Inline: they run before every record, which must cost next to nothing.
    void SetObject(const void* object) { object_.store(object, std::memory_order_relaxed); }
    void SetLine(std::int32_t line) { line_.store(line, std::memory_order_relaxed); }
    // Appends one entry of kind 9 (event 0, "Timing_point") for the current object.
    void Record(std::uint32_t code, std::uint32_t extra = 0) {
        MKLoggerAdapter::Created().Record(FlowKind::TimingPoint, code, extra, className_,
                                          functionName_, object_.load(std::memory_order_relaxed));
    }

    const char* ClassName() const { return className_; }
    const char* FunctionName() const { return functionName_; }
    const void* Object() const { return object_.load(std::memory_order_relaxed); }
    std::int32_t Line() const { return line_.load(std::memory_order_relaxed); }

  private:
    const char* className_;
    const char* functionName_;
    // A point is shared by every thread that runs its function; each sets these just
    // before its record, and a record may carry another thread's object: cheap, not exact.
    std::atomic<const void*> object_{nullptr};
    std::atomic<std::int32_t> line_{-1};
};

// Records kind 8 on its point when it goes out of scope, with the measured values.
class FlowTimedScope {
  public:
    FlowTimedScope(FlowPoint& point, const void* object);
    ~FlowTimedScope();
    FlowTimedScope(const FlowTimedScope&) = delete;
    FlowTimedScope& operator=(const FlowTimedScope&) = delete;

  private:
    FlowPoint& point_;
    const void* object_;
    std::int64_t start_;
};

// The whole log as text, oldest entry first (the form the crash dump and the exit dump
// carry).
void RenderFlowLog(std::ostream& out);
std::string RenderFlowLogText();

#define FLOW_POINT(className, functionName) static FlowPoint flowPoint(className, functionName)
#define FLOW_RECORD(object, code)                           \
    do {                                                    \
        flowPoint.SetObject(object);                        \
        flowPoint.SetLine(__LINE__);                        \
        flowPoint.Record(static_cast<std::uint32_t>(code)); \
    } while (0)
