// Every PCM and float encoding libsndfile writes (8, 16, 24 and 32-bit integer, 32 and
// 64-bit float) in WAV, AIFF and W64, in each byte order the container allows, one and
// two channels: a file made here with libsndfile decodes through the tool's path to
// libsndfile's own decode. Both stages of the path are checked:
// - the interleaver split (raw frames into per-channel buffers of the file's own sample
//   type) equals libsndfile's integer or floating-point decode exactly;
// - the float conversion is exact for 8, 16 and 24-bit integers and 32-bit floats. A
//   float holds 24 significant bits, so 64-bit floats are rounded to the nearest float,
//   and 32-bit integers are within one 32-bit step plus that rounding.
#include "tools/AudioSource.h"
#include "tools/BlockDecoder.h"
#include "tools/ToolError.h"

#include "tests/support/ToolTestSupport.h"

#include <cmath>
#include <cstring>
#include <random>
#include <set>
#include <tuple>

using namespace audtool;
using audatoms::test::ScratchDir;

namespace {

struct Encoding {
    int sf;
    const char* name;
    int sampleType;
    double lsb;  // one least significant bit, full scale 1.0 (0 for float encodings)
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
        for (int c = 0; c < channels; ++c) x.push_back(i < 9 ? fixed[(i + c) % 9] : u(rng) * (c ? 0.25 : 0.9));
    return x;
}

// One sample of a split buffer of the given sample type, on libsndfile's scales: integer
// types as a 32-bit integer (the way sf_read_int gives them), float types as their value.
double splitValue(int sampleType, const unsigned char* p) {
    switch (sampleType) {
    case 3: return double(std::int32_t(std::uint32_t(std::int8_t(p[0])) << 24));
    case 4: return double((int(p[0]) - 128) * (1 << 24));
    case 1: return double(std::int16_t(p[0] | p[1] << 8)) * 65536.0;
    case 2: return double(std::int32_t(std::uint32_t(p[0] | p[1] << 8 | p[2] << 16) << 8));
    case 6: {
        std::int32_t v;
        std::memcpy(&v, p, 4);
        return double(v);
    }
    case 0: {
        float v;
        std::memcpy(&v, p, 4);
        return double(v);
    }
    case 7: {
        double v;
        std::memcpy(&v, p, 8);
        return v;
    }
    default: ADD_FAILURE() << "sample type " << sampleType; return 0;
    }
}

struct ToolDecode {
    std::vector<float> floats;  // interleaved, after the float conversion
    std::vector<double> split;  // interleaved, the split buffers (see splitValue)
};

// Decodes a whole file through the tool's path, in blocks of `block` frames.
ToolDecode decodeWithTool(const std::string& path, FileFormat* format = nullptr, unsigned block = 1001) {
    SndfileSource source(path);
    if (format) *format = source.format();
    BlockDecoder decoder(source, block);
    const int type = source.format().sampleType;
    const unsigned bytes = Aud::sampleTypeStride(type);
    ToolDecode out;
    while (const unsigned n = decoder.decode(source, block)) {
        const Aud::StreamBufferList& list = decoder.buffers();
        EXPECT_EQ(list.numSamples, n);
        EXPECT_EQ(list.sampleType, type);
        EXPECT_EQ(list.streamBuffers.size(), decoder.channels());
        for (unsigned i = 0; i < n; ++i)
            for (unsigned c = 0; c < decoder.channels(); ++c) {
                out.floats.push_back(decoder.channel(c)[i]);
                const auto* p = static_cast<const unsigned char*>(list.streamBuffers[c].memory->getBuffer());
                out.split.push_back(splitValue(type, p + std::size_t(i) * bytes));
            }
    }
    return out;
}

}  // namespace

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

}  // namespace

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
                    const audatoms::test::Audio ref = audatoms::test::readAudio(path);
                    const std::vector<float> refFloat = readFloats(path);
                    FileFormat fmt;
                    const ToolDecode decoded = decodeWithTool(path, &fmt);
                    const std::vector<float>& ours = decoded.floats;
                    SCOPED_TRACE(path + (big ? " (big-endian)" : " (little-endian)"));
                    EXPECT_EQ(fmt.sampleType, enc.sampleType);
                    EXPECT_EQ(fmt.bigEndian, big && enc.sampleType != 3 && enc.sampleType != 4);
                    ASSERT_EQ(ours.size(), ref.samples.size());
                    ASSERT_EQ(ours.size(), refFloat.size());
                    ASSERT_EQ(decoded.split.size(), ref.ints.size());
                    const bool isFloat = enc.sampleType == 0 || enc.sampleType == 7;
                    for (std::size_t i = 0; i < ours.size(); ++i) {
                        // The split: exactly libsndfile's own decode.
                        if (isFloat) ASSERT_EQ(decoded.split[i], ref.samples[i]) << "sample " << i;
                        else ASSERT_EQ(decoded.split[i], double(ref.ints[i])) << "sample " << i;
                        // The float conversion, against libsndfile's exact decode: 8, 16
                        // and 24-bit integers and 32-bit floats exactly; a 64-bit float
                        // rounds to the nearest float; a 32-bit integer lies within one
                        // 32-bit step of its value before that rounding.
                        const double theirs = ref.samples[i];
                        const double halfFloatStep =
                            std::ldexp(1.0, std::ilogb(std::max(std::fabs(theirs), 1e-30)) - 24);
                        const double bound = enc.sampleType == 6   ? enc.lsb + halfFloatStep
                                             : enc.sampleType == 7 ? halfFloatStep
                                                                   : 0.0;
                        ASSERT_LE(std::fabs(double(ours[i]) - theirs), bound)
                            << "sample " << i << ": ours " << ours[i] << ", libsndfile " << theirs;
                        // Against libsndfile's float decode: equal, except that a 32-bit
                        // integer may round to the neighbouring float.
                        if (enc.sampleType == 6)
                            ASSERT_LE(std::fabs(double(ours[i]) - double(refFloat[i])), enc.lsb + 2 * halfFloatStep)
                                << "sample " << i;
                        else ASSERT_EQ(ours[i], refFloat[i]) << "sample " << i;
                    }
                    ++checked;
                    bigEndianChecked += big;
                }
    // WAV: 6 encodings in RIFF and RIFX; AIFF: 7 big-endian and 3 little-endian (the
    // AIFC forms libsndfile writes); W64: 6 little-endian. Each in one and two channels.
    EXPECT_EQ(checked, 2 * (12 + 10 + 6));
    EXPECT_EQ(bigEndianChecked, 2 * (6 + 7));
}

