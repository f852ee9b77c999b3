#include "ostreljet/platform/Registrar.hpp"

#include <algorithm>
#include <cctype>
#include <optional>
#include <utility>

namespace ostreljet::platform {

namespace {

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
    return text;
}

struct Token {
    enum class Kind { Word, Quoted, OpenBrace, CloseBrace, Equals, End };
    Kind kind = Kind::End;
    std::string text; // the word or the unquoted string
    int line = 0;     // 1-based
    int column = 0;   // 1-based

    bool isKeyword(const char *keyword) const {
        return kind == Kind::Word && upperCase(text) == upperCase(keyword);
    }

    std::string describe() const {
        switch (kind) {
        case Kind::Word:
            return "'" + text + "'";
        case Kind::Quoted:
            return "the string '" + text + "'";
        case Kind::OpenBrace:
            return "'{'";
        case Kind::CloseBrace:
            return "'}'";
        case Kind::Equals:
            return "'='";
        case Kind::End:
            break;
        }
        return "the end of the script";
    }
};

std::vector<Token> tokenize(std::string_view script) {
    std::vector<Token> tokens;
    int line = 1;
    int column = 1;
    std::size_t i = 0;
    const auto advance = [&]() {
        if (script[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
        ++i;
    };
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (i < script.size()) {
        if (isBlank(script[i])) {
            advance();
            continue;
        }
        Token token;
        token.line = line;
        token.column = column;
        if (script[i] == '\'') {
            token.kind = Token::Kind::Quoted;
            advance();
            while (true) {
                if (i >= script.size()) {
                    throw RegistrarScriptError(token.line, token.column, "unterminated quoted string");
                }
                if (script[i] == '\'') {
                    advance();
                    if (i < script.size() && script[i] == '\'') {
                        token.text.push_back('\'');
                        advance();
                        continue;
                    }
                    break;
                }
                token.text.push_back(script[i]);
                advance();
            }
        } else {
            // Words run to the next blank, so that braced identifiers are names; lone braces and '='
            // are punctuation.
            while (i < script.size() && !isBlank(script[i])) {
                token.text.push_back(script[i]);
                advance();
            }
            token.kind = token.text == "{"   ? Token::Kind::OpenBrace
                         : token.text == "}" ? Token::Kind::CloseBrace
                         : token.text == "=" ? Token::Kind::Equals
                                             : Token::Kind::Word;
        }
        tokens.push_back(std::move(token));
    }
    Token end;
    end.line = line;
    end.column = column;
    tokens.push_back(end);
    return tokens;
}

enum class KeyMode { Plain, NoRemove, ForceRemove, Delete };

struct ScriptKey {
    KeyMode mode = KeyMode::Plain;
    std::string name;                                        // after replacement
    std::optional<std::string> defaultValue;                 // `= s '...'`
    std::vector<std::pair<std::string, std::string>> values; // `val name = s '...'`
    std::vector<ScriptKey> subkeys;
};

// Builds the key tree of a script, hives at the top (each a NoRemove key named by its full hive name).
class Parser {
public:
    Parser(std::string_view script, const std::map<std::string, std::string> &replacements)
        : tokens_(tokenize(script)), replacements_(replacements) {}

    std::vector<ScriptKey> parseScript() {
        std::vector<ScriptKey> hives;
        while (peek().kind != Token::Kind::End) {
            const Token &hive = next();
            ScriptKey root;
            root.mode = KeyMode::NoRemove;
            root.name = hiveName(hive);
            expect(Token::Kind::OpenBrace, "'{' after the hive " + hive.text);
            parseBody(root, hive);
            hives.push_back(std::move(root));
        }
        return hives;
    }

private:
    const Token &peek() const { return tokens_[position_]; }
    const Token &next() {
        const Token &token = tokens_[position_];
        if (token.kind != Token::Kind::End) {
            ++position_;
        }
        return token;
    }

    [[noreturn]] static void fail(const Token &at, const std::string &message) {
        throw RegistrarScriptError(at.line, at.column, message);
    }

    const Token &expect(Token::Kind kind, const std::string &what) {
        const Token &token = next();
        if (token.kind != kind) {
            fail(token, "expected " + what + " but found " + token.describe());
        }
        return token;
    }

    static std::string hiveName(const Token &token) {
        static const std::pair<const char *, const char *> hives[] = {{"HKCR", "HKEY_CLASSES_ROOT"},
                                                                      {"HKCU", "HKEY_CURRENT_USER"},
                                                                      {"HKLM", "HKEY_LOCAL_MACHINE"},
                                                                      {"HKU", "HKEY_USERS"},
                                                                      {"HKCC", "HKEY_CURRENT_CONFIG"}};
        for (const auto &[abbreviation, full] : hives) {
            if (token.isKeyword(abbreviation) || token.isKeyword(full)) {
                return full;
            }
        }
        fail(token, "expected a hive such as HKCR but found " + token.describe());
    }

    // Replaces %NAME% by its replacement and %% by %.
    std::string substitute(const Token &token) const {
        std::string out;
        const std::string &text = token.text;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] != '%') {
                out.push_back(text[i]);
                continue;
            }
            const std::size_t close = text.find('%', i + 1);
            if (close == std::string::npos) {
                fail(token, "a % in " + token.describe() + " is not closed by another %");
            }
            const std::string key = text.substr(i + 1, close - i - 1);
            if (key.empty()) {
                out.push_back('%');
            } else {
                const auto it = replacements_.find(upperCase(key));
                if (it == replacements_.end()) {
                    fail(token, "no replacement is registered for %" + key + "%");
                }
                out += it->second;
            }
            i = close;
        }
        return out;
    }

