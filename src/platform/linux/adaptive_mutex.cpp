#include "platform/adaptive_mutex.h"

#include <pthread.h>

namespace mcgate::platform {

AdaptiveMutex::AdaptiveMutex() noexcept {
    pthread_mutexattr_t kind;
    pthread_mutexattr_init(&kind);
    pthread_mutexattr_settype(&kind, PTHREAD_MUTEX_ADAPTIVE_NP);
    pthread_mutex_init(native_handle(), &kind);
    pthread_mutexattr_destroy(&kind);
}

}  // namespace mcgate::platform
