#pragma once

#include "media/host/media_type.h"

/// The bit rate that a media type promises, in bits per second; 0 when unknown. The format block decides where its type
/// is known, also when it says 0; otherwise the subtype. A block that is missing or too short counts as 0.
std::int32_t GetNominalBitRate(const AM_MEDIA_TYPE& type) noexcept;
