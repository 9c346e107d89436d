#include "platform/memory.h"

#include <unistd.h>

namespace mcgate::platform {

std::size_t pageSize() noexcept {
    static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return size;
}

}  // namespace mcgate::platform
