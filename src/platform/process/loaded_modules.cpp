#include "platform/process/loaded_modules.h"

#include <stdexcept>
#include <vector>

namespace mcgate::process {

LoadedModules::Module::Module(const std::string& path)
    : library(path),
      getClassObject(library.function<DllGetClassObjectFunction>("DllGetClassObject")),
      canUnloadNow(library.function<DllCanUnloadNowFunction>("DllCanUnloadNow")) {
    if (getClassObject == nullptr || canUnloadNow == nullptr) {
        throw std::runtime_error(path + " exports no DllGetClassObject or no DllCanUnloadNow");
    }
}

LoadedModules::Use::~Use() {
    const std::lock_guard hold(all_.lock_);
    --module_->users;
}

HRESULT LoadedModules::Use::getClassObject(const GUID& classId, const GUID& interfaceId, void** object) const {
    return module_->getClassObject(classId, interfaceId, object);
}

LoadedModules::Use LoadedModules::use(const std::string& path) {
    std::shared_ptr<Module> fresh;
    for (;;) {
        {
            const std::lock_guard hold(lock_);
            auto found = modules_.find(path);
            if (found == modules_.end() && fresh) found = modules_.emplace(path, fresh).first;
            if (found != modules_.end()) {
                Module& module = *found->second;
                ++module.users;
                ++module.uses;
                module.idleSince.reset();
                return {*this, found->second};
            }
        }
        fresh = std::make_shared<Module>(path);  // two threads may both come here; the second one's is let go
    }
}

namespace {

// A module that throws is not asked to go.
bool saysIdle(DllCanUnloadNowFunction* question) noexcept {
    try {
        return question() == S_OK;
    } catch (...) {
        return false;
    }
}

}  // namespace

void LoadedModules::freeUnused(std::chrono::milliseconds delay) {
    std::vector<std::string> paths;
    {
        const std::lock_guard hold(lock_);
        for (const auto& [path, module] : modules_) paths.push_back(path);
    }
    for (const auto& path : paths) {
        const Question question = beginQuestion(path);
        if (!question.module) continue;
        const bool idle = saysIdle(question.module->canUnloadNow);
        endQuestion(path, question, idle, delay);
        // A removed module is unloaded here, with the last pointer to it and without the lock.
    }
}

// The one who asks is a user: a second one passes the module over.
LoadedModules::Question LoadedModules::beginQuestion(const std::string& path) {
    const std::lock_guard hold(lock_);
    const auto found = modules_.find(path);
    if (found == modules_.end() || found->second->users > 0) return {};
    found->second->users = 1;
    return {found->second, found->second->uses};
}

// The answer counts only if nobody has used the module since: who did may have made an object.
void LoadedModules::endQuestion(const std::string& path, const Question& question, bool idle,
                                std::chrono::milliseconds delay) {
    const std::lock_guard hold(lock_);
    Module& module = *question.module;
    --module.users;
    if (!idle || module.uses != question.uses) {
        module.idleSince.reset();
        return;
    }
    const auto now = Clock::now();
    if (!module.idleSince) module.idleSince = now;
    if (now - *module.idleSince >= delay) modules_.erase(path);
}

}  // namespace mcgate::process
