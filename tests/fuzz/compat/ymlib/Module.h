#pragma once

namespace ymlib {

struct CModuleManager {
    void RemoveAllModule() {}
};

} // namespace ymlib
