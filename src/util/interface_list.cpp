#include "util/interface_list.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "foundation/status.h"
#include "platform/errors.h"
#include "platform/process/process.h"

namespace mcgate::util {

namespace {

using platform::SocketAddress;

struct FreeMemory {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

InterfaceAddress infoOf(std::uint32_t networkOrder) {
    InterfaceAddress info;
    info.family = platform::kFamilyIPv4;
    std::memcpy(info.address.data(), &networkOrder, sizeof networkOrder);
    return info;
}

InterfaceAddress infoOf(const SocketAddress& address) { return infoOf(address.ipv4Word()); }

InterfaceAddress netmask(unsigned prefixLength) {
    InterfaceAddress info = infoOf(0);
    for (unsigned bit = 0; bit < prefixLength && bit < 32; ++bit) {
        info.address[bit / 8] = static_cast<std::uint8_t>(info.address[bit / 8] | 0x80U >> bit % 8);
    }
    return info;
}

std::vector<INTERFACE_INFO> entriesOf(const std::vector<platform::Adapter>& adapters) {
    std::vector<INTERFACE_INFO> entries;
    for (const auto& adapter : adapters) {
        for (const auto& one : adapter.unicast) {
            if (one.address.family() != platform::kFamilyIPv4) continue;
            entries.push_back({adapter.flags, infoOf(one.address), infoOf(one.broadcast), netmask(one.prefixLength)});
        }
    }
    return entries;
}

}  // namespace

std::uint32_t InterfaceAddress::word() const noexcept {
    std::uint32_t value = 0;
    std::memcpy(&value, address.data(), sizeof value);
    return value;
}

HRESULT FillInterfaceList() noexcept try {
    if (interfaceList().isFilled()) return HRESULT_FROM_WIN32(platform::ErrorGenFailure);
    std::vector<platform::Adapter> adapters;
    if (!platform::listAdapters(adapters)) return HRESULT_FROM_WIN32(platform::lastError());
    const auto entries = entriesOf(adapters);
    if (entries.size() > kMostInterfaces) return HRESULT_FROM_WIN32(platform::ErrorGenFailure);

    // One entry more, so that an empty list is memory, too.
    std::unique_ptr<void, FreeMemory> block(std::calloc(entries.size() + 1, sizeof(INTERFACE_INFO)));
    if (!block) return HRESULT_FROM_WIN32(platform::ErrorNotEnoughMemory);
    static_assert(std::is_trivially_copyable_v<INTERFACE_INFO>);
    const std::size_t size = entries.size() * sizeof(INTERFACE_INFO);
    if (size != 0) std::memcpy(block.get(), entries.data(), size);
    if (!process::keepInterfaceBlock(block.get(), size)) return HRESULT_FROM_WIN32(platform::ErrorGenFailure);
    static_cast<void>(block.release());
    return S_OK;
} catch (const std::bad_alloc&) {
    return HRESULT_FROM_WIN32(platform::ErrorNotEnoughMemory);
}

HRESULT FillInterfaceListOnce() noexcept {
    if (interfaceList().isFilled()) return S_OK;
    const HRESULT status = FillInterfaceList();
    return interfaceList().isFilled() ? S_OK : status;
}

InterfaceList interfaceList() noexcept {
    const process::InterfaceBlock block = process::interfaceBlock();
    return {static_cast<const INTERFACE_INFO*>(block.data),
            static_cast<std::uint32_t>(block.size / sizeof(INTERFACE_INFO))};
}

void forgetInterfaceList() noexcept { process::dropInterfaceBlock(); }

}  // namespace mcgate::util
