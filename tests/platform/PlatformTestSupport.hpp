#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace ostreljet::platform::test {

// A fresh folder under the system's temporary folder, removed with its contents at the end of the test.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostreljet-platform-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const std::filesystem::path &path() const { return path_; }

private:
    std::filesystem::path path_;
};

// Sets an environment variable for the life of the object, then restores its previous state.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char *name, const std::optional<std::string> &value) : name_(name) {
        if (const char *old = std::getenv(name)) {
            old_ = old;
        }
        apply(value);
    }
    ~ScopedEnvironment() { apply(old_); }

private:
    void apply(const std::optional<std::string> &value) {
        if (value) {
            ::setenv(name_, value->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }
    const char *name_;               // the variable
    std::optional<std::string> old_; // its value before, if it was set
};

} // namespace ostreljet::platform::test
