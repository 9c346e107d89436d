#include <stdexcept>

#include "cli/commands.h"

namespace mcgate::host {

int runConsole(const ConsoleOptions&) {
    throw std::runtime_error(
        "this program was built without its console; right would be a build by ./dev build, or "
        "one with node and after npm install in host/console/web");
}

}  // namespace mcgate::host
