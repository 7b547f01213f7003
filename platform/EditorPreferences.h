// The editor's user preferences: typed values (int, double, bool) by narrow key.
// getPreference returns the stored value, converted to the asked type when it was
// stored as another one, or the default when the key is absent. Conversions: bool to
// int or double gives 0 or 1; int or double to bool is "not zero"; int to double is
// exact; double to int truncates toward zero and saturates at INT_MIN / INT_MAX; a
// stored NaN asked for as int or bool gives the default.
// File format: a "#" comment line, then one line per key in key order,
// "<key>=<type>:<value>" with type i (int), d (double, 17 significant digits, exact
// round trip) or b (bool, 0 or 1); in the key, "\", newline, "=" and "#" are written
// as "\\", "\n", "\e" and "\h". A CR before the newline is accepted on reading.
// save() writes the file atomically (temporary file beside it, flushed, renamed over
// the old one): a failed or interrupted save leaves the old file as it was and no
// temporary file. load() replaces the whole contents with the file's, or, when the
// file cannot be read or has an unreadable line, changes nothing and returns false
// with the path and line in *error.
// Threads: every call takes the store's lock; any thread may call anything.
#pragma once

#include "platform/AudPlatformExport.h"

#include "platform/LightweightString.h"

#include <map>
#include <mutex>
#include <string>
#include <variant>

class AUDPLATFORM_EXPORT EditorPreferences {
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

AUDPLATFORM_EXPORT EditorPreferences& prefs();
