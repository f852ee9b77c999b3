#pragma once

#include "ostreljet/platform/HResult.hpp"

// The module's count of live objects and server locks, which decides whether the library may unload.
// Updates are atomic, as class objects may be used from several threads.
namespace ostreljet::platform {

class ModuleLockCount {
public:
    ModuleLockCount() = delete;

    // An object of the module was created or destroyed.
    static void incrementObjects();
    static void decrementObjects();
    // A host took or dropped a server lock (IClassFactory::LockServer).
    static void lock();
    static void unlock();

    static LONG objectCount();
    static LONG lockCount();
    // Live objects plus server locks.
    static LONG total();
    // S_OK when nothing holds the module, otherwise S_FALSE: the answer of DllCanUnloadNow.
    static HRESULT canUnloadNow();
};

} // namespace ostreljet::platform