    std::string name(const Token &token) const {
        if (token.kind != Token::Kind::Word && token.kind != Token::Kind::Quoted) {
            fail(token, "expected a key name but found " + token.describe());
        }
        std::string text = substitute(token);
        if (text.empty()) {
            fail(token, "a key or value name is empty");
        }
        if (text.find('\\') != std::string::npos) {
            fail(token, "the name '" + text + "' contains a backslash");
        }
        return text;
    }

    // Reads `s 'data'` after an '='.
    std::string stringValue() {
        const Token &type = next();
        if (type.kind == Token::Kind::Word && !type.isKeyword("s")) {
            fail(type, "the value type " + type.describe() + " is not supported; only s (string) is");
        }
        if (type.kind != Token::Kind::Word) {
            fail(type, "expected the value type s but found " + type.describe());
        }
        const Token &data = next();
        if (data.kind != Token::Kind::Quoted) {
            fail(data, "expected a quoted string after s but found " + data.describe());
        }
        return substitute(data);
    }

    // Reads keys and values up to the '}' that closes `owner`.
    void parseBody(ScriptKey &key, const Token &owner) {
        while (true) {
            const Token &token = peek();
            if (token.kind == Token::Kind::CloseBrace) {
                next();
                return;
            }
            if (token.kind == Token::Kind::End) {
                fail(token, "expected '}' to close " + owner.describe() + " of line " +
                                std::to_string(owner.line) + " but found the end of the script");
            }
            if (token.isKeyword("val")) {
                next();
                std::string valueName = name(next());
                expect(Token::Kind::Equals, "'=' after the value name " + valueName);
                key.values.emplace_back(std::move(valueName), stringValue());
            } else {
                key.subkeys.push_back(parseKey());
            }
        }
    }

