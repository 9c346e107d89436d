#pragma once

#include <cstdint>
#include <mutex>

#include "interfaces/i_logger.h"

namespace soak {

/// Shows the sender's warnings and errors on standard error. Any thread.
class SenderLog final : public ILogPerf {
public:
    void Log(std::uint32_t level, const char* format, ...) override __attribute__((format(printf, 3, 4)));
    void DeclareBuffer(const char*) override {}
    void NotifyBufferFull(const char*) override {}
    void PerfOp1(std::int32_t) override {}
    void PerfOp2(std::int32_t) override {}
    void PerfOp3(std::int32_t) override {}
    void PerfOp4(std::int32_t) override {}
    void PerfOp5(std::int32_t) override {}
};

}  // namespace soak
