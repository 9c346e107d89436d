#pragma once

#include <exception>
#include <string>

namespace test {

/// What the action throws says of itself; empty when it throws nothing.
template <class Failure = std::exception, class Action>
std::string failureOf(Action&& action) {
    try {
        action();
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "";
}

}  // namespace test
