// One build of the library loaded beside another in one process (RTLD_LOCAL | RTLD_DEEPBIND, so that
// each keeps its own symbols), and its C API functions bound by name: what the side-by-side benchmarks
// share.
#pragma once

#include <dlfcn.h>

#include <cstdio>
#include <cstring>

class LoadedLibrary {
public:
    // Loads the library at `path`; false, with the reason on standard error, when it cannot.
    bool open(const char *path) {
        path_ = path;
        handle_ = dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
        if (handle_ == nullptr) {
            std::fprintf(stderr, "cannot load %s: %s\n", path, dlerror());
        }
        return handle_ != nullptr;
    }
    // Whether the library has the symbol `name` (an older build may lack a newer function).
    bool has(const char *name) const { return dlsym(handle_, name) != nullptr; }
    // Binds `function` to the library's symbol `name`; false, saying which, when the library has none.
    template <typename Function> bool bind(Function &function, const char *name) {
        void *symbol = dlsym(handle_, name);
        if (symbol == nullptr) {
            std::fprintf(stderr, "%s has no %s\n", path_, name);
        }
        std::memcpy(&function, &symbol, sizeof symbol);
        return symbol != nullptr;
    }

private:
    void *handle_ = nullptr;
    const char *path_ = "";
};
