// Rendering past the end of an input: a session longer than an input file renders bit
// for bit as the same session whose input file goes on with digital silence up to the
// session's length, for every equaliser band type, with and without level automation
// (reaching unity before or after the input ends, ending at another level or at 0,
// still ramping), for one and two channels of every format the decoder reads, for
// inputs that end inside a block and inputs shorter than one block. The demo session
// rendered for 60 s meters as it does for 10 s, and falls silent after its inputs end.
// The renders go through the test support, which fails a mix holding an infinity or a
// NaN; the first test shows that check failing.
#include "tools/AudioSource.h"
#include "tools/Equaliser.h"

#include "tests/support/ToolTestSupport.h"

#include <gtest/gtest-spi.h>
#include <nlohmann/json.hpp>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <tuple>

using namespace audtool;
using audatoms::test::ScratchDir;

TEST(ToolRenderPastEnd, TheFiniteCheckFailsOnAnInfinityAndOnANaN) {
    const float inf[] = {0.0f, 0.5f, std::numeric_limits<float>::infinity()};
    const float nan[] = {std::numeric_limits<float>::quiet_NaN(), 0.0f};
    const float fine[] = {0.0f, -1.0f, 1e30f, std::numeric_limits<float>::denorm_min()};
    EXPECT_NONFATAL_FAILURE(audatoms::test::expectFinite(inf, 3, "inf"),
                            "inf: 1 samples are not finite, the first at frame 2");
    EXPECT_NONFATAL_FAILURE(audatoms::test::expectFinite(nan, 2, "nan", 100), "the first at frame 100");
    EXPECT_TRUE(audatoms::test::expectFinite(fine, 4, "fine"));  // and no failure
}