// One channel of big-endian doubles is split as pairs of frames: odd and even block
// sizes, a block of one frame, a file with an odd frame count and a block larger than
// the file all give every frame, in order, exactly.
TEST(ToolFormats, OneChannelBigEndianDoublesDecodeExactlyInBlocksOfAnySize) {
    ScratchDir dir;
    for (const int container : {int(SF_FORMAT_AIFF), SF_FORMAT_WAV | SF_ENDIAN_BIG})
        for (const int frames : {1, 2, 7, 100}) {
            const std::string path =
                dir.file("mono-double-" + std::to_string(container) + "-" + std::to_string(frames) + ".bin");
            std::vector<double> x = signal(1, frames);
            for (int i = 0; i < frames; ++i) x[i] += 1e-9 * (i + 1);  // not a float value
            audatoms::test::writeDoubles(path, container | SF_FORMAT_DOUBLE, 1, 48000, x);
            for (const unsigned block : {1u, 2u, 3u, 8u, 64u, 1000u}) {
                SCOPED_TRACE(path + ", blocks of " + std::to_string(block));
                FileFormat fmt;
                const ToolDecode d = decodeWithTool(path, &fmt, block);
                EXPECT_TRUE(fmt.bigEndian);
                EXPECT_EQ(fmt.channels, 1u);
                ASSERT_EQ(d.split.size(), x.size());
                for (int i = 0; i < frames; ++i) {
                    ASSERT_EQ(d.split[i], x[i]) << "frame " << i;
                    ASSERT_EQ(d.floats[i], float(x[i])) << "frame " << i;
                }
            }
        }
}

// Past the end of a one-channel big-endian double file the float channel is silent.
TEST(ToolFormats, OneChannelBigEndianDoublesAreSilentPastTheEnd) {
    ScratchDir dir;
    const std::string path = dir.file("mono-double-short.aiff");
    audatoms::test::writeDoubles(path, SF_FORMAT_AIFF | SF_FORMAT_DOUBLE, 1, 48000, std::vector<double>(5, 0.25));
    SndfileSource source(path);
    BlockDecoder decoder(source, 4);
    EXPECT_EQ(decoder.decode(source, 4), 4u);
    EXPECT_EQ(decoder.decode(source, 4), 1u);
    EXPECT_EQ(decoder.channel(0)[0], 0.25f);
    for (unsigned i = 1; i < 4 + BlockDecoder::kPadding; ++i) EXPECT_EQ(decoder.channel(0)[i], 0.0f) << i;
    EXPECT_EQ(decoder.buffers().numSamples, 1u);
    EXPECT_EQ(decoder.decode(source, 4), 0u);
    for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(decoder.channel(0)[i], 0.0f);
}

TEST(ToolFormats, UnsupportedEncodingsAndNonAudioAreInputErrorsNamingTheFile) {
    ScratchDir dir;
    const std::string ulaw = dir.file("ulaw.wav");
    audatoms::test::writeDoubles(ulaw, SF_FORMAT_WAV | SF_FORMAT_ULAW, 1, 8000, signal(1, 100));
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
    audatoms::test::writeText(text, "this is not audio\n");
    EXPECT_THROW(SndfileSource s(text), InputError);
    EXPECT_THROW(SndfileSource s(dir.file("missing.wav")), InputError);
    EXPECT_THROW(SndfileSource s(dir.path()), InputError);
}

TEST(ToolFormats, BlocksPastTheEndOfAFileAreSilentAndCountNoFrames) {
    ScratchDir dir;
    const std::string path = dir.file("short.wav");
    audatoms::test::writeDoubles(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 48000, std::vector<double>(2 * 10, 0.5));
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
