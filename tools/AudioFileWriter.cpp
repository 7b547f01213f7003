#include "tools/AudioFileWriter.h"

#include "tools/FileFormat.h"
#include "tools/ToolError.h"

#include "AudAtoms/buffers/Aud__SampleConvert.h"
#include "AudAtoms/core/Aud__Util_AudAtoms.h"
#include "platform/Report.h"

#include <sndfile.h>

#include <algorithm>
#include <cctype>

namespace audtool {

namespace {

// The extension without its dot, in lower case ("" for none).
std::string lowerExtension(const std::filesystem::path& path) {
    std::string ext = path.extension().string();
    if (!ext.empty()) ext.erase(0, 1);
    for (char& c : ext) c = char(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

int containerFor(const std::filesystem::path& path, int sampleType) {
    const std::string ext = lowerExtension(path);
    int container = 0;
    if (ext == "wav") container = SF_FORMAT_WAV;
    else if (ext == "w64") container = SF_FORMAT_W64;
    else if (ext == "aif" || ext == "aiff" || ext == "aifc") container = SF_FORMAT_AIFF | SF_ENDIAN_LITTLE;
    else if (ext == "raw") container = SF_FORMAT_RAW;
    else
        throw InputError(path.string() + ": unknown output file type '." + ext +
                         "' (use .wav, .w64, .aif, .aiff or .raw)");
    if (sampleType == 5 && ext != "raw")
        throw InputError(path.string() +
                         ": 24-bit samples in 4-byte words (24-unpacked) are written to .raw files only");
    return container;
}

}  // namespace

int exportSampleType(const std::string& text) {
    int wanted = -1;
    if (text == "16") wanted = 1;
    else if (text == "24") wanted = 2;
    else if (text == "24-unpacked") wanted = 5;
    for (int choice : Aud::getExportChoicesAsInt())
        if (choice == wanted) return choice;
    throw InputError("unknown sample type '" + text + "' (choose 16, 24 or 24-unpacked)");
}

std::string exportSampleTypeText(int sampleType) {
    switch (sampleType) {
    case 1: return "16";
    case 2: return "24";
    case 5: return "24-unpacked";
    default: return std::to_string(sampleType);
    }
}

ExportConverter::ExportConverter(int sampleType, unsigned channels, unsigned maxFrames)
    : sampleType_(sampleType), channels_(channels), maxFrames_(maxFrames),
      interleaver_(sampleType, channels,
                   sampleType == 0 || sampleType == 7 ? Aud::keAudioDataTypeFloat : Aud::keAudioDataTypePCM) {
    const unsigned stride = Aud::sampleTypeStride(sampleType);
    planes_.assign(channels, std::vector<unsigned char>(std::size_t(maxFrames) * stride));
    for (auto& p : planes_) planePtrs_.push_back(p.data());
}

const unsigned char* ExportConverter::convert(const float* const* channels, unsigned frames, std::size_t& bytes) {
    frames = std::min(frames, maxFrames_);
    bytes = 0;
    if (frames == 0) return nullptr;
    for (unsigned c = 0; c < channels_; ++c)
        Aud::SampleConvert::fromFloat(sampleType_, channels[c], frames, planes_[c].data());
    AudioInterleaver::eStatus status;
    if (sampleType_ == 5) {
        // Each 4-byte word reports an assertion line; keep them off standard output.
        const platform::LogCapture quiet(platform::LogCapture::AssertionEcho::silenced);
        status = interleaver_.writeSamplesPlanar(planePtrs_, frames);
    } else {
        status = interleaver_.writeSamplesPlanar(planePtrs_, frames);
    }
    if (status != AudioInterleaver::kSuccess)
        throw OutputError("the interleaver could not write a block (status " + std::to_string(int(status)) + ")");
    bytes = std::size_t(frames) * interleaver_.getAudioFormat().bytesPerGroup();
    return interleaver_.getScratch();
}

AudioFileWriter::AudioFileWriter(const std::filesystem::path& path, int sampleType, unsigned channels, unsigned rate,
                                 unsigned maxFrames)
    : converter_(sampleType, channels, maxFrames) {
    SF_INFO info{};
    info.samplerate = static_cast<int>(rate);
    info.channels = static_cast<int>(channels);
    info.format = containerFor(path, sampleType) | encodingForSampleType(sampleType);
    if (!sf_format_check(&info))
        throw InputError(path.string() + ": the container cannot hold " + std::to_string(channels) + " channels of " +
                         exportSampleTypeText(sampleType) + "-bit samples at " + std::to_string(rate) + " Hz");
    out_ = std::make_unique<SndfileOutput>(path, info);
    if (sf_command(out_->handle(), SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_TRUE)
        throw OutputError(path.string() + ": the container wants big-endian samples; the library writes little-endian");
}

AudioFileWriter::~AudioFileWriter() = default;

void AudioFileWriter::write(const float* const* channels, unsigned frames) {
    std::size_t bytes = 0;
    const unsigned char* data = converter_.convert(channels, frames, bytes);
    if (bytes && sf_write_raw(out_->handle(), data, sf_count_t(bytes)) != sf_count_t(bytes))
        throw OutputError(out_->target().string() + ": write failed: " + out_->reason());
}

void AudioFileWriter::commit() { out_->commit(); }

}  // namespace audtool
