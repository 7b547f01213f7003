// The editor's user preferences: typed values (int, double, bool) by narrow key.
// getPreference returns the stored value, converted to the asked type when it was
// stored as another one, or the default when the key is absent. save() writes a text
// file atomically (temporary file and rename); load() replaces the contents with a
// file's. Thread-safe: every call takes the store's lock.
#pragma once

#include "platform/LightweightString.h"

#include <map>
#include <mutex>
#include <string>
#include <variant>

class EditorPreferences {
public:
    int getPreference(const LightweightString<char>& key, int defaultValue) const;
    double getPreference(const LightweightString<char>& key, double defaultValue) const;
    bool getPreference(const LightweightString<char>& key, bool defaultValue) const;

    void setPreference(const LightweightString<char>& key, int value);
    void setPreference(const LightweightString<char>& key, double value);
    void setPreference(const LightweightString<char>& key, bool value);

    bool contains(const LightweightString<char>& key) const;
    void remove(const LightweightString<char>& key);
    void clear();

    std::string toText() const;
    bool fromText(const std::string& text, std::string* error = nullptr);
    bool load(const std::string& path, std::string* error = nullptr);
    bool save(const std::string& path, std::string* error = nullptr) const;

private:
    using Value = std::variant<int, double, bool>;
    template <class T>
    T get(const LightweightString<char>& key, T defaultValue) const;
    void set(const LightweightString<char>& key, Value v);

    mutable std::mutex m_;
    std::map<std::string, Value> values_;
};

EditorPreferences& prefs();
