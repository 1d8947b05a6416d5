// A module that logs when it comes and goes, and needs a DLL that lies beside it.
#include "ymlib_testmodule.h"
#include "BaseClasses/FilterModule.h"
#include "BaseClasses/SystemClock.h"

#include <ymlib/Log.h>

extern "C" __declspec(dllimport) int YmlibTestDependencyAnswer();

namespace {

void Say(const char* what) {
    ymlib::CLoger::GetLoger()
        ->GetCategory("testmodule")
        ->Log(ymlib::LOG_PROGRESS, "", 0, "", "%s %d", what, YmlibTestDependencyAnswer());
}

struct Announcer {
    Announcer() { Say("up"); }
    ~Announcer() { Say("down"); }
} g_announcer;

HRESULT LeaveGarbage(IUnknown*, REFIID, void** out) {
    static int garbage;
    *out = &garbage;
    return E_ACCESSDENIED;
}

const ymdshow::ClassObject kClasses[] = {
    {&kTestClock, L"Clock", &ymdshow::SystemClock::Create},
    {&kTestClaimsSuccess, L"Claims", [](IUnknown*, REFIID, void**) { return S_OK; }},
    {&kTestLeavesGarbage, L"Leaves garbage", &LeaveGarbage},
};

std::span<const ymdshow::ClassObject> ClassesFor(REFCLSID clsid) {
    return clsid != kTestThrows ? kClasses : throw clsid;
}

} // namespace

YMD_FILTER_MODULE(ClassesFor(clsid))
