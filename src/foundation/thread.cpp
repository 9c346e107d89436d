#include "foundation/thread.h"

#include <utility>

namespace quorvel::system::thread::v1 {

using mcgate::platform::NativeThread;

Thread::Thread(std::function<void()> body, int startMode)
    : handle_(std::move(body),
              StartModeFlags(startMode) == 0 ? NativeThread::Start::Running : NativeThread::Start::Suspended) {}

Thread::~Thread() = default;

void Thread::Wait() { handle_.wait(); }

}  // namespace quorvel::system::thread::v1
