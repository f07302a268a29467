#include "diagnostics/k_logger_adapter.h"

#include <iterator>

namespace {

// Event code stored for each kind, indexed by the kind.
constexpr std::int32_t kEventOfKind[] = {0,  -105, -104, -103, -14,  -13, -25,
                                         -7, -8,   0,    -102, -101, -21, -20};

constexpr std::int32_t kModuleAdded = -202;

constexpr const char* kLoggerClass = "KLogger";
constexpr const char* kLoggerCreation = "KLogger initialiser";
constexpr const char* kAdapterClass = "MKLoggerAdapter";
constexpr const char* kAttach = "AttachTo";

}  // namespace

MKLoggerAdapter& MKLoggerAdapter::Instance() {
    static MKLoggerAdapter* const instance = new MKLoggerAdapter;
    return *instance;
}

MKLoggerAdapter::MKLoggerAdapter() : own_(std::make_unique<KLogger>()), logger_(own_.get()) {
    RegisterName(kLoggerClass);
    RegisterName(kLoggerCreation);
    Record(FlowKind::Construction, 0, 0, kLoggerClass, kLoggerCreation, own_.get());
}

void MKLoggerAdapter::Record(FlowKind kind, std::uint32_t code, std::uint32_t extra,
                             const char* className, const char* functionName, const void* object) {
    const auto index = static_cast<std::uint32_t>(kind);
    if (index >= std::size(kEventOfKind))
        return;
    Logger().Append(kEventOfKind[index], code, extra, FlowKey(className), FlowKey(functionName),
                    object);
}

void MKLoggerAdapter::Render(std::ostream& out) const {
    Logger().Render(out, *this);
}

void MKLoggerAdapter::AttachTo(KLogger& shared) {
    KLogger& previous = Logger();
    if (&previous == &shared)
        return;
    RegisterName(kAdapterClass);
    RegisterName(kAttach);
    logger_.store(&shared, std::memory_order_release);
    shared.Append(kModuleAdded, 0, 0, FlowKey(kAdapterClass), FlowKey(kAttach), &previous);
    previous.Append(kModuleAdded, 0, 0, FlowKey(kAdapterClass), FlowKey(kAttach), &shared);
    own_.reset();
}
