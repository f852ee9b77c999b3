#pragma once

#include "ostreljet/platform/Registry.hpp"

#include <map>

// Runs registration scripts against the registry, as the platform's registrar does for a component's
// self-registration.
//
// Script syntax: one or more hives, each `HIVE { keys }` (HKCR, HKEY_CLASSES_ROOT and the other hive
// names of Registry). A key is `[NoRemove | ForceRemove | Delete] name [= s 'default'] [{ body }]`, and a
// body holds keys and named values `val name = s 'data'`. Words are separated by blanks, so braces and
// '=' stand alone. A name is a bare word (e.g. CLSID or {guid}) or a quoted string; in quoted strings ''
// stands for one quote. Keywords are matched without regard to case and only in bare form; only string values
// (`s`) are supported. In names and data, %NAME% is replaced by the replacement registered for NAME
// (matched without regard to case) and %% by a single %.
//
// Registering creates every key (ForceRemove first deletes the key with its subtree, Delete only
// deletes it) and sets its values. Unregistering walks the same tree: a ForceRemove key is deleted with
// its subtree; a plain key has its scripted subkeys and values removed and is then deleted if no subkey
// remains; a NoRemove key (and a hive) is never deleted, only its scripted contents; keys that are
// absent are passed over.
namespace ostreljet::platform {

// A malformed script; what() names the line and column and what was expected.
class RegistrarScriptError : public std::runtime_error {
public:
    RegistrarScriptError(int line, int column, const std::string &message);
    int line() const { return line_; }
    int column() const { return column_; }

private:
    int line_;   // 1-based line of the offending token
    int column_; // 1-based column of the offending token
};

class Registrar {
public:
    // A registrar working on the registry file `registryFile`.
    explicit Registrar(std::filesystem::path registryFile = Registry::defaultPath());

    // Registers the text substituted for %key% (e.g. "MODULE" with the library's full path).
    HRESULT AddReplacement(const std::string &key, const std::string &item);
    HRESULT ClearReplacements();

    // Under the registry file's lock, reads it, applies the script and writes it back atomically. S_OK on
    // success; DISP_E_EXCEPTION for a malformed script and E_FAIL when the file cannot be read or written,
    // with the reason in lastError(). The file is not changed on failure.
    HRESULT StringRegister(std::string_view script);
    HRESULT StringUnregister(std::string_view script);
    const std::string &lastError() const { return lastError_; }

    // The same on a registry in memory; RegistrarScriptError for a malformed script (nothing applied).
    void registerScript(std::string_view script, Registry &registry) const;
    void unregisterScript(std::string_view script, Registry &registry) const;

    const std::filesystem::path &registryFile() const { return registryFile_; }

private:
    HRESULT run(std::string_view script, bool registering);

    std::filesystem::path registryFile_;              // the registry file written by String(Un)Register
    std::map<std::string, std::string> replacements_; // upper-cased key -> replacement text
    std::string lastError_;                           // reason of the last failure, empty after success
};

} // namespace ostreljet::platform
