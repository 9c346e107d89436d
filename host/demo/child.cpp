#include "demo/child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <system_error>

namespace mcgate::host {

Child::Child(const std::vector<std::string>& command, std::function<void(const std::string&)> line)
    : line_(std::move(line)) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "can't make a pipe");
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& one : command) arguments.push_back(const_cast<char*>(one.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    const int error = posix_spawn(&id_, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0) {
        close(ends[0]);
        throw std::system_error(error, std::generic_category(), "can't start " + command.front());
    }
    reader_ = std::thread([this, descriptor = ends[0]] { readLines(descriptor); });
}

Child::~Child() {
    if (id_ < 0) return;
    stop();
    wait();
}

void Child::readLines(int descriptor) const {
    std::FILE* stream = fdopen(descriptor, "r");
    char* text = nullptr;
    std::size_t capacity = 0;
    for (ssize_t length = 0; (length = getline(&text, &capacity, stream)) > 0;) {
        line_(std::string(text, static_cast<std::size_t>(length - (text[length - 1] == '\n' ? 1 : 0))));
    }
    free(text);
    std::fclose(stream);
}

int Child::wait() {
    int status = 0;
    while (waitpid(id_, &status, 0) < 0 && errno == EINTR) {
    }
    id_ = -1;
    reader_.join();
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool Child::hasEnded() const {
    siginfo_t about{};
    return waitid(P_PID, static_cast<id_t>(id_), &about, WEXITED | WNOHANG | WNOWAIT) == 0 && about.si_pid == id_;
}

void Child::stop() const { signal(SIGTERM); }

void Child::signal(int number) const { kill(id_, number); }

}  // namespace mcgate::host
