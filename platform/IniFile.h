// INI-style configuration text of the host.
//
// Qm::AttribValuePair: one "attribute<sep>value" entry, split at the first separator;
// valid() is false for a line without the separator (attribute and value then null).
// QmIniFile: named sections, each an ordered list of pairs. Text format:
// "[Section]" lines, "attribute=value" lines, lines starting with ';' or '#' are
// comments, blank lines are ignored; unreadable lines (no '=', an unclosed "[", a NUL
// byte, or an entry before any section) are skipped, never fatal; the entries under an
// unreadable section header are skipped too. Entries are split exactly at
// the first '=' with nothing trimmed (CRs ending a line are dropped); leading blanks are
// allowed before '[', ';' and '#'. A section named twice continues the first.
// toText writes "[name]" then "attribute=value" lines, a blank line between sections;
// invalid pairs are not written. save() is atomic (temporary file and rename, see
// platform/AtomicFile.h); load() of an unreadable file returns false and changes
// nothing.
// Threads: one file object belongs to one thread at a time.
#pragma once

#include "platform/AudPlatformExport.h"

#include "platform/LightweightString.h"

#include <string>
#include <vector>

namespace Qm {

class AUDPLATFORM_EXPORT AttribValuePair {
public:
    AttribValuePair() = default;
    AttribValuePair(const LightweightString<char>& line, char separator);
    AttribValuePair(const LightweightString<char>& attrib, const LightweightString<char>& value)
        : attrib_(attrib), value_(value), valid_(true) {}

    const LightweightString<char>& attrib() const { return attrib_; }
    const LightweightString<char>& value() const { return value_; }
    bool valid() const { return valid_; }

private:
    LightweightString<char> attrib_;
    LightweightString<char> value_;
    bool valid_ = false;
};

}  // namespace Qm

class AUDPLATFORM_EXPORT QmIniFile {
public:
    using Section = std::vector<Qm::AttribValuePair>;

    // The named section, created empty (at the end of the order) when absent.
    Section& section(const LightweightString<char>& name);
    // The named section, or an empty list when absent.
    const Section& section(const LightweightString<char>& name) const;
    bool hasSection(const LightweightString<char>& name) const;
    std::vector<LightweightString<char>> sectionNames() const;
    void clear() { sections_.clear(); }

    std::string toText() const;
    // Replaces the contents with the parsed text; returns the number of skipped lines.
    int fromText(const std::string& text);

    bool load(const std::string& path, std::string* error = nullptr);
    bool save(const std::string& path, std::string* error = nullptr) const;

private:
    std::vector<std::pair<LightweightString<char>, Section>> sections_;
};
