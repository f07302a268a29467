#include "diagnostics/diagnostics_registry.h"

#include "diagnostics/flow_log_entry.h"

void MDiagnosticsRegistryImplementation::RegisterName(const char* name) {
    names_.Set(FlowKey(name), name);
}

void MDiagnosticsRegistryImplementation::RegisterStateName(std::uint32_t value, std::string name) {
    stateNames_.Set(value, std::move(name));
}

void MDiagnosticsRegistryImplementation::RegisterObjectName(const void* object, std::string name) {
    objectNames_.Set(reinterpret_cast<std::uintptr_t>(object), std::move(name));
}

void MDiagnosticsRegistryImplementation::RegisterThreadName(std::uint32_t threadId,
                                                            std::string name) {
    threadNames_.Set(threadId, std::move(name));
}

std::optional<const char*> MDiagnosticsRegistryImplementation::FindName(std::uint32_t key) const {
    return names_.Find(key);
}

std::optional<std::string> MDiagnosticsRegistryImplementation::FindStateName(
    std::uint32_t value) const {
    return stateNames_.Find(value);
}

std::optional<std::string> MDiagnosticsRegistryImplementation::FindObjectName(
    std::uint64_t object) const {
    return objectNames_.Find(object);
}

std::optional<std::string> MDiagnosticsRegistryImplementation::FindThreadName(
    std::uint32_t threadId) const {
    return threadNames_.Find(threadId);
}
