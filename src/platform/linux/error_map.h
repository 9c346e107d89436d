#pragma once

namespace mcgate::platform {

/// The kernel's error number as this system shows it; unknown ones are 10022, with a line on the debug output.
int generalError(int number) noexcept;
/// As generalError for a datagram that could not be sent: lost routes and interfaces are 10065, lost addresses 10049.
int sendError(int number) noexcept;

}  // namespace mcgate::platform
