// Aud::SimpleMixState: saving to and loading from files, as an object stream record or
// as configuration text. Saves go through a temporary file and a rename, so a failed
// or interrupted save leaves the previous file as it was.
#include "AudAtoms/mixer/Aud__SimpleMixState.h"

#include "platform/AtomicFile.h"

namespace Aud {

namespace {
void setError(std::string* error, const std::string& text) {
    if (error) *error = text;
}
}  // namespace

bool SimpleMixState::saveToStreamFile(const std::string& path, std::string* error) const {
    StreamFile bytes;
    PStream s(bytes);
    if (!STRM_succeeded(STRM_hierarchyPack(s))) {
        setError(error, "cannot pack the mixer state: " + s.errorText().toStd());
        return false;
    }
    return platform::writeFileAtomically(path, bytes.bytes(), error);
}

bool SimpleMixState::loadFromStreamFile(const std::string& path, std::string* error) {
    StreamFile file;
    if (!file.open(path, false)) {
        setError(error, file.lastError());
        return false;
    }
    PStream s(file);
    const int status = STRM_hierarchyUnpack(s);
    if (STRM_succeeded(status) && s.errorText().empty()) return true;
    setError(error, s.errorText().empty() ? "damaged mixer state record in " + path : s.errorText().toStd());
    return false;
}

bool SimpleMixState::saveConfigurationFile(const std::string& path, std::string* error) const {
    // Other sections of an existing file are kept; a missing file starts empty.
    QmIniFile ini;
    ini.load(path);
    storeCompatibleConfigurationInformation(ini);
    return ini.save(path, error);
}

bool SimpleMixState::loadConfigurationFile(const std::string& path, std::string* error) {
    if (!valid_) {
        setError(error, "the mixer state has no dimensions to read " + path + " into");
        return false;
    }
    QmIniFile ini;
    if (!ini.load(path, error)) return false;
    retrieveCompatibleConfigurationInformation(ini);
    return true;
}

}  // namespace Aud
