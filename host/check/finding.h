#pragma once

#include <string>

namespace mcgate::host {

/// Fault: it can't work like this. Warning: it works, but for how long or how well is in doubt.
enum class Verdict { Ok, Warning, Fault };

/// What one look at the machine gave.
struct Finding {
    std::string id;  ///< stable: programs know a finding by it
    Verdict verdict = Verdict::Ok;
    std::string seen;    ///< what was looked at, with its value
    std::string remedy;  ///< what to do; empty exactly when the verdict is Ok
};

inline Finding ok(const char* id, const std::string& seen) { return {id, Verdict::Ok, seen, {}}; }
inline Finding warning(const char* id, const std::string& seen, const std::string& remedy) {
    return {id, Verdict::Warning, seen, remedy};
}
inline Finding fault(const char* id, const std::string& seen, const std::string& remedy) {
    return {id, Verdict::Fault, seen, remedy};
}

}  // namespace mcgate::host
