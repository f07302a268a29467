#include "diagnostics/k_logger_adapter.h"

#include <new>

namespace {

constexpr std::int32_t kModuleAdded = -202;

constexpr const char* kLoggerClass = "KLogger";
constexpr const char* kLoggerCreation = "KLogger initialiser";
constexpr const char* kAdapterClass = "MKLoggerAdapter";
constexpr const char* kAttach = "AttachTo";

}  // namespace

MKLoggerAdapter& MKLoggerAdapter::Instance() {
    static MKLoggerAdapter* const instance =
        new (&FlowLogStorage::processAdapter.adapter) MKLoggerAdapter;
    return *instance;
}

MKLoggerAdapter::MKLoggerAdapter() : own_(std::make_unique<KLogger>()), logger_(own_.get()) {
    RegisterName(kLoggerClass);
    RegisterName(kLoggerCreation);
    Record(FlowKind::Construction, 0, 0, kLoggerClass, kLoggerCreation, own_.get());
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
