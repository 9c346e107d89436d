#include "server/server_core.h"

#include <algorithm>

namespace {

std::span<const CFactoryTemplate> table;
const void* handleOfModule = nullptr;

void callInitRoutines(bool loading) {
    for (const auto& row : table) {
        if (row.init != nullptr) row.init(loading, row.classId);
    }
}

}  // namespace

void SetFactoryTemplates(const CFactoryTemplate* templates, int count) noexcept {
    table = {templates, static_cast<std::size_t>(count)};
}

std::span<const CFactoryTemplate> factoryTemplates() noexcept { return table; }

const CFactoryTemplate* findTemplate(const GUID& classId) noexcept {
    const auto row = std::find_if(table.begin(), table.end(), [&](const auto& one) { return *one.classId == classId; });
    return row != table.end() ? &*row : nullptr;
}

const void* moduleHandle() noexcept { return handleOfModule; }

ModuleAttachment::ModuleAttachment(const void* handle) noexcept {
    handleOfModule = handle;
    callInitRoutines(true);
}

ModuleAttachment::~ModuleAttachment() { callInitRoutines(false); }
