// The machine's real log folder (<common app data>\Orvane\Logs) for the Windows tests:
// created on request, and put back as it was found when the test ends. Files
// that the test's code writes there are removed too.
#pragma once

#include "platform/service.h"
#include "platform/special_folders.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

class MachineLogFolder {
  public:
    MachineLogFolder()
        : maker_(std::filesystem::path(Orvane::Platform::Get<Orvane::Platform::SpecialFolders>()
                                           .CommonAppData()
                                           .value_or(L"")) /
                 L"Orvane"),
          logs_(maker_ / L"Logs"),
          makerExisted_(std::filesystem::exists(maker_)),
          logsExisted_(std::filesystem::exists(logs_)),
          before_(Names()) {}

    ~MachineLogFolder() {
        std::error_code ignored;
        for (const std::wstring& name : NewFiles())
            std::filesystem::remove(logs_ / name, ignored);
        if (!logsExisted_)
            std::filesystem::remove(logs_, ignored);
        else
            std::filesystem::create_directories(logs_, ignored);
        if (!makerExisted_)
            std::filesystem::remove(maker_, ignored);
    }

    void Create() { std::filesystem::create_directories(logs_); }

    // Names of the files that were not there when the test began.
    std::vector<std::wstring> NewFiles() const {
        std::vector<std::wstring> added;
        for (const std::wstring& name : Names()) {
            if (std::find(before_.begin(), before_.end(), name) == before_.end())
                added.push_back(name);
        }
        return added;
    }

    std::string Read(const std::wstring& name) const {
        std::ifstream file(logs_ / name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

  private:
    std::vector<std::wstring> Names() const {
        std::vector<std::wstring> names;
        std::error_code missing;
        for (const auto& entry : std::filesystem::directory_iterator(logs_, missing))
            names.push_back(entry.path().filename().wstring());
        return names;
    }

    std::filesystem::path maker_;
    std::filesystem::path logs_;
    bool makerExisted_;
    bool logsExisted_;
    std::vector<std::wstring> before_;
};
