// Every PCM and float encoding libsndfile writes (8, 16, 24 and 32-bit integer, 32 and
// 64-bit float) in WAV, AIFF and W64, in each byte order the container allows, one and
// two channels: a file made here with libsndfile decodes through the tool's path (raw
// frames, the library's interleaver split and float conversion) to libsndfile's own
// decode within one least significant bit of the encoding.
#include "tools/AudioSource.h"
#include "tools/BlockDecoder.h"
#include "tools/ToolError.h"

#include "support/ToolTestSupport.h"

#include <cmath>
#include <random>
#include <set>
#include <tuple>

using namespace audtool;
using tooltest::ScratchDir;

namespace {

struct Encoding {
    int sf;
    const char* name;
    int sampleType;
    double lsb;  // one least significant bit, full scale 1.0 (0: relative, see below)
};

const Encoding kEncodings[] = {
    {SF_FORMAT_PCM_S8, "s8", 3, 1.0 / 128},
    {SF_FORMAT_PCM_U8, "u8", 4, 1.0 / 128},
    {SF_FORMAT_PCM_16, "16", 1, 1.0 / 32768},
    {SF_FORMAT_PCM_24, "24", 2, 1.0 / 8388608},
    {SF_FORMAT_PCM_32, "32", 6, 1.0 / 2147483648.0},
    {SF_FORMAT_FLOAT, "float", 0, 0},
    {SF_FORMAT_DOUBLE, "double", 7, 0},
};

struct Container {
    int sf;
    const char* ext;
};

const Container kContainers[] = {{SF_FORMAT_WAV, "wav"}, {SF_FORMAT_AIFF, "aiff"}, {SF_FORMAT_W64, "w64"}};
// Full-scale extremes, silence, small values and noise.
std::vector<double> signal(int channels, int frames) {
    std::vector<double> x;
    std::mt19937 rng(42);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    const double fixed[] = {0.0, 1.0, -1.0, 0.5, -0.5, 1e-4, -1e-4, 0.999, -0.999};
    for (int i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            x.push_back(i < 9 ? fixed[(i + c) % 9] : u(rng) * (c ? 0.25 : 0.9));
    return x;
}

// Decodes a whole file through the tool's path, in blocks of an awkward size.
std::vector<float> decodeWithTool(const std::string& path, FileFormat* format = nullptr) {
    SndfileSource source(path);
    if (format) *format = source.format();
    BlockDecoder decoder(source, 1001);
    std::vector<float> out;
    while (const unsigned n = decoder.decode(source, 1001))
        for (unsigned i = 0; i < n; ++i)
            for (unsigned c = 0; c < decoder.channels(); ++c) out.push_back(decoder.channel(c)[i]);
    return out;
}

} // namespace

namespace {

// Writes the signal if libsndfile writes this format; the byte order it chose in *big.
bool tryWrite(const std::string& path, int format, int channels, bool* big) {
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = channels;
    info.format = format;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) return false;
    const std::vector<double> x = signal(channels, 2500);
    sf_writef_double(f, x.data(), 2500);
    *big = sf_command(f, SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_TRUE;
    sf_close(f);
    return true;
}

std::vector<float> readFloats(const std::string& path) {
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    std::vector<float> v(std::size_t(info.frames) * info.channels);
    if (f) {
        sf_readf_float(f, v.data(), info.frames);
        sf_close(f);
    }
    return v;
}

} // namespace

TEST(ToolFormats, EveryEncodingContainerOrderAndChannelCountDecodesWithinOneLsb) {
    ScratchDir dir;
    std::set<std::tuple<int, int, bool, int>> seen;
    int checked = 0, bigEndianChecked = 0;
    for (const Container& ct : kContainers)
        for (const Encoding& enc : kEncodings)
            for (int order : {SF_ENDIAN_FILE, SF_ENDIAN_LITTLE, SF_ENDIAN_BIG})
                for (int channels : {1, 2}) {
                    const std::string path = dir.file(std::string(enc.name) + "-" + std::to_string(order >> 28) + "-" +
                                                      std::to_string(channels) + "." + ct.ext);
                    bool big = false;
                    if (!tryWrite(path, ct.sf | enc.sf | order, channels, &big)) continue;
                    if (!seen.insert({ct.sf, enc.sf, big, channels}).second) continue;
                    // One channel of big-endian 64-bit floats is refused (tested below).
                    if (channels == 1 && big && enc.sampleType == 7) continue;
                    const tooltest::Audio ref = tooltest::readAudio(path);
                    const std::vector<float> refFloat = readFloats(path);
                    FileFormat fmt;
                    const std::vector<float> ours = decodeWithTool(path, &fmt);
                    SCOPED_TRACE(path + (big ? " (big-endian)" : " (little-endian)"));
                    EXPECT_EQ(fmt.sampleType, enc.sampleType);
                    EXPECT_EQ(fmt.bigEndian, big && enc.sampleType != 3 && enc.sampleType != 4);
                    ASSERT_EQ(ours.size(), ref.samples.size());
                    ASSERT_EQ(ours.size(), refFloat.size());
                    for (std::size_t i = 0; i < ours.size(); ++i) {
                        const double theirs = ref.samples[i];
                        // One step of the encoding; the library's buffers are floats, so a
                        // 32-bit integer also gets the float's own step at that level.
                        const double floatStep = std::ldexp(1.0, std::ilogb(std::max(std::fabs(theirs), 1e-30)) - 23);
                        const double lsb = enc.sampleType == 6 ? std::max(enc.lsb, floatStep) : enc.lsb ? enc.lsb : floatStep;
                        ASSERT_LE(std::fabs(double(ours[i]) - theirs), lsb) << "sample " << i << ": ours " << ours[i]
                                                                            << ", libsndfile " << theirs;
                        // Against libsndfile's float decode: equal, except that 32-bit
                        // integers may round to the neighbouring float.
                        if (enc.sampleType == 6)
                            ASSERT_LE(std::fabs(ours[i] - refFloat[i]), lsb) << "sample " << i;
                        else
                            ASSERT_EQ(ours[i], refFloat[i]) << "sample " << i;
                    }
                    ++checked;
                    bigEndianChecked += big;
                }
    // WAV: 6 encodings in RIFF and RIFX; AIFF: 7 big-endian and 3 little-endian (the
    // AIFC forms libsndfile writes); W64: 6 little-endian. Each in one and two
    // channels, less the one-channel big-endian doubles of WAV and AIFF.
    EXPECT_EQ(checked, 2 * (12 + 10 + 6) - 2);
    EXPECT_EQ(bigEndianChecked, 2 * (6 + 7) - 2);
}

TEST(ToolFormats, OneChannelBigEndianDoublesAreRefusedWithAReason) {
    ScratchDir dir;
    const std::string path = dir.file("mono-double.aiff");
    tooltest::writeDoubles(path, SF_FORMAT_AIFF | SF_FORMAT_DOUBLE, 1, 48000, signal(1, 100));
    SndfileSource source(path);
    try {
        BlockDecoder decoder(source, 256);
        FAIL() << "a one-channel big-endian double file was accepted";
    } catch (const InputError& e) {
        EXPECT_NE(std::string(e.what()).find(path), std::string::npos);
        EXPECT_NE(std::string(e.what()).find("big-endian 64-bit floats"), std::string::npos);
    }
}

TEST(ToolFormats, UnsupportedEncodingsAndNonAudioAreInputErrorsNamingTheFile) {
    ScratchDir dir;
    const std::string ulaw = dir.file("ulaw.wav");
    tooltest::writeDoubles(ulaw, SF_FORMAT_WAV | SF_FORMAT_ULAW, 1, 8000, signal(1, 100));
    EXPECT_THROW(
        {
            try {
                SndfileSource s(ulaw);
            } catch (const InputError& e) {
                EXPECT_NE(std::string(e.what()).find(ulaw + ": unsupported format"), std::string::npos) << e.what();
                throw;
            }
        },
        InputError);
    const std::string text = dir.file("text.wav");
    tooltest::writeText(text, "this is not audio\n");
    EXPECT_THROW(SndfileSource s(text), InputError);
    EXPECT_THROW(SndfileSource s(dir.file("missing.wav")), InputError);
    EXPECT_THROW(SndfileSource s(dir.path()), InputError);
}

TEST(ToolFormats, BlocksPastTheEndOfAFileAreSilentAndCountNoFrames) {
    ScratchDir dir;
    const std::string path = dir.file("short.wav");
    tooltest::writeDoubles(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 48000, std::vector<double>(2 * 10, 0.5));
    SndfileSource source(path);
    BlockDecoder decoder(source, 8);
    EXPECT_EQ(decoder.decode(source, 8), 8u);
    EXPECT_EQ(decoder.decode(source, 8), 2u);  // the last two frames
    EXPECT_EQ(decoder.channel(0)[1], 0.5f);
    for (unsigned i = 2; i < 8 + BlockDecoder::kPadding; ++i) EXPECT_EQ(decoder.channel(1)[i], 0.0f) << i;
    EXPECT_EQ(decoder.buffers().numSamples, 2u);
    EXPECT_EQ(decoder.decode(source, 8), 0u);
    for (unsigned i = 0; i < 8; ++i) EXPECT_EQ(decoder.channel(0)[i], 0.0f);
}
