#include "ostreljet/platform/ModuleLockCount.hpp"

#include <atomic>

namespace ostreljet::platform {

namespace {

std::atomic<LONG> liveObjects{0}; // objects of the module that have not been destroyed
std::atomic<LONG> serverLocks{0}; // outstanding LockServer(TRUE) calls

} // namespace

void ModuleLockCount::incrementObjects() {
    ++liveObjects;
}

void ModuleLockCount::decrementObjects() {
    --liveObjects;
}

void ModuleLockCount::lock() {
    ++serverLocks;
}

void ModuleLockCount::unlock() {
    --serverLocks;
}

LONG ModuleLockCount::objectCount() {
    return liveObjects.load();
}

LONG ModuleLockCount::lockCount() {
    return serverLocks.load();
}

LONG ModuleLockCount::total() {
    return liveObjects.load() + serverLocks.load();
}

HRESULT ModuleLockCount::canUnloadNow() {
    return total() == 0 ? S_OK : S_FALSE;
}

} // namespace ostreljet::platform
