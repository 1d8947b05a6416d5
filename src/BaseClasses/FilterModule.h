#pragma once

// What a filter module includes in exactly one of its sources:
//
//     const ymdshow::ClassObject kClasses[] = {{&CLSID_MySource, L"My Source", &MySource::Create}};
//     YMD_FILTER_MODULE(kClasses)
//
// The module then answers DllGetClassObject and DllCanUnloadNow for the table's classes. It
// is loaded by its path and registers nothing.

#include "BaseClasses/ClassFactory.h"

#if defined(_MSC_VER)
// The system's headers declare both without an export.
#define YMD_MODULE_ENTRY extern "C"
#pragma comment(linker, "/EXPORT:DllGetClassObject,PRIVATE")
#pragma comment(linker, "/EXPORT:DllCanUnloadNow,PRIVATE")
#else
#define YMD_MODULE_ENTRY extern "C" __declspec(dllexport)
#endif

#define YMD_FILTER_MODULE(classes)                                                                 \
    YMD_MODULE_ENTRY HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid,          \
                                                              void** out) {                        \
        return ::ymdshow::GetClassObjectFromTable(classes, clsid, iid, out);                       \
    }                                                                                              \
    YMD_MODULE_ENTRY HRESULT STDAPICALLTYPE DllCanUnloadNow() {                                    \
        return ::ymdshow::server::CanUnload() ? S_OK : S_FALSE;                                    \
    }
