// Builds a WavHeaderEx and a source block from the input and runs getFromWAVFORMATEX,
// createOutputBuffers and deinterleaveAudio (and, on what was split, the export
// conversion), checking every split buffer against the byte rule and every kernel
// table against the scalar reference. Any difference traps.
//
// Input: 18 header bytes, then 1 byte streams, 1 byte flags (bit 0 big-endian, bit 1
// reuse the previous list), 2 bytes sample count, then the source bytes.
// Assertion lines are kept off standard output (a silencing capture for each input);
// sizes are bounded so that one input never asks for more than 16 MiB of buffers.
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/buffers/Aud__SampleManip_testing.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

constexpr std::uint64_t kMaxBytes = 16u << 20;

void require(bool ok) {
    if (!ok) __builtin_trap();
}

Aud::StreamBufferList& keptList() {
    static Aud::StreamBufferList list;
    return list;
}

// Split bytes by the rule, independently of the library.
std::vector<unsigned char> expectedChannel(const unsigned char* src, unsigned channels, unsigned stride,
                                           unsigned sampleBytes, bool bigEndian, unsigned frames, unsigned c) {
    std::vector<unsigned char> out;
    const std::size_t frame = std::size_t(channels) * stride;
    for (unsigned s = 0; s < frames; ++s)
        for (unsigned b = 0; b < sampleBytes; ++b)
            out.push_back(bigEndian ? src[s * frame + std::size_t(c) * stride + sampleBytes - 1 - b]
                                    : src[s * frame + std::size_t(c) * sampleBytes + b]);
    return out;
}

void compareTables(const Aud::StreamBufferList& list) {
    using namespace Aud::SampleManip;
    const int type = list.sampleType;
    if (type < 0 || type > 9 || list.streamBuffers.empty()) return;
    std::vector<const unsigned char*> planes;
    for (const auto& b : list.streamBuffers) {
        if (!b.memory || b.memory->getUsed() < std::uint64_t(list.numSamples) * Aud::sampleTypeStride(type)) return;
        planes.push_back(static_cast<const unsigned char*>(b.memory->getBuffer()));
    }
    const std::size_t bytes = std::size_t(list.numSamples) * planes.size() * Aud::sampleTypeStride(type);
    std::vector<unsigned char> want(bytes + 1, 0x5A), got(bytes + 1, 0x5A);
    referenceKernels().exportPlanar[type](planes.data(), unsigned(planes.size()), list.numSamples, want.data());
    for (const Kernels* k : {&genericKernels(), sse2Kernels(), avx2Kernels(), avx512Kernels(), avx512VbmiKernels()}) {
        if (!k) continue;
        std::fill(got.begin(), got.end(), 0x5A);
        k->exportPlanar[type](planes.data(), unsigned(planes.size()), list.numSamples, got.data());
        require(got == want);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 22) return 0;
    const platform::LogCapture quiet(platform::LogCapture::AssertionEcho::silenced);
    Aud::WavHeaderEx header;
    std::memcpy(&header, data, sizeof header);
    const unsigned streams = data[18];
    const bool bigEndian = data[19] & 1;
    const bool reuse = data[19] & 2;
    const unsigned frames = unsigned(data[20]) | unsigned(data[21]) << 8;
    const std::uint8_t* body = data + 22;
    const std::size_t bodySize = size - 22;

    Aud::Metadata fmt(1, 2, 48000, 1, 0);
    fmt.getFromWAVFORMATEX(header, streams);
    if (bigEndian) fmt.setEndianType(Aud::keBigEndian);

    const unsigned channels = fmt.getChannelsPerStream();
    const unsigned stride = fmt.getStride();
    const unsigned sampleBytes = fmt.getSampleTypeNumber() == 5 ? fmt.getBitsPerSample() / 8 : stride;
    if (std::uint64_t(frames) * sampleBytes * (channels ? channels : 1) > kMaxBytes) return 0;

    auto* memory = new ByteBufferImpl();
    memory->alloc(unsigned(bodySize));
    if (bodySize) std::memcpy(memory->getBuffer(), body, bodySize);
    const Qm::Ptr<iMemHolder> source(memory);
    const std::vector<unsigned char> original(body, body + bodySize);

    AudioInterleaver interleaver;
    Aud::StreamBufferList fresh;
    Aud::StreamBufferList& list = reuse ? keptList() : fresh;
    (void)interleaver.createOutputBuffers(frames, fmt, list);
    const auto status = interleaver.deinterleaveAudio(frames, fmt, source, list);

    if (status == AudioInterleaver::kSuccess && bodySize > 0 && channels > 1 && channels <= 32) {
        require(list.streamBuffers.size() == channels);
        for (unsigned c = 0; c < channels; ++c) {
            const auto want =
                expectedChannel(original.data(), channels, stride, sampleBytes, fmt.isBigEndian(), frames, c);
            const iMemHolder& m = *list.streamBuffers[c].memory;
            require(m.getUsed() == want.size());
            require(want.empty() || std::memcmp(m.getBuffer(), want.data(), want.size()) == 0);
        }
        compareTables(list);
    }
    if (status == AudioInterleaver::kSuccess && bodySize > 0 && channels == 1) {
        require(list.streamBuffers.size() == 1 && list.streamBuffers[0].memory == source);
    }
    if (reuse && keptList().streamBuffers.size() > 64) keptList() = Aud::StreamBufferList();
    return 0;
}
