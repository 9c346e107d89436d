#pragma once

#include "platform/unknown.h"
#include "streams/notice.h"

namespace mcgate::host {

/// Tells when a class isn't registered and the module beside the program makes it. Throws as moduleOf does.
void tellModule(const GUID& classId, const NoticeSink& sink);
/// Tells which interface the system chose for an address.
void tellChosenInterface(const std::string& address, const std::string& local, const NoticeSink& sink);
/// Tells that an interface behind a destination is up or down.
void tellInterfaceState(const InterfaceState& state, const NoticeSink& sink);
/// Or "number 3" of one that has none.
std::string interfaceName(std::uint32_t index);

}  // namespace mcgate::host
