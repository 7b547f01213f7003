#include "tools/AudioSource.h"

#include "tools/FileCheck.h"
#include "tools/ToolError.h"

#include <sndfile.h>

#include <algorithm>
#include <cstring>

namespace audtool {

SndfileSource::SndfileSource(const std::filesystem::path& path) : path_(path.string()) {
    requireReadableFile(path, "an audio file");

    SF_INFO info{};
    file_.reset(sf_open(path.c_str(), SFM_READ, &info));
    if (!file_) {
        const std::string why = sf_strerror(nullptr);
        throw InputError(path_ + ": cannot read as an audio file: " + why);
    }
    format_.sfFormat = info.format;
    format_.channels = static_cast<unsigned>(info.channels);
    format_.rate = static_cast<unsigned>(info.samplerate);
    format_.frames = info.frames;
    format_.sampleType = sampleTypeForEncoding(info.format & SF_FORMAT_SUBMASK);
    if (format_.sampleType < 0)
        throw InputError(path_ + ": unsupported format " + format_.containerName() + ", " + format_.encodingName() +
                         " (readable: 8, 16, 24 and 32-bit integer PCM, 32 and 64-bit float)");
    if (info.channels < 1 || info.channels > 32)
        throw InputError(path_ + ": unsupported channel count " + std::to_string(info.channels) + " (1 to 32)");
    if (format_.stride() > 1) {
        // The host is little-endian: raw data that needs swapping is big-endian.
        format_.bigEndian = sf_command(file_.get(), SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_TRUE;
    }
}

SndfileSource::~SndfileSource() = default;

std::vector<int> SndfileSource::channelMap() const {
    std::vector<int> map(format_.channels, 0);
    if (sf_command(file_.get(), SFC_GET_CHANNEL_MAP_INFO, map.data(), int(map.size() * sizeof(int))) != SF_TRUE)
        return {};
    return map;
}

void SndfileSource::Closer::operator()(SNDFILE* f) const { sf_close(f); }

unsigned SndfileSource::readFrames(unsigned char* dst, unsigned frames) {
    const sf_count_t want = sf_count_t(frames) * format_.frameBytes();
    const sf_count_t got = sf_read_raw(file_.get(), dst, want);
    if (got < 0) throw InputError(path_ + ": read error: " + sf_strerror(file_.get()));
    return static_cast<unsigned>(got / format_.frameBytes());
}

bool SndfileSource::seek(std::int64_t frame) {
    const sf_count_t to = sf_count_t(std::clamp<std::int64_t>(frame, 0, format_.frames));
    return sf_seek(file_.get(), to, SEEK_SET) == to;
}

MemorySource::MemorySource(std::string name, const FileFormat& format, std::vector<unsigned char> bytes,
                           std::int64_t loopFrames)
    : name_(std::move(name)), format_(format), bytes_(std::move(bytes)) {
    const std::int64_t own = static_cast<std::int64_t>(bytes_.size() / format_.frameBytes());
    format_.frames = loopFrames > own && own > 0 ? loopFrames : own;
    left_ = format_.frames;
}

unsigned MemorySource::readFrames(unsigned char* dst, unsigned frames) {
    const std::size_t frameBytes = format_.frameBytes();
    unsigned done = 0;
    while (done < frames && left_ > 0) {
        if (position_ >= bytes_.size()) position_ = 0;
        std::size_t n = std::min<std::size_t>((bytes_.size() - position_) / frameBytes, frames - done);
        n = std::min<std::size_t>(n, static_cast<std::size_t>(left_));
        std::memcpy(dst + std::size_t(done) * frameBytes, bytes_.data() + position_, n * frameBytes);
        position_ += n * frameBytes;
        done += static_cast<unsigned>(n);
        left_ -= static_cast<std::int64_t>(n);
    }
    return done;
}

bool MemorySource::seek(std::int64_t frame) {
    const std::int64_t own = static_cast<std::int64_t>(bytes_.size() / format_.frameBytes());
    frame = std::clamp<std::int64_t>(frame, 0, format_.frames);
    position_ = own > 0 ? std::size_t(frame % own) * format_.frameBytes() : 0;
    left_ = format_.frames - frame;
    return true;
}

}  // namespace audtool