namespace {

constexpr int kRate = 48000;

struct Encoding {
    int sf;
    const char* name;
};

const Encoding kEncodings[] = {{SF_FORMAT_PCM_S8, "s8"},    {SF_FORMAT_PCM_U8, "u8"}, {SF_FORMAT_PCM_16, "16"},
                               {SF_FORMAT_PCM_24, "24"},    {SF_FORMAT_PCM_32, "32"}, {SF_FORMAT_FLOAT, "float"},
                               {SF_FORMAT_DOUBLE, "double"}};

struct Container {
    int sf;
    const char* ext;
};

const Container kContainers[] = {{SF_FORMAT_WAV, "wav"}, {SF_FORMAT_AIFF, "aiff"}, {SF_FORMAT_W64, "w64"}};

// One way of writing a file that the decoder reads differently from the others: its
// sample type and byte order, as the tool sees them.
struct DecodedFormat {
    int sf = 0;  // container | encoding | byte order
    std::string ext;
    std::string name;
    int sampleType = 0;
    bool bigEndian = false;
};

// Every format the decoder reads, each once: every container, encoding and byte order
// libsndfile writes, kept when the tool sees a (sample type, byte order) not seen yet.
std::vector<DecodedFormat> decodedFormats(const ScratchDir& dir) {
    std::vector<DecodedFormat> formats;
    std::set<std::pair<int, bool>> seen;
    for (const Container& ct : kContainers)
        for (const Encoding& enc : kEncodings)
            for (int order : {SF_ENDIAN_FILE, SF_ENDIAN_LITTLE, SF_ENDIAN_BIG}) {
                const int sf = ct.sf | enc.sf | order;
                SF_INFO info{};
                info.samplerate = kRate;
                info.channels = 1;
                info.format = sf;
                if (!sf_format_check(&info)) continue;
                const std::string probe = dir.file("probe." + std::string(ct.ext));
                audatoms::test::writeDoubles(probe, sf, 1, kRate, {0.5, -0.5});
                const FileFormat f = SndfileSource(probe).format();
                if (!seen.insert({f.sampleType, f.bigEndian}).second) continue;
                formats.push_back({sf, ct.ext, std::string(enc.name) + (f.bigEndian ? " big-endian" : " little-endian"),
                                   f.sampleType, f.bigEndian});
            }
    return formats;
}

// How an input is long against its session.
struct Timing {
    const char* name;
    int inputFrames;
    double sessionSeconds;
    const char* frameRate;
};

const Timing kTimings[] = {
    {"ends inside the third block", 2 * 1920 + 701, 0.41, "25"},
    {"shorter than one block", 1000, 0.2, "25"},
    {"ends inside a block of the 29.97 cadence", 3 * 1601 + 500, 0.3, "29.97"},
};

// Level automation of each input, as session lines; end = the input's end in seconds.
struct Automation {
    const char* name;
    std::string (*lines)(double end, double session);
};

std::string node(double t, const char* level) { return std::to_string(t) + "=" + level + "\n"; }

const Automation kAutomation[] = {
    {"none", nullptr},
    {"unity before the end", [](double end, double) { return node(0, "0.25") + node(end / 2, "1"); }},
    {"unity after the end", [](double end, double) { return node(0, "0.25") + node(end + 0.08, "1"); }},
    {"ends at 0.5", [](double end, double) { return node(0, "1") + node(end + 0.03, "0.5"); }},
    {"ends at 0", [](double end, double) { return node(0, "1") + node(end + 0.03, "0"); }},
    {"ramping to the session's end and on",
     [](double, double session) { return node(0, "0.1") + node(2 * session, "1"); }},
};

// One band of every type, then none and three bands at once.
std::vector<std::vector<std::string>> bandSets() {
    std::vector<std::vector<std::string>> sets;
    for (int t = Aud::Filter::Biquad::kLowPass; t <= Aud::Filter::Biquad::kHighShelf; ++t)
        sets.push_back({eqTypeName(Aud::Filter::Biquad::eFilterType(t)) + ":700:+4"});
    sets.push_back({});
    sets.push_back({"lowshelf:200:+3", "peaking:1k:q=0.7:-4", "highshelf:6k:+2"});
    return sets;
}

std::string sessionText(const std::string& file, unsigned channels, const Timing& timing, const Automation& automation,
                        const std::vector<std::string>& bands) {
    std::string s = "[Session]\nSampleRate=48000\nLength=" + std::to_string(timing.sessionSeconds) +
                    "\nFrameRate=" + timing.frameRate + "\n[Inputs]\nFile=" + file + "\n";
    const double end = double(timing.inputFrames) / kRate;
    for (unsigned c = 0; c < channels; ++c) {
        if (automation.lines)
            s += "[Automation." + std::to_string(c) + "]\n" + automation.lines(end, timing.sessionSeconds);
        if (!bands.empty()) {
            s += "[EQ." + std::to_string(c) + "]\n";
            for (const std::string& b : bands) s += "Band=" + b + "\n";
        }
    }
    // Two channels: the first alone on the left output, the second alone on the right.
    if (channels == 2) s += "[SimpleMixState.InputChannels.Pan]\n000=0\n001=1\n";
    return s;
}

// A file's frames as the tool reads them (its own format and bytes), held in memory so
// that the many renders of one file need no file reads.
std::unique_ptr<MemorySource> inMemory(const std::string& path) {
    SndfileSource file(path);
    const FileFormat& f = file.format();
    std::vector<unsigned char> bytes;
    std::vector<unsigned char> block(std::size_t(4096) * f.frameBytes());
    while (const unsigned n = file.readFrames(block.data(), 4096))
        bytes.insert(bytes.end(), block.begin(), block.begin() + std::ptrdiff_t(n) * f.frameBytes());
    return std::make_unique<MemorySource>(path, f, std::move(bytes));
}

std::vector<std::unique_ptr<AudioSource>> sourcesOf(const MemorySource& held) {
    std::vector<std::unique_ptr<AudioSource>> v;
    v.push_back(std::make_unique<MemorySource>(held.name(), held.format(), held.bytes()));
    return v;
}

// The raw bytes of a file's frames, as stored.
std::vector<unsigned char> rawFrames(const std::string& path) {
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    EXPECT_NE(f, nullptr) << path;
    if (!f) return {};
    std::vector<unsigned char> bytes(std::size_t(info.frames) * SndfileSource(path).format().frameBytes());
    EXPECT_EQ(sf_read_raw(f, bytes.data(), sf_count_t(bytes.size())), sf_count_t(bytes.size())) << path;
    sf_close(f);
    return bytes;
}

// True when the two mixes are equal bit for bit; otherwise one failure naming the first
// difference.
bool sameBits(const audatoms::test::MixCapture& a, const audatoms::test::MixCapture& b,
              const char* aName = "past the end", const char* bName = "with the file padded") {
    if (a.out.size() != b.out.size()) {
        ADD_FAILURE() << a.out.size() << " outputs against " << b.out.size();
        return false;
    }
    for (std::size_t k = 0; k < a.out.size(); ++k) {
        if (a.out[k].size() != b.out[k].size()) {
            ADD_FAILURE() << "output " << k + 1 << ": " << a.out[k].size() << " frames against " << b.out[k].size();
            return false;
        }
        for (std::size_t i = 0; i < a.out[k].size(); ++i)
            if (std::bit_cast<std::uint32_t>(a.out[k][i]) != std::bit_cast<std::uint32_t>(b.out[k][i])) {
                ADD_FAILURE() << "output " << k + 1 << ", frame " << i << ": " << a.out[k][i] << " " << aName << ", "
                              << b.out[k][i] << " " << bName;
                return false;
            }
    }
    return true;
}

}  // namespace

