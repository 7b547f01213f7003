#include "platform/Streams.h"

#include "platform/AtomicFile.h"

#include <algorithm>
#include <cstring>

StreamFile::~StreamFile() { close(); }

bool StreamFile::open(const std::string& path, bool forWriting) {
    close();
    data_.clear();
    pos_ = 0;
    failed_ = false;
    error_.clear();
    if (forWriting) {
        writing_ = true;
        path_ = path;
        return true;
    }
    return platform::readWholeFile(path, data_, &error_);
}

bool StreamFile::close() {
    if (!writing_) return true;
    writing_ = false;
    return platform::writeFileAtomically(path_, data_, &error_);
}

void StreamFile::seek(std::uint32_t pos) { pos_ = std::min<std::uint32_t>(pos, std::uint32_t(data_.size())); }

void StreamFile::writeBytes(const void* data, std::uint32_t n) {
    if (n == 0) return;
    const auto* p = static_cast<const char*>(data);
    const std::size_t overlap = std::min<std::size_t>(n, data_.size() - pos_);
    std::memcpy(data_.data() + pos_, p, overlap);
    data_.append(p + overlap, n - overlap);
    pos_ += n;
}

bool StreamFile::readBytes(void* data, std::uint32_t n) {
    if (n == 0) return true;
    if (n > data_.size() - pos_) {
        std::memset(data, 0, n);
        pos_ = std::uint32_t(data_.size());
        failed_ = true;
        return false;
    }
    std::memcpy(data, data_.data() + pos_, n);
    pos_ += n;
    return true;
}

namespace {
template <class T>
void putLE(StreamFile& f, T v) {
    unsigned char b[sizeof(T)];
    for (std::size_t i = 0; i < sizeof(T); ++i) b[i] = static_cast<unsigned char>(std::uint64_t(v) >> (8 * i));
    f.writeBytes(b, sizeof(T));
}
template <class T>
T getLE(StreamFile& f) {
    unsigned char b[sizeof(T)];
    if (!f.readBytes(b, sizeof(T))) return T(0);
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) v |= std::uint64_t(b[i]) << (8 * i);
    return static_cast<T>(v);
}
}  // namespace

std::uint8_t StreamFile::getCookedChar() { return getLE<std::uint8_t>(*this); }
void StreamFile::setUnsignedShort(std::uint16_t v) { putLE(*this, v); }
std::uint16_t StreamFile::getUnsignedShort() { return getLE<std::uint16_t>(*this); }
void StreamFile::setLong(std::int32_t v) { putLE(*this, std::uint32_t(v)); }
std::int32_t StreamFile::getLong() { return std::int32_t(getLE<std::uint32_t>(*this)); }
void StreamFile::setUnsignedLong(std::uint32_t v) { putLE(*this, v); }
std::uint32_t StreamFile::getUnsignedLong() { return getLE<std::uint32_t>(*this); }

void StreamFile::setFloat(float v) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, 4);
    putLE(*this, bits);
}

float StreamFile::getFloat() {
    const std::uint32_t bits = getLE<std::uint32_t>(*this);
    float v;
    std::memcpy(&v, &bits, 4);
    return v;
}

LightweightString<char> StreamFile::getString() {
    const std::size_t nul = data_.find('\0', pos_);
    if (nul == std::string::npos) {
        std::string s = data_.substr(pos_);
        pos_ = std::uint32_t(data_.size());
        failed_ = true;
        return LightweightString<char>(s);
    }
    std::string s = data_.substr(pos_, nul - pos_);
    pos_ = std::uint32_t(nul + 1);
    return LightweightString<char>(s);
}

std::string StreamFile::readBinary() {
    const std::uint32_t n = getUnsignedLong();
    if (failed_) return {};
    if (n > data_.size() - pos_) {
        pos_ = std::uint32_t(data_.size());
        failed_ = true;
        return {};
    }
    std::string s = data_.substr(pos_, n);
    pos_ += n;
    return s;
}

void PStream::writeBinary(const void* data, unsigned size, bool withLength, bool) {
    if (size == 0) {
        const char* s = static_cast<const char*>(data);
        if (!s) s = "";
        file_.writeBytes(s, std::uint32_t(std::strlen(s) + 1));
        return;
    }
    if (!data) {
        appendError("writeBinary: no data for a block of " + std::to_string(size) + " bytes. ");
        failed_ = true;
        return;
    }
    if (withLength) file_.setUnsignedLong(size);
    file_.writeBytes(data, size);
}
