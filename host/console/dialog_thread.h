#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace mcgate::host {

/// The thread that dialogs live on: it does jobs one after the other, and between them looks at what has changed.
/// Threads: any but the dialog thread itself. The lock guards the jobs and is a leaf: no action runs under it.
class DialogThread {
public:
    static constexpr std::chrono::milliseconds kTurn{100};  ///< between two looks

    /// `look` runs on the dialog thread after each job, and each turn while it says true; it doesn't throw. `patience`
    /// is how long callers wait for one job.
    explicit DialogThread(std::function<bool()> look, std::chrono::milliseconds patience = std::chrono::seconds(5));
    /// Does what is left to do, and waits for it.
    ~DialogThread();
    DialogThread(const DialogThread&) = delete;
    DialogThread& operator=(const DialogThread&) = delete;

    /// Does `job` on the dialog thread. Throws std::runtime_error with the text of what it throws, and when the
    /// patience is over: a job that hasn't begun by then is given up, one that has goes on. So a job refers to nothing
    /// that its caller may take away.
    void run(std::function<void()> job);
    /// Has `job` done whatever time it takes, and waits for that while the patience lasts.
    void seeTo(std::function<void()> job);

private:
    struct Job {
        std::function<void()> action;
        bool isOver = false;
        std::string fault;  ///< empty when all went well
    };

    bool wait(std::unique_lock<std::mutex>& hold, const Job& job);
    std::shared_ptr<Job> add(std::function<void()> action);
    void work();

    const std::function<bool()> look_;
    const std::chrono::milliseconds patience_;
    std::mutex lock_;
    std::condition_variable added_;
    std::condition_variable over_;  ///< a job is
    std::deque<std::shared_ptr<Job>> jobs_;
    bool ending_ = false;
    std::thread thread_;  ///< the last member: it uses the others
};

}  // namespace mcgate::host
