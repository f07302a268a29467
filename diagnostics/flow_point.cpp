#include "diagnostics/flow_point.h"

#include "diagnostics/k_logger_adapter.h"
#include "platform/clock.h"

#include <sstream>

FlowPoint::FlowPoint(const char* className, const char* functionName)
    : className_(className), functionName_(functionName) {
    MKLoggerAdapter& logger = MKLoggerAdapter::Instance();
    logger.RegisterName(className);
    logger.RegisterName(functionName);
}

FlowTimedScope::FlowTimedScope(FlowPoint& point, const void* object)
    : point_(point), object_(object), start_(Orvane::Platform::PerformanceCounter()) {}

FlowTimedScope::~FlowTimedScope() {
    // The duration in microseconds, low half as the code and high half as the extra value.
    const std::int64_t ticks = Orvane::Platform::PerformanceCounter() - start_;
    const std::int64_t frequency = Orvane::Platform::PerformanceFrequency();
    const auto microseconds = static_cast<std::uint64_t>(ticks / frequency * 1000000 +
                                                         ticks % frequency * 1000000 / frequency);
    MKLoggerAdapter::Instance().Record(FlowKind::ScopePop, static_cast<std::uint32_t>(microseconds),
                                       static_cast<std::uint32_t>(microseconds >> 32),
                                       point_.ClassName(), point_.FunctionName(), object_);
}

void RenderFlowLog(std::ostream& out) {
    MKLoggerAdapter::Instance().Render(out);
}

std::string RenderFlowLogText() {
    std::ostringstream text;
    RenderFlowLog(text);
    return std::move(text).str();
}
