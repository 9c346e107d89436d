#include "platform/waitable.h"

#include <array>
#include <cassert>
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
    for (Enrolment* place = first_; place != nullptr; place = place->next) place->sleeper->poke();
}

void Waitable::enrol(Enrolment& place) noexcept {
    const std::lock_guard hold(listLock_);
    place.next = first_;
    if (first_ != nullptr) first_->previous = &place;
    first_ = &place;
    ++sleepers_;
}

void Waitable::leave(Enrolment& place) noexcept {
    const std::lock_guard hold(listLock_);
    if (place.next != nullptr) place.next->previous = place.previous;
    (place.previous != nullptr ? place.previous->next : first_) = place.next;
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

int waitAny(std::initializer_list<Waitable*> objects, std::uint32_t timeoutMs) noexcept {
    assert(objects.size() <= kMostWaitables);
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
    std::array<Enrolment, kMostWaitables> places;
    std::size_t enrolled = 0;
    for (Waitable* object : objects) {
        places[enrolled].sleeper = &sleeper;
        object->enrol(places[enrolled++]);
    }
    for (bool woken = true; (taken = look()) < 0 && woken;) woken = sleeper.sleep(end);
    enrolled = 0;
    for (Waitable* object : objects) object->leave(places[enrolled++]);
    return taken;
}

}  // namespace mcgate::platform
