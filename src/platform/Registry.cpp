#include "ostreljet/platform/Registry.hpp"

#include "ostreljet/files/BoundedRead.hpp"
#include "ostreljet/files/SafeFile.hpp"
#include "ostreljet/platform/WideString.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <sys/file.h>
#include <unistd.h>

namespace ostreljet::platform {

namespace {

struct HiveName {
    const char *full;
    const char *abbreviation;
};

constexpr std::array<HiveName, 5> hiveNames{{{"HKEY_CLASSES_ROOT", "HKCR"},
                                             {"HKEY_CURRENT_USER", "HKCU"},
                                             {"HKEY_LOCAL_MACHINE", "HKLM"},
                                             {"HKEY_USERS", "HKU"},
                                             {"HKEY_CURRENT_CONFIG", "HKCC"}}};

bool sameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               const auto lower = [](char c) {
                   return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
               };
               return lower(x) == lower(y);
           });
}

// Splits a key path at backslashes; the first part is the hive, translated to its full name.
std::vector<std::string> splitPath(std::string_view path) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = path.find('\\', start);
        const std::string_view part = path.substr(start, end == std::string_view::npos ? end : end - start);
        if (part.empty()) {
            throw std::invalid_argument("registry key path \"" + std::string(path) + "\" has an empty name");
        }
        for (const char c : part) {
            if (static_cast<unsigned char>(c) < 0x20) {
                throw std::invalid_argument("registry key path \"" + std::string(path) +
                                            "\" contains a control character");
            }
        }
        parts.emplace_back(part);
        if (end == std::string_view::npos) {
            break;
        }
        start = end + 1;
    }
    const auto hive = std::find_if(hiveNames.begin(), hiveNames.end(), [&](const HiveName &h) {
        return sameName(parts.front(), h.full) || sameName(parts.front(), h.abbreviation);
    });
    if (hive == hiveNames.end()) {
        throw std::invalid_argument("registry key path \"" + std::string(path) +
                                    "\" does not start with a hive");
    }
    parts.front() = hive->full;
    return parts;
}

std::string quote(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
        case '\\':
            out += "\\\\";
            break;
        case '"':
            out += "\\\"";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            out.push_back(c);
        }
    }
    return out + "\"";
}

// Reads a quoted string starting at line[pos] (the opening quote); pos ends after the closing quote.
bool unquote(std::string_view line, std::size_t &pos, std::string &out) {
    if (pos >= line.size() || line[pos] != '"') {
        return false;
    }
    out.clear();
    for (++pos; pos < line.size(); ++pos) {
        const char c = line[pos];
        if (c == '"') {
            ++pos;
            return true;
        }
        if (c == '\\') {
            if (++pos >= line.size()) {
                return false;
            }
            switch (line[pos]) {
            case '\\':
                out.push_back('\\');
                break;
            case '"':
                out.push_back('"');
                break;
            case 'n':
                out.push_back('\n');
                break;
            case 'r':
                out.push_back('\r');
                break;
            default:
                return false;
            }
        } else {
            out.push_back(c);
        }
    }
    return false;
}

template <typename KeyT> auto findChild(std::vector<KeyT> &keys, std::string_view name) {
    return std::find_if(keys.begin(), keys.end(), [&](const KeyT &k) { return sameName(k.name, name); });
}

} // namespace

std::vector<Registry::Key> Registry::initialHives() {
    std::vector<Key> hives;
    for (const HiveName &h : hiveNames) {
        hives.push_back(Key{h.full, {}, {}});
    }
    return hives;
}

std::filesystem::path Registry::defaultPath() {
    const char *explicitPath = std::getenv(pathVariable);
    if (explicitPath != nullptr && *explicitPath != '\0') {
        return *explicitPath == '/' ? std::filesystem::path(explicitPath) : std::filesystem::path();
    }
    const char *config = std::getenv("XDG_CONFIG_HOME");
    if (config != nullptr && *config == '/') {
        return std::filesystem::path(config) / "ostreljet" / "registry";
    }
    const char *home = std::getenv("HOME");
    if (home != nullptr && *home == '/') {
        return std::filesystem::path(home) / ".config" / "ostreljet" / "registry";
    }
    return {};
}

std::string Registry::noDefaultPathReason() {
    const char *explicitPath = std::getenv(pathVariable);
    if (explicitPath != nullptr && *explicitPath != '\0' && *explicitPath != '/') {
        return std::string("$") + pathVariable + " is '" + explicitPath +
               "', not an absolute path; set it to the registry file's absolute path";
    }
    return std::string("no registry file: neither $XDG_CONFIG_HOME nor $HOME is an absolute folder; set $") +
           pathVariable + " to the registry file's absolute path";
}

