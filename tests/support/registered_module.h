#pragma once

#include <string>

namespace test {

/// The module as hosts have it: registered in a registry of this program's own, which is gone at the program's end, and
/// which programs that it starts use, too.
class RegisteredModule {
public:
    /// Registers it in the first call, which belongs before other threads. Throws std::runtime_error when that fails.
    static const RegisteredModule& once();
    ~RegisteredModule();
    RegisteredModule(const RegisteredModule&) = delete;
    RegisteredModule& operator=(const RegisteredModule&) = delete;

    /// True when the loaded module counts no object and no lock.
    static bool isIdle();
    static std::string path();

private:
    RegisteredModule();
    std::string directory_;
};

}  // namespace test
