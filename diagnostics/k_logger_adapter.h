// The process-wide flow logger that flow points record through, and the registry of their
// names. It owns a KLogger until it is attached to the KLogger of another module.
#pragma once

#include "diagnostics/diagnostics_registry.h"
#include "diagnostics/flow_logger.h"
#include "diagnostics/k_logger.h"

#include <atomic>
#include <memory>

class MKLoggerAdapter final : public MFlowLoggerImplementation,
                              public MDiagnosticsRegistryImplementation {
  public:
    // Created on first use and never destroyed, so that records from late destructors
    // still have somewhere to go.
    static MKLoggerAdapter& Instance();

    // Creates the adapter's own KLogger and traces that creation in it.
    MKLoggerAdapter();

    void Record(FlowKind kind, std::uint32_t code, std::uint32_t extra, const char* className,
                const char* functionName, const void* object) override;
    void Render(std::ostream& out) const override;

    // Switches to the shared logger of another module, leaves a "Log_module_added" entry in
    // both naming the other, and drops the own logger. Call it before other threads record:
    // a record still writing into the own logger would outlive it.
    void AttachTo(KLogger& shared);

    // The logger that records currently go to.
    KLogger& Logger() const { return *logger_.load(std::memory_order_acquire); }

  private:
    std::unique_ptr<KLogger> own_;
    std::atomic<KLogger*> logger_;
};