namespace {

// A registry file must be named by an absolute path, so that no current folder decides which one.
void requireAbsolute(const std::filesystem::path &file) {
    if (file.empty()) {
        throw RegistryError(Registry::noDefaultPathReason());
    }
    if (!file.is_absolute()) {
        throw RegistryError("the registry file " + file.string() + " is not an absolute path");
    }
}

// Refuses a relative registry path, and makes the folder that holds the file.
void requireFolderOf(const std::filesystem::path &file) {
    requireAbsolute(file);
    const std::filesystem::path folder = file.parent_path();
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    if (ec) {
        throw RegistryError("cannot create the folder " + folder.string() + ": " + ec.message());
    }
}

} // namespace

Registry::FileLock::FileLock(const std::filesystem::path &file) {
    requireFolderOf(file);
    const std::string lockFile = file.string() + ".lock";
    fd_ = ::open(lockFile.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (fd_ < 0) {
        throw RegistryError("cannot open the lock file " + lockFile + ": " + std::strerror(errno));
    }
    while (::flock(fd_, LOCK_EX) != 0) {
        if (errno != EINTR) {
            const int cause = errno;
            ::close(fd_);
            throw RegistryError("cannot lock " + lockFile + ": " + std::strerror(cause));
        }
    }
}

Registry::FileLock::~FileLock() {
    ::close(fd_); // closing the last descriptor releases the lock
}

const Registry::Key *Registry::find(std::string_view path) const {
    return const_cast<Registry *>(this)->find(path);
}

Registry::Key *Registry::find(std::string_view path) {
    const std::vector<std::string> parts = splitPath(path);
    std::vector<Key> *level = &hives_;
    Key *key = nullptr;
    for (const std::string &part : parts) {
        const auto it = findChild(*level, part);
        if (it == level->end()) {
            return nullptr;
        }
        key = &*it;
        level = &key->subkeys;
    }
    return key;
}

Registry::Key &Registry::create(std::string_view path) {
    const std::vector<std::string> parts = splitPath(path);
    std::vector<Key> *level = &hives_;
    Key *key = nullptr;
    for (const std::string &part : parts) {
        auto it = findChild(*level, part);
        if (it == level->end()) {
            level->push_back(Key{part, {}, {}});
            it = std::prev(level->end());
        }
        key = &*it;
        level = &key->subkeys;
    }
    return *key;
}

bool Registry::keyExists(std::string_view path) const {
    return find(path) != nullptr;
}

void Registry::createKey(std::string_view path) {
    create(path);
}

bool Registry::deleteKey(std::string_view path) {
    const std::vector<std::string> parts = splitPath(path);
    if (parts.size() == 1) {
        Key *hive = find(path);
        hive->values.clear();
        hive->subkeys.clear();
        return true;
    }
    const std::size_t lastSeparator = path.rfind('\\');
    Key *parent = find(path.substr(0, lastSeparator));
    if (parent == nullptr) {
        return false;
    }
    const auto it = findChild(parent->subkeys, parts.back());
    if (it == parent->subkeys.end()) {
        return false;
    }
    parent->subkeys.erase(it);
    return true;
}

std::vector<std::string> Registry::subkeyNames(std::string_view path) const {
    std::vector<std::string> names;
    if (const Key *key = find(path)) {
        for (const Key &k : key->subkeys) {
            names.push_back(k.name);
        }
    }
    return names;
}

std::optional<std::string> Registry::value(std::string_view path, std::string_view name) const {
    const Key *key = find(path);
    if (key == nullptr) {
        return std::nullopt;
    }
    for (const auto &[valueName, data] : key->values) {
        if (sameName(valueName, name)) {
            return data;
        }
    }
    return std::nullopt;
}

void Registry::setValue(std::string_view path, std::string_view name, std::string_view data) {
    Key &key = create(path);
    for (auto &[valueName, existing] : key.values) {
        if (sameName(valueName, name)) {
            existing = data;
            return;
        }
    }
    key.values.emplace_back(name, data);
}

bool Registry::deleteValue(std::string_view path, std::string_view name) {
    Key *key = find(path);
    if (key == nullptr) {
        return false;
    }
    const auto it = std::find_if(key->values.begin(), key->values.end(),
                                 [&](const auto &entry) { return sameName(entry.first, name); });
    if (it == key->values.end()) {
        return false;
    }
    key->values.erase(it);
    return true;
}

std::vector<std::string> Registry::valueNames(std::string_view path) const {
    std::vector<std::string> names;
    if (const Key *key = find(path)) {
        for (const auto &entry : key->values) {
            names.push_back(entry.first);
        }
    }
    return names;
}

std::string Registry::toText() const {
    std::string text = "; Ostreljet registry\n";
    // Depth first, parents before their subkeys, so that reading recreates the same order.
    const auto write = [&](const auto &self, const Key &key, const std::string &path, bool isHive) -> void {
        if (!isHive || !key.values.empty()) {
            text += "\n[" + path + "]\n";
            for (const auto &[name, data] : key.values) {
                text += (name.empty() ? std::string("@") : quote(name)) + "=" + quote(data) + "\n";
            }
        }
        for (const Key &sub : key.subkeys) {
            self(self, sub, path + "\\" + sub.name, false);
        }
    };
    for (const Key &hive : hives_) {
        write(write, hive, hive.name, true);
    }
    return text;
}

Registry Registry::fromText(std::string_view text) {
    Registry registry;
    std::string currentKey;
    std::size_t lineNumber = 0;
    std::size_t start = 0;
    const auto fail = [&](const std::string &what) {
        throw RegistryError("line " + std::to_string(lineNumber) + ": " + what);
    };
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string_view::npos) {
            end = text.size();
        }
        std::string_view line = text.substr(start, end - start);
        start = end + 1;
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        if (line.empty() || line.front() == ';') {
            continue;
        }
        if (line.front() == '[') {
            if (line.back() != ']' || line.size() < 3) {
                fail("a key line must be [path]");
            }
            currentKey = std::string(line.substr(1, line.size() - 2));
            try {
                registry.createKey(currentKey);
            } catch (const std::invalid_argument &e) {
                fail(e.what());
            }
            continue;
        }
        if (currentKey.empty()) {
            fail("a value comes before any [key] line");
        }
        std::string name;
        std::size_t pos = 0;
        if (line.front() == '@') {
            pos = 1;
        } else if (!unquote(line, pos, name)) {
            fail("a value name must be @ or a quoted string");
        }
        std::string data;
        if (pos >= line.size() || line[pos] != '=') {
            fail("expected = after the value name");
        }
        ++pos;
        if (!unquote(line, pos, data) || pos != line.size()) {
            fail("a value must be one quoted string");
        }
        registry.setValue(currentKey, name, data);
    }
    return registry;
}

