#pragma once

#include <stdexcept>
#include <string>

#include "platform/unknown.h"

namespace mcgate::host {

/// Which module makes a class.
struct ModuleChoice {
    std::string path;
    bool registered = false;  ///< false: the class isn't, and this is the module beside the program
};

/// Throws std::runtime_error when the registry can't be read.
ModuleChoice moduleOf(const GUID& classId);

/// Of a registry that can't be taken for one: what is wrong, and what helps.
std::string damagedRegistry();

/// The module beside this program.
std::string moduleBeside();

/// Creates an object of a class by the registered module, or by the one beside the program where the class isn't
/// registered. Throws std::runtime_error with the reason, the module's path and what would help.
platform::ComPtr<IUnknown> createObject(const GUID& classId);

/// As createObject, for one interface of the object.
template <class Interface>
platform::ComPtr<Interface> create(const GUID& classId) {
    auto object = createObject(classId).query<Interface>();
    if (!object) throw std::runtime_error(platform::guidText(classId) + " is another class than it should be");
    return object;
}

}  // namespace mcgate::host
