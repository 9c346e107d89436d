#include "platform/waitable.h"

#include <algorithm>
#include <chrono>

namespace mcgate::platform {

using std::chrono::steady_clock;

/// One sleeping thread, on its stack for the length of a wait.
class Sleeper {
public:
    void poke() {
        const std::lock_guard hold(lock_);
        poked_ = true;
        wake_.notify_one();
    }
    /// False at the deadline; a null one never comes.
    bool sleep(const steady_clock::time_point* deadline) {
        std::unique_lock hold(lock_);
        const auto poked = [this] { return poked_; };
        bool woken = true;
        if (deadline != nullptr) {
            woken = wake_.wait_until(hold, *deadline, poked);
        } else {
            wake_.wait(hold, poked);
        }
        poked_ = false;
        return woken;
    }

private:
    std::mutex lock_;
    std::condition_variable wake_;
    bool poked_ = false;
};

void Waitable::wake() noexcept {
    if (sleepers_.load() == 0) return;
    const std::lock_guard hold(listLock_);
    for (Sleeper* sleeper : list_) sleeper->poke();
}

void Waitable::enrol(Sleeper* sleeper) {
    const std::lock_guard hold(listLock_);
    list_.push_back(sleeper);
    ++sleepers_;
}

void Waitable::leave(Sleeper* sleeper) noexcept {
    const std::lock_guard hold(listLock_);
    std::erase(list_, sleeper);
    --sleepers_;
}

void Event::set() noexcept {
    on_.store(true);
    wake();
}

void Event::reset() noexcept { on_.store(false); }

bool Event::tryTake() noexcept { return reset_ == Reset::Manual ? on_.load() : on_.exchange(false); }

bool Semaphore::release() noexcept {
    std::int32_t count = count_.load();
    do {
        if (count == kMaximum) return false;
    } while (!count_.compare_exchange_weak(count, count + 1));
    wake();
    return true;
}

bool Semaphore::tryTake() noexcept {
    std::int32_t count = count_.load();
    while (count > 0) {
        if (count_.compare_exchange_weak(count, count - 1)) return true;
    }
    return false;
}

int waitAny(std::initializer_list<Waitable*> objects, std::uint32_t timeoutMs) {
    const auto look = [&objects] {
        int index = 0;
        for (Waitable* object : objects) {
            if (object->tryTake()) return index;
            ++index;
        }
        return -1;
    };
    int taken = look();
    if (taken >= 0 || timeoutMs == 0) return taken;
    const auto deadline = steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    const auto* end = timeoutMs == kInfinite ? nullptr : &deadline;
    Sleeper sleeper;
    for (Waitable* object : objects) object->enrol(&sleeper);
    for (bool woken = true; (taken = look()) < 0 && woken;) woken = sleeper.sleep(end);
    for (Waitable* object : objects) object->leave(&sleeper);
    return taken;
}

}  // namespace mcgate::platform