Registry Registry::load(const std::filesystem::path &file) {
    requireAbsolute(file);
    std::error_code ec;
    if (!std::filesystem::exists(file, ec)) {
        return Registry{};
    }
    std::string contents;
    try {
        contents = files::BoundedRead::read(file, kMaximumFileBytes, "a registry file");
    } catch (const files::BoundedReadError &e) {
        throw RegistryError(std::string("cannot read the registry file: ") + e.what());
    }
    try {
        return fromText(contents);
    } catch (const RegistryError &e) {
        throw RegistryError("registry file " + file.string() + " " + e.what());
    }
}

void Registry::save(const std::filesystem::path &file) const {
    requireFolderOf(file);
    const std::string text = toText();
    try {
        files::SafeFile::write(file, [&](std::FILE *out) { std::fwrite(text.data(), 1, text.size(), out); });
    } catch (const files::FileWriteError &e) {
        throw RegistryError(e.what());
    }
}

HRESULT CLSIDFromProgID(std::string_view progId, CLSID *clsid) {
    if (clsid == nullptr) {
        return E_INVALIDARG;
    }
    if (progId.empty() || progId.find('\\') != std::string_view::npos) {
        return CO_E_CLASSSTRING;
    }
    try {
        const Registry registry = Registry::load(Registry::defaultPath());
        const std::optional<std::string> text =
            registry.value("HKEY_CLASSES_ROOT\\" + std::string(progId) + "\\CLSID");
        const std::optional<GUID> guid = text ? guidFromString(*text) : std::nullopt;
        if (!guid) {
            return CO_E_CLASSSTRING;
        }
        *clsid = *guid;
        return S_OK;
    } catch (const RegistryError &) {
        return REGDB_E_READREGDB;
    } catch (const std::invalid_argument &) {
        return CO_E_CLASSSTRING;
    }
}

HRESULT CLSIDFromProgID(LPCOLESTR progId, CLSID *clsid) {
    if (progId == nullptr) {
        return E_INVALIDARG;
    }
    return CLSIDFromProgID(wideToUtf8(progId), clsid);
}

} // namespace ostreljet::platform
