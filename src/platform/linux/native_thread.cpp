#include "platform/native_thread.h"

#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <system_error>

#include "platform/errors.h"
#include "platform/process/process.h"

namespace mcgate::platform {

namespace {

constexpr int kRoundRobinPriority = 10;
constexpr int kTimeCriticalNice = -11;
constexpr int kHighestNice = -5;
constexpr int kResetOnFork = 0x40000000;  // SCHED_RESET_ON_FORK: threads made later start normal

std::atomic<bool> refusalTold{false};

void tellRefusal() {
    if (refusalTold.exchange(true)) return;
    process::writeDebugOutput("raised thread priority refused; CAP_SYS_NICE or a nice limit would allow it\n");
}

// The wanted nice value, else the lowest that the limit allows; never a positive one.
PriorityClass raiseNice(pid_t thread, int wanted) {
    const auto id = static_cast<id_t>(thread);
    errno = 0;
    const int present = getpriority(PRIO_PROCESS, id);
    if (errno == 0 && present <= wanted) return PriorityClass::Nice;  // raising a nice value could not be undone
    if (setpriority(PRIO_PROCESS, id, wanted) == 0) return PriorityClass::Nice;
    rlimit limit{};
    if (getrlimit(RLIMIT_NICE, &limit) == 0 && limit.rlim_cur > 20) {
        const int lowest = 20 - static_cast<int>(limit.rlim_cur > 40 ? 40 : limit.rlim_cur);
        if (setpriority(PRIO_PROCESS, id, lowest > wanted ? lowest : wanted) == 0) return PriorityClass::Nice;
    }
    tellRefusal();
    return PriorityClass::Normal;
}

PriorityClass applyPriority(pid_t thread, int priority) {
    if (priority == kPriorityHighest) return raiseNice(thread, kHighestNice);
    if (priority != kPriorityTimeCritical) return PriorityClass::Normal;
    sched_param parameters{};
    parameters.sched_priority = kRoundRobinPriority;
    const bool realTime = sched_setscheduler(thread, SCHED_RR | kResetOnFork, &parameters) == 0;
    const auto got = realTime ? PriorityClass::RealTime : raiseNice(thread, kTimeCriticalNice);
    process::setTimeCriticalClass(static_cast<int>(got));
    return got;
}

}  // namespace

/// What the thread needs whether or not its NativeThread still exists: body, gate, identity.
struct NativeThread::Shared {
    enum class Gate { Closed, Open, Discarded };

    std::function<void()> body;
    std::mutex lock;
    std::condition_variable changed;
    Gate gate = Gate::Closed;  ///< under lock
    pid_t id = 0;              ///< under lock; 0 until the thread has begun and again when it has ended
    bool begun = false;        ///< under lock
    pthread_t handle{};        ///< of the owner alone
    bool joinable = false;     ///< of the owner alone

    void run() {
        {
            std::unique_lock hold(lock);
            id = static_cast<pid_t>(syscall(SYS_gettid));
            begun = true;
            changed.notify_all();
            changed.wait(hold, [this] { return gate != Gate::Closed; });
            if (gate == Gate::Discarded) body = nullptr;
        }
        if (body) body();
        const std::lock_guard hold(lock);
        id = 0;
    }

    static void* entry(void* argument) {
        const std::unique_ptr<std::shared_ptr<Shared>> self(static_cast<std::shared_ptr<Shared>*>(argument));
        prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
        (*self)->run();
        return nullptr;
    }
};

NativeThread::NativeThread(std::function<void()> body, Start start) : shared_(std::make_shared<Shared>()) {
    shared_->body = std::move(body);
    if (start == Start::Running) shared_->gate = Shared::Gate::Open;
    auto argument = std::make_unique<std::shared_ptr<Shared>>(shared_);
    const int error = pthread_create(&shared_->handle, nullptr, &Shared::entry, argument.get());
    if (error != 0) throw std::system_error(error, std::generic_category(), "unable to start a thread");
    static_cast<void>(argument.release());
    shared_->joinable = true;
}

NativeThread::~NativeThread() {
    bool neverRan = false;
    {
        const std::lock_guard hold(shared_->lock);
        neverRan = shared_->gate == Shared::Gate::Closed;
        if (neverRan) shared_->gate = Shared::Gate::Discarded;
        shared_->changed.notify_all();
    }
    if (neverRan) {
        wait();  // bounded: the thread leaves through the gate without running the body
    } else if (shared_->joinable) {
        pthread_detach(shared_->handle);
    }
}

bool NativeThread::setPriority(int priority) {
    std::unique_lock hold(shared_->lock);
    shared_->changed.wait(hold, [this] { return shared_->begun; });
    if (shared_->id == 0) {
        setLastError(ErrorInvalidHandle);
        return false;
    }
    applyPriority(shared_->id, priority);
    return true;
}

bool NativeThread::resume() {
    const std::lock_guard hold(shared_->lock);
    if (shared_->gate != Shared::Gate::Closed) {
        setLastError(ErrorInvalidHandle);
        return false;
    }
    shared_->gate = Shared::Gate::Open;
    shared_->changed.notify_all();
    return true;
}

void NativeThread::wait() {
    if (!shared_->joinable || pthread_equal(shared_->handle, pthread_self()) != 0) return;
    {
        const std::lock_guard hold(shared_->lock);
        if (shared_->gate == Shared::Gate::Closed) return;
    }
    pthread_join(shared_->handle, nullptr);
    shared_->joinable = false;
}

PriorityClass setCurrentThreadPriority(int priority) {
    return applyPriority(static_cast<pid_t>(syscall(SYS_gettid)), priority);
}

PriorityClass lastTimeCriticalClass() noexcept { return static_cast<PriorityClass>(process::timeCriticalClass()); }

}  // namespace mcgate::platform
