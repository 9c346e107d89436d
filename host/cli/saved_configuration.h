#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "cli/url.h"

namespace mcgate::host {

/// What a filter's saved configuration holds.
struct SavedConfiguration {
    struct Sender {
        std::vector<SendUrl> destinations;
        std::size_t loadable = 0;  ///< of those, how many a load takes: the stored count is a byte
    };
    struct Receiver {
        bool configured = false;
        ReceiveUrl source;  ///< when configured
    };
    std::variant<Sender, Receiver> filter;
    std::vector<std::uint8_t> content;  ///< for the filter's Load
    std::vector<std::string> linked;    ///< addresses with the index of their interface, such as "fe80::1%2"
};

/// Reads the bytes of a saved configuration. No class id stands in it, but its length tells whose it is: behind the
/// version a receiver has 386 bytes, a sender 1 and 256 for each destination. Stricter than a load: throws
/// std::runtime_error, "offset N: ..." and the reason, for whatever no save writes.
SavedConfiguration examineConfiguration(std::vector<std::uint8_t> content);

/// What a load doesn't take of it, a line each.
std::vector<std::string> lostByLoad(const SavedConfiguration& saved);

/// The whole in words, a line each, what a load doesn't take last.
std::vector<std::string> describe(const SavedConfiguration& saved);

}  // namespace mcgate::host
