// The process-wide flow logger that flow points record through, and the registry of their
// names. It owns a KLogger until it is attached to the KLogger of another module.
#pragma once

#include "diagnostics/diagnostics_registry.h"
#include "diagnostics/flow_logger.h"
#include "diagnostics/k_logger.h"

#include <atomic>
#include <iterator>
#include <memory>

class MKLoggerAdapter final : public MFlowLoggerImplementation,
                              public MDiagnosticsRegistryImplementation {
  public:
    // Created on first use and never destroyed, so that records from late destructors
    // still have somewhere to go.
    static MKLoggerAdapter& Instance();
    // Instance() once it has been created, as creating any flow point did: found at a fixed
    // address, so that a record loads nothing to reach it.
    static MKLoggerAdapter& Created();

    // Creates the adapter's own KLogger and traces that creation in it.
    MKLoggerAdapter();

    // Inline, as the logger's append: it is every flow point's record.
    void Record(FlowKind kind, std::uint32_t code, std::uint32_t extra, const char* className,
                const char* functionName, const void* object) override {
        const auto index = static_cast<std::uint32_t>(kind);
        if (index >= std::size(kEventOfKind))
            return;
        Logger().Append(kEventOfKind[index], code, extra, FlowKey(className), FlowKey(functionName),
                        object);
    }
    void Render(std::ostream& out) const override;

    // Switches to the shared logger of another module, leaves a "Log_module_added" entry in
    // both naming the other, and drops the own logger. Call it before other threads record:
    // a record still writing into the own logger would outlive it.
    void AttachTo(KLogger& shared);

    // The logger that records currently go to.
    KLogger& Logger() const { return *logger_.load(std::memory_order_acquire); }

  private:
    // Event code stored for each kind, indexed by the kind.
    static constexpr std::int32_t kEventOfKind[] = {0,  -105, -104, -103, -14,  -13, -25,
                                                    -7, -8,   0,    -102, -101, -21, -20};

    std::unique_ptr<KLogger> own_;
    std::atomic<KLogger*> logger_;
};

namespace FlowLogStorage {

// Static storage for the process's adapter, which Instance() builds in it on first use; the
// empty destructor leaves it alive for records from late destructors.
union ProcessAdapter {
    constexpr ProcessAdapter() : none() {}
    ~ProcessAdapter() {}
    char none;
    MKLoggerAdapter adapter;
};
constinit inline ProcessAdapter processAdapter;

}  // namespace FlowLogStorage

inline MKLoggerAdapter& MKLoggerAdapter::Created() {
    return FlowLogStorage::processAdapter.adapter;
}
