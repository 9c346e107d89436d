#include "streams/notices.h"

#include <net/if.h>

#include "cli/module_loader.h"

namespace mcgate::host {

std::string interfaceName(std::uint32_t index) {
    char name[IF_NAMESIZE] = {};
    return if_indextoname(index, name) != nullptr ? name : "number " + std::to_string(index);
}

void tellModule(const GUID& classId, const NoticeSink& sink) {
    const ModuleChoice module = moduleOf(classId);
    if (module.registered) return;
    Notice notice;
    notice.text = "by the module beside the command, as none is registered: " + module.path;
    notice.about = ModuleBeside{module.path};
    sink(notice);
}

void tellChosenInterface(const std::string& address, const std::string& local, const NoticeSink& sink) {
    Notice notice;
    notice.kind = Notice::Kind::Interface;
    notice.text = address + " goes by the interface of " + local;
    notice.about = ChosenInterface{address, local};
    sink(notice);
}

void tellInterfaceState(const InterfaceState& state, const NoticeSink& sink) {
    Notice notice;
    notice.kind = Notice::Kind::Interface;
    notice.text = "interface " + state.name + " is " + (state.up ? "up" : "down");
    notice.about = state;
    sink(notice);
}

}  // namespace mcgate::host
