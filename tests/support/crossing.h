#pragma once

#include <cstdint>
#include <functional>

#include "interfaces/i_delay_crossing_point_filter.h"
#include "support/notes.h"

namespace test {

using quorvel::streaming::direct_show::filters::interfaces::i_delay_crossing_point_filter::v0::IDelayCrossingCallback;

/// Notes the data ids that cross; can hold who tells.
class Crossing final : public IDelayCrossingCallback, public Notes<std::uint64_t> {
public:
    std::function<void(std::uint64_t id)> onCrossing = [](std::uint64_t) {};

    void OnReserved() override {}
    void OnDataCrossing(std::uint64_t id) override {
        onCrossing(id);
        add(id);
    }
};

}  // namespace test
