#pragma once

#include <span>
#include <string_view>

namespace mcgate::host {

/// A file of the console's page, by its path in a URL.
struct SiteFile {
    std::string_view path;
    std::string_view bytes;
};

/// The page, as the build put it into the program (embed/main.cpp makes the definition).
std::span<const SiteFile> siteFiles();

}  // namespace mcgate::host
