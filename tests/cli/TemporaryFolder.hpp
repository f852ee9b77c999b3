#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>

#include <stdlib.h>

namespace ostreljet::testsupport {

// A fresh folder under the system's temporary directory, removed with everything in it at the end.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostreljet-cli-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot create a temporary folder");
        }
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    // The full path of a file in the folder.
    std::string file(const std::string &name) const { return (path_ / name).string(); }

    // Writes a file with exactly this text and returns its full path.
    std::string write(const std::string &name, const std::string &text) const {
        std::ofstream out(path_ / name, std::ios::binary);
        out << text;
        return file(name);
    }

    // The names of every entry in the folder, hidden ones included.
    std::set<std::string> entries() const {
        std::set<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(path_)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

private:
    std::filesystem::path path_;
};

// The whole content of a file; empty when it cannot be read.
inline std::string readText(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace ostreljet::testsupport
