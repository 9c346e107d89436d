#include "console/dialog_thread.h"

#include <stdexcept>
#include <utility>

namespace mcgate::host {

namespace {

// The action goes with all that it refers to.
std::string faultOf(std::function<void()>& action) try {
    std::exchange(action, nullptr)();
    return "";
} catch (const std::exception& fault) {
    return fault.what();
}

}  // namespace

DialogThread::DialogThread(std::function<bool()> look, std::chrono::milliseconds patience)
    : look_(std::move(look)), patience_(patience), thread_([this] { work(); }) {}

DialogThread::~DialogThread() {
    {
        const std::lock_guard hold(lock_);
        ending_ = true;
    }
    added_.notify_one();
    thread_.join();
}

void DialogThread::run(std::function<void()> job) {
    const auto added = add(std::move(job));
    std::unique_lock hold(lock_);
    if (!wait(hold, *added)) {
        if (std::erase(jobs_, added) > 0) {
            throw std::runtime_error("the property pages are busy with another request; try again");
        }
        throw std::runtime_error("the filter has not taken the change yet; it goes on");
    }
    if (!added->fault.empty()) throw std::runtime_error(added->fault);
}

void DialogThread::seeTo(std::function<void()> job) {
    const auto added = add(std::move(job));
    std::unique_lock hold(lock_);
    wait(hold, *added);
}

bool DialogThread::wait(std::unique_lock<std::mutex>& hold, const Job& job) {
    return over_.wait_for(hold, patience_, [&job] { return job.isOver; });
}

std::shared_ptr<DialogThread::Job> DialogThread::add(std::function<void()> action) {
    auto job = std::make_shared<Job>(Job{std::move(action), false, {}});
    {
        const std::lock_guard hold(lock_);
        jobs_.push_back(job);
    }
    added_.notify_one();
    return job;
}

void DialogThread::work() {
    bool looking = false;
    std::unique_lock hold(lock_);
    for (;;) {
        const auto due = [this] { return ending_ || !jobs_.empty(); };
        if (looking) {
            added_.wait_for(hold, kTurn, due);
        } else {
            added_.wait(hold, due);
        }
        if (jobs_.empty() && ending_) return;
        const std::shared_ptr<Job> job = jobs_.empty() ? nullptr : jobs_.front();
        if (job) jobs_.pop_front();
        hold.unlock();
        const std::string fault = job ? faultOf(job->action) : "";
        looking = look_();
        hold.lock();
        if (!job) continue;
        job->fault = fault;
        job->isOver = true;
        over_.notify_all();
    }
}

}  // namespace mcgate::host
