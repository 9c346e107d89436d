#pragma once
// What the entry points of a module work on: its table of classes and where it was loaded from. The core knows no
// class; a module hands it its table while its static objects are made. Threads: set before any other thread can come
// in, only read afterwards.

#include <span>

#include "media/host/base_object.h"
#include "media/host/filter_setup.h"

/// One class of a module. All that it points to lives as long as the module.
struct CFactoryTemplate {
    const WCHAR* name;
    const GUID* classId;
    /// A new object without a reference, aggregated by `outer` unless that is null; null, or a failure in `*status`
    /// which is S_OK at first, when there is none. Throws nothing.
    CUnknown* (*create)(IUnknown* outer, HRESULT* status);
    /// Called when the module is loaded (true) and before it is unloaded; may be null.
    void (*init)(bool loading, const GUID* classId);
    /// Of a filter; null for other classes.
    const AMOVIESETUP_FILTER* setup;
};

void SetFactoryTemplates(const CFactoryTemplate* templates, int count) noexcept;
std::span<const CFactoryTemplate> factoryTemplates() noexcept;

/// The row of a class, or null.
const CFactoryTemplate* findTemplate(const GUID& classId) noexcept;

/// An address inside the module, which names it to the system. Null before attachment.
const void* moduleHandle() noexcept;

/// What happens when a module is loaded and unloaded: keeps the handle, and calls the rows' init routines. A module has
/// one, as a static object defined behind that which hands over the table, so that it is made after and destroyed
/// before it.
class ModuleAttachment {
public:
    explicit ModuleAttachment(const void* handle) noexcept;
    ~ModuleAttachment();
    ModuleAttachment(const ModuleAttachment&) = delete;
    ModuleAttachment& operator=(const ModuleAttachment&) = delete;
};
