#include "platform/waitable.h"

#include <array>
#include <cassert>
#include <chrono>
#include <thread>

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

// The load first: a signal that is off, the usual case, is then only read, and stays in every processor's cache.
bool Event::tryTake() noexcept { return on_.load() && (reset_ == Reset::Manual || on_.exchange(false)); }

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

bool Patience::isDue() noexcept {
    static const bool alone = std::thread::hardware_concurrency() < 2;
    const std::uint32_t misses = misses_.fetch_add(1, std::memory_order_relaxed);
    return !alone && (misses < kTrials || misses % kEvery == 0);
}

/// One wait for the first of several objects.
class Wait {
public:
    explicit Wait(std::initializer_list<Waitable*> objects) noexcept : objects_(objects) {
        assert(objects.size() <= kMostWaitables);
    }

    /// Takes the first that can be taken and gives its index, or -1.
    int look() const noexcept {
        int index = 0;
        for (Waitable* object : objects_) {
            if (object->tryTake()) return index;
            ++index;
        }
        return -1;
    }

    /// As look, sleeping until one can be taken or the time is up.
    int sleep(std::uint32_t timeoutMs) const noexcept {
        const auto deadline = steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        const auto* end = timeoutMs == kInfinite ? nullptr : &deadline;
        Sleeper sleeper;
        std::array<Enrolment, kMostWaitables> places;
        std::size_t enrolled = 0;
        for (Waitable* object : objects_) {
            places[enrolled].sleeper = &sleeper;
            object->enrol(places[enrolled++]);
        }
        int taken = -1;
        for (bool woken = true; (taken = look()) < 0 && woken;) woken = sleeper.sleep(end);
        enrolled = 0;
        for (Waitable* object : objects_) object->leave(places[enrolled++]);
        return taken;
    }

private:
    const std::initializer_list<Waitable*> objects_;
};

int waitAny(std::initializer_list<Waitable*> objects, std::uint32_t timeoutMs) noexcept {
    const Wait wait(objects);
    const int taken = wait.look();
    return taken >= 0 || timeoutMs == 0 ? taken : wait.sleep(timeoutMs);
}

int waitAny(std::initializer_list<Waitable*> objects, std::uint32_t timeoutMs, Patience& patience) noexcept {
    const Wait wait(objects);
    int taken = wait.look();
    if (taken >= 0 || timeoutMs == 0) return taken;
    if (patience.look([&] { return (taken = wait.look()) >= 0; })) return taken;
    return wait.sleep(timeoutMs);
}

}  // namespace mcgate::platform
