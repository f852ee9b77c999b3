#pragma once

#include "ostreljet/platform/Guid.hpp"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// The system registry: a tree of named keys under fixed hives, each key holding string values, kept in
// one text file.
//
// Key paths are written with backslashes, hive first: "HKEY_CLASSES_ROOT\CLSID\{...}". The hives are
// HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS and HKEY_CURRENT_CONFIG, also
// spelt HKCR, HKCU, HKLM, HKU and HKCC; they always exist and are never deleted. HKEY_CLASSES_ROOT is a
// hive of its own, not a view merged from the machine's and the user's class keys. Key and value names
// compare without regard to ASCII case and keep the case they were created with. Each key has an
// optional default value (the empty name) and named values; all data are UTF-8 strings.
//
// File format (UTF-8, line based): blank lines and lines starting with ';' are ignored; a line
// "[path]" opens a key (created with its parents); the lines after it give its values as
// @="data" for the default value or "name"="data" for a named one. Inside quotes, \\ is a backslash,
// \" a quote, \n a line feed and \r a carriage return. Every key is written, empty ones included.
namespace ostreljet::platform {

class RegistryError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Registry {
public:
    // Environment variable naming the registry file.
    static constexpr const char *pathVariable = "OSTRELJET_REGISTRY";

    // The file named by OSTRELJET_REGISTRY, else $XDG_CONFIG_HOME/ostreljet/registry, else
    // $HOME/.config/ostreljet/registry; only absolute paths count. Empty when none is set, and then
    // noDefaultPathReason() says which variable to set.
    static std::filesystem::path defaultPath();
    static std::string noDefaultPathReason();

    // An exclusive lock on the registry file, held from construction to destruction, through a lock
    // file beside it (FILE.lock, created with its folder). Hold it around a load, change and save so
    // that parallel writers never lose each other's changes. RegistryError when it cannot be taken.
    class FileLock {
    public:
        explicit FileLock(const std::filesystem::path &file);
        ~FileLock();
        FileLock(const FileLock &) = delete;
        FileLock &operator=(const FileLock &) = delete;

    private:
        int fd_ = -1; // descriptor of the lock file
    };

    // The most a registry file may hold (it holds a few kilobytes); a larger file or device is refused.
    static constexpr std::size_t kMaximumFileBytes = 4 * 1024 * 1024;
    // Reads a registry file; a missing file is an empty registry. RegistryError when it cannot be read,
    // is over kMaximumFileBytes, is malformed (naming the file and line) or is not named by an absolute
    // path.
    static Registry load(const std::filesystem::path &file);
    // Writes the registry through files::SafeFile (a temporary file beside it, then a rename; a symbolic
    // link is written through); the folder is created if missing. RegistryError on failure, the old
    // file intact.
    void save(const std::filesystem::path &file) const;

    // The file format, both ways.
    static Registry fromText(std::string_view text);
    std::string toText() const;

    // Key operations. A malformed path (unknown hive, empty name) throws std::invalid_argument.
    bool keyExists(std::string_view path) const;
    void createKey(std::string_view path);
    // Deletes the key with its subkeys and values; false when absent. A hive is emptied, not deleted.
    bool deleteKey(std::string_view path);
    std::vector<std::string> subkeyNames(std::string_view path) const;

    // Value operations; the empty name is the default value. setValue creates the key when needed.
    std::optional<std::string> value(std::string_view path, std::string_view name = {}) const;
    void setValue(std::string_view path, std::string_view name, std::string_view data);
    bool deleteValue(std::string_view path, std::string_view name);
    std::vector<std::string> valueNames(std::string_view path) const;

private:
    struct Key {
        std::string name;                                        // as created
        std::vector<std::pair<std::string, std::string>> values; // name ("" = default) and data
        std::vector<Key> subkeys;                                // in creation order
    };

    const Key *find(std::string_view path) const;
    Key *find(std::string_view path);
    Key &create(std::string_view path);

    std::vector<Key> hives_ = initialHives();
    static std::vector<Key> initialHives();
};

// Reads the class identifier registered for a programmatic identifier, as a host resolves a class name:
// the default value of HKEY_CLASSES_ROOT\<progId>\CLSID in the registry at Registry::defaultPath().
// CO_E_CLASSSTRING when it is not registered or not an identifier, REGDB_E_READREGDB when the file
// cannot be read.
HRESULT CLSIDFromProgID(std::string_view progId, CLSID *clsid);
HRESULT CLSIDFromProgID(LPCOLESTR progId, CLSID *clsid);

} // namespace ostreljet::platform
