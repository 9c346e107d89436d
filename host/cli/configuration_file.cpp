#include "cli/configuration_file.h"

#include <stdexcept>

#include "cli/demand.h"
#include "platform/file_stream.h"
#include "platform/memory_stream.h"

namespace mcgate::host {

namespace {

constexpr std::size_t kMost = 1U << 20;  // 4095 destinations
constexpr std::uint32_t kWarning = 1;    // level of a log's line

}  // namespace

std::vector<std::uint8_t> readWhole(const std::string& path, const std::string& what) {
    const auto file = platform::FileStream::open(path);
    std::vector<std::uint8_t> content(kMost + 1);
    std::uint32_t count = 0;
    demand(file->Read(content.data(), static_cast<std::uint32_t>(content.size()), &count), "can't read " + path);
    if (count > kMost) throw std::runtime_error(path + " is longer than 1 MiB, so it is no " + what);
    content.resize(count);
    return content;
}

SavedConfiguration readConfiguration(const std::string& path) {
    auto content = readWhole(path, "saved configuration");
    try {
        return examineConfiguration(std::move(content));
    } catch (const std::runtime_error& problem) {
        throw std::runtime_error(path + " is no saved configuration: " + problem.what());
    }
}

SavedConfiguration readSenderConfiguration(const std::string& path) {
    auto saved = readConfiguration(path);
    if (std::holds_alternative<SavedConfiguration::Sender>(saved.filter)) return saved;
    throw UsageError(path + " was saved by a receiver; right would be a file that mcgate send --save wrote");
}

SavedConfiguration readReceiverConfiguration(const std::string& path) {
    auto saved = readConfiguration(path);
    const auto* receiver = std::get_if<SavedConfiguration::Receiver>(&saved.filter);
    if (receiver != nullptr && receiver->configured) return saved;
    throw UsageError(path + " was saved by a " + (receiver != nullptr ? "receiver that was not configured" : "sender") +
                     "; right would be a file that mcgate receive --save wrote");
}

void loadConfiguration(IBaseFilter& filter, const SavedConfiguration& saved, const std::string& path, ILogPerf& log) {
    for (const auto& lost : lostByLoad(saved)) log.Log(kWarning, "%s: %s", path.c_str(), lost.c_str());
    const auto persist = platform::ComPtr<IBaseFilter>(&filter).query<IPersistStream>();
    const auto stream = platform::MemoryStream::create(saved.content);
    demand(persist->Load(stream.get()), "can't load " + path);
}

void saveConfiguration(IBaseFilter& filter, const std::string& path) {
    const auto persist = platform::ComPtr<IBaseFilter>(&filter).query<IPersistStream>();
    const auto file = platform::FileStream::create(path);
    demand(persist->Save(file.get(), 1), "can't write " + path);
    file->commit();
}

}  // namespace mcgate::host
