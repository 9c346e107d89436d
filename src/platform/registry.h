#pragma once
// The registry: a tree of keys with text values in one file that the host names. A process has it once, whatever
// modules it loads, and several processes may share the file.
//
// Keys are named from HKEY_CLASSES_ROOT on, the only root, as in "CLSID\{...}\InprocServer32"; case does not count in
// the names of keys and values. Texts are UTF-8. Each function gives a platform error number: 0, ErrorFileNotFound for
// a key or value that isn't there, ErrorAccessDenied, ErrorInvalidData for a file that isn't as the registry writes it,
// ErrorPathNotFound for a change where no file was named or its directory isn't there.
//
// The file is read anew in each call. A change is made under a lock between processes ("FILE.lock" beside it, waited
// for at most ten seconds, then ErrorLockViolation) and replaces the file as a whole: whoever reads it, finds what was
// there before the change or after it. A file that may not be written is not replaced.
//
// Threads: any. The lock between processes also orders the threads of one.

#include <string>
#include <vector>

#include "platform/guid.h"
#include "platform/process/api.h"

namespace mcgate::platform {

/// Names the file; empty, as at first: none. The registry is empty while there is no such file. To be called before
/// other threads use the registry.
MCGATE_PROCESS_API void setRegistryFile(const std::string& path);
/// What setRegistryFile was given.
MCGATE_PROCESS_API std::string registryFile();

struct RegistryValue {
    std::string name;  ///< empty: the key's default value
    std::string text;
};

/// Sets values of a key in one change; makes the key, and those above it, where they are missing.
MCGATE_PROCESS_API int writeRegistryValues(const std::string& key, const std::vector<RegistryValue>& values) noexcept;
MCGATE_PROCESS_API int readRegistryValue(const std::string& key, const std::string& name, std::string& text) noexcept;
/// The names of the keys directly below `key`, in order.
MCGATE_PROCESS_API int listRegistryKeys(const std::string& key, std::vector<std::string>& names) noexcept;
/// Deletes a key with everything under it. Needs no right to write where there is no such key.
MCGATE_PROCESS_API int deleteRegistryKey(const std::string& key) noexcept;

/// The keys of a class and of its module.
inline std::string classKey(const GUID& classId) { return "CLSID\\" + guidText(classId); }
inline std::string serverKey(const GUID& classId) { return classKey(classId) + "\\InprocServer32"; }

}  // namespace mcgate::platform
