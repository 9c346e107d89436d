#pragma once

#include <string>
#include <string_view>

namespace mcgate::host {

/// 256 bits from the system's generator, as 64 hexadecimal digits. Throws std::runtime_error when it gives none.
std::string randomSecret();

/// Takes as long whatever the texts hold; only their lengths show.
bool equalInConstantTime(std::string_view one, std::string_view other) noexcept;

/// The token in a file: 16 to 256 visible ASCII characters on one line. Throws UsageError that names the path, also for
/// a file that others than its owner and group may read or write.
std::string readTokenFile(const std::string& path);

}  // namespace mcgate::host