TEST(ToolRenderPastEnd, PastTheEndEqualsTheInputPaddedWithSilence) {
    ScratchDir dir;
    const std::vector<DecodedFormat> formats = decodedFormats(dir);
    // Every sample type the decoder converts, in both byte orders where it has bytes to
    // order (one and two channels of each are rendered below).
    std::set<std::pair<int, bool>> kinds;
    for (const DecodedFormat& f : formats) kinds.insert({f.sampleType, f.bigEndian});
    const std::set<std::pair<int, bool>> expected = {{3, false}, {4, false}, {1, false}, {1, true},
                                                     {2, false}, {2, true},  {6, false}, {6, true},
                                                     {0, false}, {0, true},  {7, false}, {7, true}};
    ASSERT_EQ(kinds, expected);

    const std::vector<std::vector<std::string>> bands = bandSets();
    int pairs = 0;
    for (const DecodedFormat& fmt : formats)
        for (unsigned channels : {1u, 2u})
            for (const Timing& timing : kTimings) {
                SCOPED_TRACE(fmt.name + ", " + std::to_string(channels) + " channel(s), an input that " + timing.name);
                const int sessionFrames = int(std::llround(timing.sessionSeconds * kRate));
                std::mt19937 rng(unsigned(pairs + 1));
                std::uniform_real_distribution<double> u(-0.6, 0.6);
                std::vector<double> x(std::size_t(timing.inputFrames) * channels);
                for (double& v : x) v = u(rng);
                std::vector<double> padded = x;
                padded.resize(std::size_t(sessionFrames) * channels, 0.0);
                const std::string shortFile = "short." + fmt.ext, paddedFile = "padded." + fmt.ext;
                audatoms::test::writeDoubles(dir.file(shortFile), fmt.sf, int(channels), kRate, x);
                audatoms::test::writeDoubles(dir.file(paddedFile), fmt.sf, int(channels), kRate, padded);
                // The padded file is the short one's frames, byte for byte, then silence
                // (an odd-sized 8-bit AIFF file reads with one frame more, its pad byte).
                const std::vector<unsigned char> shortRaw = rawFrames(dir.file(shortFile));
                const std::vector<unsigned char> paddedRaw = rawFrames(dir.file(paddedFile));
                ASSERT_GT(paddedRaw.size(), shortRaw.size());
                ASSERT_EQ(std::memcmp(shortRaw.data(), paddedRaw.data(), shortRaw.size()), 0);

                const std::unique_ptr<MemorySource> shortHeld = inMemory(dir.file(shortFile));
                const std::unique_ptr<MemorySource> paddedHeld = inMemory(dir.file(paddedFile));
                for (const Automation& automation : kAutomation)
                    for (const std::vector<std::string>& b : bands) {
                        SCOPED_TRACE(std::string("automation ") + automation.name + ", bands " +
                                     (b.empty() ? std::string("none") : b.front()) + (b.size() > 1 ? " ..." : ""));
                        const std::string shortText = sessionText(shortFile, channels, timing, automation, b);
                        const std::string paddedText = sessionText(paddedFile, channels, timing, automation, b);
                        const audatoms::test::MixCapture pastEnd = audatoms::test::renderSession(
                            parseSession(shortText, "short.ini", dir.path()), sourcesOf(*shortHeld));
                        const audatoms::test::MixCapture withSilence = audatoms::test::renderSession(
                            parseSession(paddedText, "padded.ini", dir.path()), sourcesOf(*paddedHeld));
                        ASSERT_EQ(withSilence.frames, sessionFrames);
                        if (&automation == &kAutomation[0] && &b == &bands[0]) {
                            // Once per file: the files themselves, read as the render
                            // command reads them, give the same mixes.
                            audatoms::test::writeText(dir.file("short.ini"), shortText);
                            audatoms::test::writeText(dir.file("padded.ini"), paddedText);
                            if (!sameBits(audatoms::test::renderSessionHere(dir.file("short.ini")), pastEnd,
                                          "from the file", "from memory") ||
                                !sameBits(audatoms::test::renderSessionHere(dir.file("padded.ini")), withSilence,
                                          "from the file", "from memory"))
                                return;
                        }
                        // The input is heard (so the comparison is of a mix, not of silence).
                        float heard = 0;
                        for (int i = 0; i < timing.inputFrames; ++i)
                            heard = std::max(heard, std::fabs(withSilence.out[0][i]));
                        ASSERT_GT(heard, 0.001f);
                        if (!sameBits(pastEnd, withSilence)) return;
                        ++pairs;
                    }
            }
    EXPECT_EQ(pairs, int(formats.size() * 2 * std::size(kTimings) * std::size(kAutomation) * bands.size()));
}

