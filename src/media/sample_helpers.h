#pragma once
// Questions about samples and clocks in the form that pins and loops ask them.

#include <cstdint>

#include "media/host/interfaces.h"

/// True when the sample has a start time (a missing stop time does not matter).
bool HasSampleTime(IMediaSample& sample);
/// The start time; throws COMException with the status of a failed GetTime.
REFERENCE_TIME GetSampleStartTime(IMediaSample& sample);
bool IsSampleDiscontinuity(IMediaSample& sample);
/// True and the 64-bit data id when the sample carries one; else false and `id` untouched.
bool GetSampleDataId(IMediaSample3& sample, std::uint64_t& id);
/// The clock's time; throws COMException with the status of a failure.
REFERENCE_TIME GetClockTime(IReferenceClock& clock);
