#pragma once

#include <windows.h>

#include <unknwn.h>

#include <span>

#include "BaseClasses/ComObject.h"
#include "BaseClasses/ServerCounts.h"

namespace ymdshow {

/// One class that a module makes.
struct ClassObject {
    const CLSID* clsid;
    const wchar_t* name;

    /// Makes an object and answers its interface `iid` with one reference. `out` is never
    /// null and cleared; `outer` is null unless `isAggregatable`, and then `iid` is IUnknown.
    HRESULT (*create)(IUnknown* outer, REFIID iid, void** out);
    bool isAggregatable = false;
};

/// The class factory of one entry of a table, which must outlive it.
class ClassFactory final : public ComObject<IClassFactory> {
public:
    explicit ClassFactory(const ClassObject& classObject) : m_class(classObject) {}

    /// CLASS_E_NOAGGREGATION for an `outer` that the class does not take, E_NOINTERFACE for
    /// an aggregated object asked for anything but IUnknown. An exception of the class's
    /// creation becomes E_OUTOFMEMORY or E_UNEXPECTED.
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** out) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL isLock) override;

private:
    const ClassObject& m_class;
    const ServerObject m_serverObject;
};

/// What a module's DllGetClassObject does: answers the factory of `clsid`, or
/// CLASS_E_CLASSNOTAVAILABLE when no entry has it.
HRESULT GetClassObjectFromTable(std::span<const ClassObject> classes, REFCLSID clsid, REFIID iid,
                                void** out) noexcept;

} // namespace ymdshow
