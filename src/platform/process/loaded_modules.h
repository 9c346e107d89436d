#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/class_creation.h"
#include "platform/dynamic_library.h"

namespace mcgate::process {

/// The modules that class creation has loaded, by path.
/// Threads: any. The lock, a leaf, guards the map and the counts in each module; modules are loaded, called and
/// unloaded without it. A module is removed when it had no user at the question whether it may go, said yes, and has
/// not been used since: with neither objects nor users nobody can be inside it but who left it last, hence the delay.
class LoadedModules {
    struct Module;

public:
    /// A module in use: not unloaded while this lives.
    class Use {
    public:
        Use(LoadedModules& all, std::shared_ptr<Module> module) noexcept : all_(all), module_(std::move(module)) {}
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        HRESULT getClassObject(const GUID& classId, const GUID& interfaceId, void** object) const;

    private:
        LoadedModules& all_;
        const std::shared_ptr<Module> module_;
    };

    /// Loads the module where it isn't yet. Throws std::runtime_error with the reason when that fails.
    Use use(const std::string& path);
    /// Unloads modules that say that they may, and have not been used for `delay`.
    void freeUnused(std::chrono::milliseconds delay);

private:
    using Clock = std::chrono::steady_clock;
    struct Module {
        explicit Module(const std::string& path);
        platform::DynamicLibrary library;
        DllGetClassObjectFunction* getClassObject;
        DllCanUnloadNowFunction* canUnloadNow;
        int users = 0;                               ///< now
        std::uint64_t uses = 0;                      ///< ever
        std::optional<Clock::time_point> idleSince;  ///< the first yes after the last use
    };
    struct Question {
        std::shared_ptr<Module> module;
        std::uint64_t uses = 0;
    };

    Question beginQuestion(const std::string& path);
    void endQuestion(const std::string& path, const Question& question, bool idle, std::chrono::milliseconds delay);

    std::mutex lock_;
    std::map<std::string, std::shared_ptr<Module>> modules_;
};

}  // namespace mcgate::process
