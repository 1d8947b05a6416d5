#pragma once

namespace ymdshow {

/// What keeps this DLL loaded as a COM server: live objects and LockServer calls.
namespace server {
void LockServer(bool isLock) noexcept;
bool CanUnload() noexcept;
} // namespace server

/// A member of every COM class of a module: counts the object as long as it lives.
class ServerObject {
public:
    ServerObject() noexcept;
    ServerObject(const ServerObject&) noexcept : ServerObject() {}
    ServerObject& operator=(const ServerObject&) noexcept { return *this; }
    ~ServerObject();
};

} // namespace ymdshow
