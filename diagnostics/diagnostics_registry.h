// Turns the keys stored in the flow log back into names when the log is rendered. Four
// tables, each under its own lock, so that registering a thread name never waits for a
// class registration.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

class MDiagnosticsRegistryImplementation {
  public:
    // Class and function names (also the keys of the error events), keyed by the low 32
    // bits of the text's address. The text must outlive the process (a string literal).
    void RegisterName(const char* name);
    // Names of states and values (state changes, sent messages).
    void RegisterStateName(std::uint32_t value, std::string name);
    void RegisterObjectName(const void* object, std::string name);
    void RegisterThreadName(std::uint32_t threadId, std::string name);

    std::optional<const char*> FindName(std::uint32_t key) const;
    std::optional<std::string> FindStateName(std::uint32_t value) const;
    std::optional<std::string> FindObjectName(std::uint64_t object) const;
    std::optional<std::string> FindThreadName(std::uint32_t threadId) const;

  private:
    template <class Key, class Name>
    class Table {
      public:
        void Set(Key key, Name name) {
            std::lock_guard guard(lock_);
            names_.insert_or_assign(key, std::move(name));
        }
        std::optional<Name> Find(Key key) const {
            std::lock_guard guard(lock_);
            const auto found = names_.find(key);
            if (found == names_.end())
                return std::nullopt;
            return found->second;
        }

      private:
        mutable std::mutex lock_;
        std::unordered_map<Key, Name> names_;
    };

    Table<std::uint32_t, const char*> names_;
    Table<std::uint32_t, std::string> stateNames_;
    Table<std::uint64_t, std::string> objectNames_;
    Table<std::uint32_t, std::string> threadNames_;
};
