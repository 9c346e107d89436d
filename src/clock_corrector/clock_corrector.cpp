#include "clock_corrector/clock_corrector.h"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace quorvel::clock_corrector {

namespace {

class CorrectedClock final : public ICorrectedClock {
public:
    CorrectedClock(double drive, double start, double ratio, double constant, double gain)
        : lastDrive(drive), estimate(start), slope(ratio), timeConstant(constant), slopeGain(gain) {
        if (!(std::abs(timeConstant) > 0.0))
            throw std::invalid_argument("the clock's time constant must not be 0 or NaN");
    }

    void update(const double& x, const double& y) override {
        const double dx = x - lastDrive;
        const double predicted = slope * dx + estimate;
        lastDrive = x;
        const double error = predicted - y;
        double correction = error * dx / timeConstant;
        if (std::abs(correction) > std::abs(error)) correction = error;  // never past the target
        const double corrected = predicted - correction;
        if (dx > 0) slope = (1 - slopeGain) * slope + slopeGain * ((corrected - estimate) / dx);
        estimate = corrected;
    }

    double time() override { return estimate; }

private:
    double lastDrive;
    double estimate;
    double slope;
    const double timeConstant;
    const double slopeGain;
};

}  // namespace

std::unique_ptr<IClock> newClock(std::function<double()> function) {
    class Clock final : public IClock {
    public:
        explicit Clock(std::function<double()> source) : source_(std::move(source)) {}
        double time() override { return source_(); }

    private:
        const std::function<double()> source_;
    };
    return std::make_unique<Clock>(std::move(function));
}

std::unique_ptr<ICorrectedClock> newCorrectedClock(const double& lastDrive, const double& estimate, const double& slope,
                                                   const double& timeConstant, const double& slopeGain) {
    return std::make_unique<CorrectedClock>(lastDrive, estimate, slope, timeConstant, slopeGain);
}

}  // namespace quorvel::clock_corrector