    ScriptKey parseKey() {
        ScriptKey key;
        if (peek().isKeyword("NoRemove")) {
            key.mode = KeyMode::NoRemove;
        } else if (peek().isKeyword("ForceRemove")) {
            key.mode = KeyMode::ForceRemove;
        } else if (peek().isKeyword("Delete")) {
            key.mode = KeyMode::Delete;
        }
        if (key.mode != KeyMode::Plain) {
            next();
        }
        const Token &nameToken = next();
        if (nameToken.isKeyword("val") || nameToken.isKeyword("NoRemove") ||
            nameToken.isKeyword("ForceRemove") || nameToken.isKeyword("Delete")) {
            fail(nameToken, "expected a key name but found the keyword " + nameToken.describe());
        }
        key.name = name(nameToken);
        if (peek().kind == Token::Kind::Equals) {
            next();
            key.defaultValue = stringValue();
        }
        if (peek().kind == Token::Kind::OpenBrace) {
            next();
            parseBody(key, nameToken);
        }
        return key;
    }

    std::vector<Token> tokens_;
    std::size_t position_ = 0;
    const std::map<std::string, std::string> &replacements_;
};

void registerKey(const ScriptKey &key, const std::string &path, Registry &registry) {
    if (key.mode == KeyMode::Delete || key.mode == KeyMode::ForceRemove) {
        registry.deleteKey(path);
        if (key.mode == KeyMode::Delete) {
            return;
        }
    }
    registry.createKey(path);
    if (key.defaultValue) {
        registry.setValue(path, "", *key.defaultValue);
    }
    for (const auto &[name, data] : key.values) {
        registry.setValue(path, name, data);
    }
    for (const ScriptKey &sub : key.subkeys) {
        registerKey(sub, path + "\\" + sub.name, registry);
    }
}

void unregisterKey(const ScriptKey &key, const std::string &path, Registry &registry) {
    if (key.mode == KeyMode::Delete || !registry.keyExists(path)) {
        return;
    }
    if (key.mode == KeyMode::ForceRemove) {
        registry.deleteKey(path);
        return;
    }
    for (const ScriptKey &sub : key.subkeys) {
        unregisterKey(sub, path + "\\" + sub.name, registry);
    }
    for (const auto &value : key.values) {
        registry.deleteValue(path, value.first);
    }
    if (key.mode != KeyMode::NoRemove && registry.subkeyNames(path).empty()) {
        registry.deleteKey(path);
    }
}

} // namespace

RegistrarScriptError::RegistrarScriptError(int line, int column, const std::string &message)
    : std::runtime_error("registrar script line " + std::to_string(line) + ", column " +
                         std::to_string(column) + ": " + message),
      line_(line), column_(column) {}

Registrar::Registrar(std::filesystem::path registryFile) : registryFile_(std::move(registryFile)) {}

HRESULT Registrar::AddReplacement(const std::string &key, const std::string &item) {
    if (key.empty() || key.find('%') != std::string::npos) {
        return E_INVALIDARG;
    }
    replacements_[upperCase(key)] = item;
    return S_OK;
}

HRESULT Registrar::ClearReplacements() {
    replacements_.clear();
    return S_OK;
}

void Registrar::registerScript(std::string_view script, Registry &registry) const {
    for (const ScriptKey &hive : Parser(script, replacements_).parseScript()) {
        registerKey(hive, hive.name, registry);
    }
}

void Registrar::unregisterScript(std::string_view script, Registry &registry) const {
    for (const ScriptKey &hive : Parser(script, replacements_).parseScript()) {
        unregisterKey(hive, hive.name, registry);
    }
}

HRESULT Registrar::StringRegister(std::string_view script) {
    return run(script, true);
}

HRESULT Registrar::StringUnregister(std::string_view script) {
    return run(script, false);
}

HRESULT Registrar::run(std::string_view script, bool registering) {
    lastError_.clear();
    try {
        const Registry::FileLock lock(registryFile_);
        Registry registry = Registry::load(registryFile_);
        if (registering) {
            registerScript(script, registry);
        } else {
            unregisterScript(script, registry);
        }
        registry.save(registryFile_);
        return S_OK;
    } catch (const RegistrarScriptError &e) {
        lastError_ = e.what();
        return DISP_E_EXCEPTION;
    } catch (const RegistryError &e) {
        lastError_ = e.what();
        return E_FAIL;
    }
}

} // namespace ostreljet::platform
