#pragma once
// A smooth clock made from a fast one and a true one.

#include <functional>
#include <memory>

namespace quorvel::clock_corrector {

/// A time source; the unit is its maker's.
class IClock {
public:
    virtual double time() = 0;
    virtual ~IClock() = default;
};

/// Wraps a function; an empty one makes time() throw std::bad_function_call.
std::unique_ptr<IClock> newClock(std::function<double()> function);

/// A second-order tracking filter: the driving clock moves the estimate, the target clock pulls it.
/// Threads: one at a time, no lock.
class ICorrectedClock {
public:
    /// Advances the estimate to the driving clock's value `x` and takes out the share (advance / timeConstant) of its
    /// distance from the target clock's value `y`, never more than the whole.
    virtual void update(const double& x, const double& y) = 0;
    /// The estimate as the last update left it.
    virtual double time() = 0;
    virtual ~ICorrectedClock() = default;
};

/// `lastDrive`: the driving clock now; `estimate`: the target clock now; `slope`: target per driving time;
/// `timeConstant`: driving time in which an error is taken out whole; `slopeGain`: 0 to 1, weight of a new rate
/// observation. Throws std::invalid_argument for a `timeConstant` of 0 or NaN.
std::unique_ptr<ICorrectedClock> newCorrectedClock(const double& lastDrive, const double& estimate, const double& slope,
                                                   const double& timeConstant, const double& slopeGain);

}  // namespace quorvel::clock_corrector