namespace {

// The session text with its Length replaced.
std::string withLength(const std::string& session, const std::string& length) {
    const auto at = session.find("\nLength=");
    EXPECT_NE(at, std::string::npos);
    const auto end = session.find('\n', at + 1);
    return session.substr(0, at) + "\nLength=" + length + session.substr(end);
}

}  // namespace

TEST(ToolRenderPastEnd, TheDemoSessionForSixtySecondsMetersAsForTenAndThenFallsSilent) {
    ScratchDir dir;
    const auto demo = audatoms::test::runTool({"-q", "demo", "--out", dir.file("demo")});
    ASSERT_EQ(demo.status, 0) << demo.err;
    const std::string session = audatoms::test::readText(dir.file("demo/session.ini"));
    audatoms::test::writeText(dir.file("demo/ten.ini"), withLength(session, "10"));
    audatoms::test::writeText(dir.file("demo/sixty.ini"), withLength(session, "60"));
    const auto ten = audatoms::test::renderWithTool({"-q", "--json"}, dir.file("demo/ten.ini"), dir.file("ten.wav"));
    ASSERT_EQ(ten.status, 0) << ten.err;
    const auto sixty =
        audatoms::test::renderWithTool({"-q", "--json"}, dir.file("demo/sixty.ini"), dir.file("sixty.wav"));
    ASSERT_EQ(sixty.status, 0) << sixty.err;

    // The same meter table: the inputs end at 10 s and nothing after them rises above
    // what the first 10 s reached.
    const nlohmann::json j10 = nlohmann::json::parse(ten.out), j60 = nlohmann::json::parse(sixty.out);
    EXPECT_EQ(j10["inputs"], j60["inputs"]);
    EXPECT_EQ(j10["outputs"], j60["outputs"]);
    for (const auto& out : j60["outputs"]) EXPECT_FALSE(out["clipped"].get<bool>()) << out.dump();

    // The file: the first 10 s as the 10 s render's, bit for bit.
    const audatoms::test::Audio a10 = audatoms::test::readAudio(dir.file("ten.wav"));
    const audatoms::test::Audio a60 = audatoms::test::readAudio(dir.file("sixty.wav"));
    ASSERT_EQ(a10.info.frames, 10 * kRate);
    ASSERT_EQ(a60.info.frames, 60 * kRate);
    ASSERT_EQ(a60.info.channels, 4);
    for (std::size_t i = 0; i < a10.ints.size(); ++i) ASSERT_EQ(a60.ints[i], a10.ints[i]) << "sample " << i;

    // After 10 s, the filters' tails: in the float mix, each block's peak no higher than
    // the block's before, falling to exact silence within a second and staying there.
    const audatoms::test::MixCapture mix = audatoms::test::renderSessionHere(dir.file("demo/sixty.ini"));
    ASSERT_EQ(mix.frames, 60 * kRate);
    for (std::size_t k = 0; k < 4; ++k) {
        SCOPED_TRACE("output " + std::to_string(k + 1));
        float previous = std::numeric_limits<float>::infinity();
        for (int block = 10 * 25; block < 60 * 25; ++block) {
            float peak = 0;
            for (int i = block * 1920; i < (block + 1) * 1920; ++i)
                peak = std::max(peak, std::fabs(mix.out[k][std::size_t(i)]));
            ASSERT_LE(peak, previous) << "block " << block;
            if (block >= 11 * 25) {
                ASSERT_EQ(peak, 0.0f) << "block " << block;
            }
            previous = peak;
        }
        // The mix is as the file holds it: past 10 s, the tail truncated to 24 bits.
        for (int i = 10 * kRate; i < 60 * kRate; ++i) {
            const float x = mix.out[k][std::size_t(i)];
            const std::int32_t expected = std::max(std::int32_t(x * 8388608.0f), -8388608);
            ASSERT_EQ(a60.ints[std::size_t(i) * 4 + k] / 256, expected) << "frame " << i;
        }
    }
}

