#include "foundation/winsock22_init.h"

#include "foundation/exceptions.h"

namespace quorvel::cpp_utils::raii::v1 {

namespace {

constexpr std::uint16_t kVersion22 = 0x0202;

}  // namespace

Winsock22Init::Winsock22Init(const mcgate::platform::SocketLibrary& library) : library_(library) {
    std::uint16_t provided = 0;
    const int error = library_.startup(kVersion22, provided);
    if (error == 0 && provided == kVersion22) return;
    if (error == 0) library_.cleanup();
    throw exception_utils::v1::ExceptionTemplate<Winsock22Init>("unable to initialize Winsock 2.2");
}

Winsock22Init::~Winsock22Init() { library_.cleanup(); }

mcgate::platform::Socket StrongCheckPolicy<SocketPolicy>::check(mcgate::platform::Socket socket) {
    if (!socket.valid()) {
        throw exception_utils::v1::ExceptionTemplate<StrongCheckPolicy<SocketPolicy>>("invalid handle value");
    }
    return socket;
}

}  // namespace quorvel::cpp_utils::raii::v1
