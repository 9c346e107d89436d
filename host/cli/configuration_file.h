#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/saved_configuration.h"
#include "interfaces/i_logger.h"
#include "media/host/interfaces.h"

namespace mcgate::host {

/// The bytes of a file of at most 1 MiB; `what` it should be is named where it is longer. Throws as the others do.
std::vector<std::uint8_t> readWhole(const std::string& path, const std::string& what);

/// Reads and examines a file of saved configuration. Everything here throws std::runtime_error that names path and
/// reason.
SavedConfiguration readConfiguration(const std::string& path);

/// As readConfiguration. UsageError for the other filter's file, and for a receiver that was not configured.
SavedConfiguration readSenderConfiguration(const std::string& path);
SavedConfiguration readReceiverConfiguration(const std::string& path);

/// Gives the filter what was saved, and warns in the log of what it doesn't take.
void loadConfiguration(IBaseFilter& filter, const SavedConfiguration& saved, const std::string& path, ILogPerf& log);

/// Saves the filter's configuration: the file appears, or is replaced, in one step.
void saveConfiguration(IBaseFilter& filter, const std::string& path);

}  // namespace mcgate::host
