// Dump files and dump writes in memory: every call is kept for inspection, and the test
// chooses which opens fail and what each write returns.
#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/minidump.h"

namespace Orvane::Platform::Testing {

class FakeMiniDumpWriter final : public MiniDumpWriter {
  public:
    struct Write {
        DumpFile file;
        std::uint32_t dumpType;
        std::uint32_t threadId;
        ExceptionPointers* exception;
        std::optional<std::uint32_t> userStreamType;  // empty when no user stream was given
        std::string userStreamBytes;
    };
    struct Outcome {
        int result;
        std::uint32_t lastError;
    };

    DumpFile CreateDumpFile(const wchar_t* path) override;
    void CloseDumpFile(DumpFile file) override {
        std::lock_guard lock(mutex_);
        closed_.push_back(file);
    }
    int WriteDump(DumpFile file, std::uint32_t dumpType, std::uint32_t threadId,
                  ExceptionPointers* exception, const DumpUserStream* userStream,
                  std::uint32_t& lastError) override;

    // Opens of these paths fail.
    void FailOpening(const std::wstring& path) {
        std::lock_guard lock(mutex_);
        failing_.push_back(path);
    }
    // The next writes return these, in order; afterwards every write succeeds.
    void QueueOutcomes(const std::vector<Outcome>& outcomes) {
        std::lock_guard lock(mutex_);
        outcomes_.assign(outcomes.begin(), outcomes.end());
    }
    // Called inside every write, before it returns (to act while a dump is being written).
    void DuringWrite(std::function<void()> action) {
        std::lock_guard lock(mutex_);
        duringWrite_ = std::move(action);
    }

    std::vector<std::wstring> OpenedPaths() const {
        std::lock_guard lock(mutex_);
        return opened_;
    }
    std::vector<Write> Writes() const {
        std::lock_guard lock(mutex_);
        return writes_;
    }
    std::vector<DumpFile> ClosedFiles() const {
        std::lock_guard lock(mutex_);
        return closed_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::wstring> failing_;
    std::deque<Outcome> outcomes_;
    std::function<void()> duringWrite_;
    std::vector<std::wstring> opened_;
    std::vector<Write> writes_;
    std::vector<DumpFile> closed_;
};

}  // namespace Orvane::Platform::Testing
