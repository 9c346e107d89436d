#pragma once

#include "media/host/base_property_page.h"

/// Numbers of the pages' dialogs, titles and controls, by which hosts and views know them.
namespace page_ids {

inline constexpr std::int32_t kReceiverDialog = 101;
inline constexpr std::int32_t kSenderDialog = 102;
inline constexpr std::int32_t kReceiverTitle = 1;
inline constexpr std::int32_t kSenderTitle = 2;

// Both pages; on the sender's these are the first row.
inline constexpr std::int32_t kInterface = 1002;
inline constexpr std::int32_t kPort = 1003;
inline constexpr std::int32_t kAddress = 1004;
inline constexpr std::int32_t kApply = 1005;
// The receiver's alone.
inline constexpr std::int32_t kDataState = 1007;
inline constexpr std::int32_t kTimeout = 1010;
inline constexpr std::int32_t kSource = 1011;
// The sender's second row.
inline constexpr std::int32_t kSecondAddress = 1006;
inline constexpr std::int32_t kSecondPort = 1008;
inline constexpr std::int32_t kSecondInterface = 1009;

}  // namespace page_ids

/// The dialogs and titles of both pages.
const PageResources& pageResources() noexcept;