// The issue's own reproduction: the demo session for 14 s renders the same file whether
// its inputs end at 10 s or go on with 4 s of digital silence.
TEST(ToolRenderPastEnd, TheDemoSessionPastItsInputsRendersAsWithItsInputsPadded) {
    ScratchDir dir;
    const auto demo = audatoms::test::runTool({"-q", "demo", "--out", dir.file("demo")});
    ASSERT_EQ(demo.status, 0) << demo.err;
    std::string session = withLength(audatoms::test::readText(dir.file("demo/session.ini")), "14");
    std::string paddedSession = session;
    for (const char* name : {"tones.wav", "sweep.aiff", "noise.wav", "clip.wav"}) {
        // The same container and sample format, the frames copied as stored, then 4 s of
        // zero bytes (silence in every format the demo uses).
        SF_INFO info{};
        SNDFILE* in = sf_open(dir.file(std::string("demo/") + name).c_str(), SFM_READ, &info);
        ASSERT_NE(in, nullptr) << name;
        ASSERT_EQ(info.frames, 10 * kRate);
        ASSERT_NE(info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_U8);
        const bool inSwaps = sf_command(in, SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_TRUE;
        std::vector<unsigned char> bytes(std::size_t(14 * kRate) * std::size_t(info.channels) * 8, 0);
        const sf_count_t stored = sf_read_raw(in, bytes.data(), sf_count_t(bytes.size()));
        sf_close(in);
        const std::size_t frameBytes = std::size_t(stored) / std::size_t(10 * kRate);
        bytes.resize(frameBytes * std::size_t(14 * kRate));
        const std::string padded = std::string("padded-") + name;
        SNDFILE* out = sf_open(dir.file("demo/" + padded).c_str(), SFM_WRITE, &info);
        ASSERT_NE(out, nullptr) << padded;
        ASSERT_EQ(sf_command(out, SFC_RAW_DATA_NEEDS_ENDSWAP, nullptr, 0) == SF_TRUE, inSwaps) << padded;
        ASSERT_EQ(sf_write_raw(out, bytes.data(), sf_count_t(bytes.size())), sf_count_t(bytes.size()));
        sf_close(out);
        const auto at = paddedSession.find(std::string("File=") + name);
        ASSERT_NE(at, std::string::npos) << name;
        paddedSession.replace(at + 5, std::strlen(name), padded);
    }
    audatoms::test::writeText(dir.file("demo/long.ini"), session);
    audatoms::test::writeText(dir.file("demo/padded.ini"), paddedSession);
    const auto a = audatoms::test::renderWithTool({"-q"}, dir.file("demo/long.ini"), dir.file("long.wav"));
    ASSERT_EQ(a.status, 0) << a.err;
    const auto b = audatoms::test::renderWithTool({"-q"}, dir.file("demo/padded.ini"), dir.file("padded.wav"));
    ASSERT_EQ(b.status, 0) << b.err;
    EXPECT_EQ(audatoms::test::readAudio(dir.file("long.wav")).info.frames, 14 * kRate);
    EXPECT_TRUE(audatoms::test::readText(dir.file("long.wav")) == audatoms::test::readText(dir.file("padded.wav")))
        << "the two mix files differ";
    // And the float mixes, bit for bit.
    EXPECT_TRUE(sameBits(audatoms::test::renderSessionHere(dir.file("demo/long.ini")),
                         audatoms::test::renderSessionHere(dir.file("demo/padded.ini")), "past the end",
                         "with the files padded"));
}
