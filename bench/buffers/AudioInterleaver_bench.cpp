// deinterleaveAudio and writeSamplesPlanar, each beside memcpy of the same bytes, beside
// the plain scalar reference and (when built with libsndfile) beside libsndfile doing the
// same conversion through its virtual I/O on an in-memory file:
// - every sample type (0..9) and 1..8 channels at 4096 frames;
// - types 0, 1, 2 and 6 at 2 and 8 channels also at 256 and 65536 frames.
// libsndfile's side: for deinterleave sf_readf_float of the type's file format, for write
// sf_writef_short / _int / _float / _double (the type's own width) into it:
//   type 0 WAV float, 1 WAV 16-bit, 2 WAV 24-bit, 3 AIFF signed 8-bit, 4 WAV unsigned
//   8-bit, 5 6 8 9 WAV 32-bit (the 4-byte container), 7 WAV double.
// Writes of type 5 time the kernel alone (the public call prints one assertion line per
// sample, which is kept behaviour; see AudioInterleaver.h). Deinterleaving one channel
// copies nothing (the list shares the source), so its ratios are not bandwidth.
// After Google Benchmark's report a ratio table is printed:
//   vs memcpy  = memcpy time / our time (1.0 = memcpy's bandwidth)
//   vs scalar  = reference time / our time
//   vs sndfile = libsndfile time / our time
// then the aims at 4096 frames ("aim: ..." lines, collected by scripts/run-benchmarks.sh),
// then every instruction set side by side for a few shapes, with the one selected.
// Unless told otherwise every benchmark runs 3 times for 0.1 s and the median counts.
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/buffers/Aud__SampleManip_testing.h"

#include <benchmark/benchmark.h>

#ifdef AUDATOMS_HAVE_SNDFILE
#include <sndfile.h>
#endif

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace {

// The original set (types 0, 1, 2, 6 at 2 and 8 channels, three block sizes) and the
// sweep (every type, 1..8 channels, 4096 frames).
const int kTypes[] = {0, 1, 2, 6};
const unsigned kChannels[] = {2, 8};
const unsigned kFrames[] = {256, 4096, 65536};
constexpr unsigned kSweepFrames = 4096;

std::string key(const char* op, int type, unsigned channels, unsigned frames) {
    return std::string(op) + "/type" + std::to_string(type) + "/ch" + std::to_string(channels) + "/frames" +
           std::to_string(frames);
}

// Realistic content: floats within full scale, integers over their whole range.
std::vector<unsigned char> samples(int type, std::size_t count, unsigned seed) {
    std::mt19937 rng(seed);
    const unsigned width = Aud::sampleTypeStride(type);
    std::vector<unsigned char> v(count * width);
    for (std::size_t i = 0; i < count; ++i) {
        if (type == 0) {
            const float f = std::uniform_real_distribution<float>(-1.0f, 1.0f)(rng);
            std::memcpy(&v[i * width], &f, 4);
        } else if (type == 7) {
            const double d = std::uniform_real_distribution<double>(-1.0, 1.0)(rng);
            std::memcpy(&v[i * width], &d, 8);
        } else {
            const std::uint32_t r = rng();
            std::memcpy(&v[i * width], &r, width);
        }
    }
    return v;
}

struct Case {
    int type;
    unsigned channels, frames;
    std::size_t bytes() const { return std::size_t(frames) * channels * Aud::sampleTypeStride(type); }
};

void addMemcpy(const Case& c) {
    benchmark::RegisterBenchmark(key("memcpy", c.type, c.channels, c.frames).c_str(), [c](benchmark::State& st) {
        std::vector<unsigned char> src = samples(c.type, std::size_t(c.frames) * c.channels, 1), dst(src.size());
        for (auto _ : st) {
            std::memcpy(dst.data(), src.data(), src.size());
            benchmark::DoNotOptimize(dst.data());
            benchmark::ClobberMemory();
        }
        st.SetBytesProcessed(std::int64_t(st.iterations()) * std::int64_t(c.bytes()));
    });
}

void addDeinterleave(const Case& c) {
    benchmark::RegisterBenchmark(key("deinterleave", c.type, c.channels, c.frames).c_str(), [c](benchmark::State& st) {
        const auto bytes = samples(c.type, std::size_t(c.frames) * c.channels, 2);
        auto* memory = new ByteBufferImpl();
        memory->alloc(unsigned(bytes.size()));
        std::memcpy(memory->getBuffer(), bytes.data(), bytes.size());
        const Qm::Ptr<iMemHolder> source(memory);
        const Aud::Metadata fmt(1, c.channels, 48000, c.type, 0);
        AudioInterleaver interleaver;
        Aud::StreamBufferList list;
        for (auto _ : st) {
            if (interleaver.deinterleaveAudio(c.frames, fmt, source, list) != 0)
                st.SkipWithError("deinterleave failed");
            benchmark::ClobberMemory();
        }
        st.SetBytesProcessed(std::int64_t(st.iterations()) * std::int64_t(c.bytes()));
    });
    benchmark::RegisterBenchmark(key("deinterleave-scalar", c.type, c.channels, c.frames).c_str(),
                                 [c](benchmark::State& st) {
                                     const auto src = samples(c.type, std::size_t(c.frames) * c.channels, 2);
                                     const Aud::Metadata fmt(1, c.channels, 48000, c.type, 0);
                                     const unsigned stride = fmt.getStride();
                                     const unsigned sampleBytes = c.type == 5 ? fmt.getBitsPerSample() / 8 : stride;
                                     std::vector<std::vector<unsigned char>> planes(
                                         c.channels, std::vector<unsigned char>(std::size_t(c.frames) * sampleBytes));
                                     std::vector<unsigned char*> outs;
                                     for (auto& p : planes) outs.push_back(p.data());
                                     for (auto _ : st) {
                                         Aud::SampleManip::referenceKernels().split(
                                             src.data(), c.channels, stride, sampleBytes, false, c.frames, outs.data());
                                         benchmark::ClobberMemory();
                                     }
                                     st.SetBytesProcessed(std::int64_t(st.iterations()) * std::int64_t(c.bytes()));
                                 });
}

void addWrite(const Case& c) {
    auto planesOf = [c] {
        std::vector<std::vector<unsigned char>> planes;
        for (unsigned ch = 0; ch < c.channels; ++ch) planes.push_back(samples(c.type, c.frames, 10 + ch));
        return planes;
    };
    benchmark::RegisterBenchmark(key("write", c.type, c.channels, c.frames).c_str(), [c,
                                                                                      planesOf](benchmark::State& st) {
        const auto planes = planesOf();
        std::vector<const unsigned char*> ptrs;
        for (const auto& p : planes) ptrs.push_back(p.data());
        AudioInterleaver interleaver(c.type, c.channels,
                                     c.type == 0 || c.type == 7 ? Aud::keAudioDataTypeFloat : Aud::keAudioDataTypePCM);
        if (c.type == 5) {
            // The public call prints a line per sample: time the conversion alone.
            std::vector<unsigned char> out(c.bytes());
            for (auto _ : st) {
                Aud::SampleManip::activeKernels().exportPlanar[5](ptrs.data(), c.channels, c.frames, out.data());
                benchmark::DoNotOptimize(out.data());
                benchmark::ClobberMemory();
            }
        } else {
            for (auto _ : st) {
                if (interleaver.writeSamplesPlanar(ptrs, c.frames) != 0) st.SkipWithError("write failed");
                benchmark::DoNotOptimize(interleaver.getScratch());
                benchmark::ClobberMemory();
            }
        }
        st.SetBytesProcessed(std::int64_t(st.iterations()) * std::int64_t(c.bytes()));
    });
    benchmark::RegisterBenchmark(key("write-scalar", c.type, c.channels, c.frames).c_str(), [c, planesOf](
                                                                                                benchmark::State& st) {
        const auto planes = planesOf();
        std::vector<const unsigned char*> ptrs;
        for (const auto& p : planes) ptrs.push_back(p.data());
        std::vector<unsigned char> out(c.bytes());
        for (auto _ : st) {
            Aud::SampleManip::referenceKernels().exportPlanar[c.type](ptrs.data(), c.channels, c.frames, out.data());
            benchmark::ClobberMemory();
        }
        st.SetBytesProcessed(std::int64_t(st.iterations()) * std::int64_t(c.bytes()));
    });
}

#ifdef AUDATOMS_HAVE_SNDFILE
// An in-memory file for libsndfile's virtual I/O.
struct MemFile {
    std::vector<unsigned char> data;
    sf_count_t pos = 0;
};
sf_count_t vLength(void* u) { return sf_count_t(static_cast<MemFile*>(u)->data.size()); }
sf_count_t vSeek(sf_count_t off, int whence, void* u) {
    auto* f = static_cast<MemFile*>(u);
    const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? f->pos : sf_count_t(f->data.size());
    f->pos = base + off;
    return f->pos;
}
sf_count_t vRead(void* ptr, sf_count_t count, void* u) {
    auto* f = static_cast<MemFile*>(u);
    const sf_count_t left = sf_count_t(f->data.size()) - f->pos;
    const sf_count_t n = count < left ? count : (left > 0 ? left : 0);
    if (n > 0) std::memcpy(ptr, f->data.data() + f->pos, std::size_t(n));
    f->pos += n;
    return n;
}
sf_count_t vWrite(const void* ptr, sf_count_t count, void* u) {
    auto* f = static_cast<MemFile*>(u);
    if (sf_count_t(f->data.size()) < f->pos + count) f->data.resize(std::size_t(f->pos + count));
    std::memcpy(f->data.data() + f->pos, ptr, std::size_t(count));
    f->pos += count;
    return count;
}
sf_count_t vTell(void* u) { return static_cast<MemFile*>(u)->pos; }
SF_VIRTUAL_IO kVirtualIo = {vLength, vSeek, vRead, vWrite, vTell};

int sndfileFormat(int type) {
    switch (type) {
    case 0: return SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    case 1: return SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    case 2: return SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    case 3: return SF_FORMAT_AIFF | SF_FORMAT_PCM_S8;
    case 4: return SF_FORMAT_WAV | SF_FORMAT_PCM_U8;
    case 7: return SF_FORMAT_WAV | SF_FORMAT_DOUBLE;
    default: return SF_FORMAT_WAV | SF_FORMAT_PCM_32;
    }
}

// Frames in the width libsndfile writes the type from: short (16 and 8 bits), int (24
// and 32 bits), float, double; full-scale noise.
struct SndfileFrames {
    std::vector<short> s16;
    std::vector<int> s32;
    std::vector<float> f32;
    std::vector<double> f64;
};
SndfileFrames sndfileFrames(int type, std::size_t count) {
    SndfileFrames f;
    std::mt19937 rng(3);
    if (type == 0) {
        for (std::size_t i = 0; i < count; ++i) f.f32.push_back(std::uniform_real_distribution<float>(-1, 1)(rng));
    } else if (type == 7) {
        for (std::size_t i = 0; i < count; ++i) f.f64.push_back(std::uniform_real_distribution<double>(-1, 1)(rng));
    } else if (type == 1 || type == 3 || type == 4) {
        for (std::size_t i = 0; i < count; ++i) f.s16.push_back(short(rng()));
    } else {
        for (std::size_t i = 0; i < count; ++i) f.s32.push_back(int(rng()));
    }
    return f;
}
sf_count_t writeFrames(SNDFILE* w, const SndfileFrames& f, sf_count_t frames) {
    if (!f.f32.empty()) return sf_writef_float(w, f.f32.data(), frames);
    if (!f.f64.empty()) return sf_writef_double(w, f.f64.data(), frames);
    if (!f.s16.empty()) return sf_writef_short(w, f.s16.data(), frames);
    return sf_writef_int(w, f.s32.data(), frames);
}

void addSndfile(const Case& c) {
    benchmark::RegisterBenchmark(key("sndfile-read", c.type, c.channels, c.frames).c_str(), [c](benchmark::State& st) {
        MemFile file;
        SF_INFO info{};
        info.samplerate = 48000;
        info.channels = int(c.channels);
        info.format = sndfileFormat(c.type);
        SNDFILE* w = sf_open_virtual(&kVirtualIo, SFM_WRITE, &info, &file);
        if (!w) {
            st.SkipWithError("sf_open_virtual (write) failed");
            return;
        }
        std::vector<float> frames(std::size_t(c.frames) * c.channels);
        std::mt19937 rng(3);
        for (auto& f : frames) f = std::uniform_real_distribution<float>(-1.0f, 1.0f)(rng);
        sf_writef_float(w, frames.data(), c.frames);
        sf_close(w);
        file.pos = 0;
        SF_INFO rinfo{};
        SNDFILE* r = sf_open_virtual(&kVirtualIo, SFM_READ, &rinfo, &file);
        if (!r) {
            st.SkipWithError("sf_open_virtual (read) failed");
            return;
        }
        std::vector<float> out(frames.size());
        for (auto _ : st) {
            sf_seek(r, 0, SEEK_SET);
            if (sf_readf_float(r, out.data(), c.frames) != sf_count_t(c.frames)) st.SkipWithError("short read");
            benchmark::ClobberMemory();
        }
        sf_close(r);
        st.SetBytesProcessed(std::int64_t(st.iterations()) * std::int64_t(c.bytes()));
    });
    benchmark::RegisterBenchmark(key("sndfile-write", c.type, c.channels, c.frames).c_str(), [c](benchmark::State& st) {
        MemFile file;
        SF_INFO info{};
        info.samplerate = 48000;
        info.channels = int(c.channels);
        info.format = sndfileFormat(c.type);
        SNDFILE* w = sf_open_virtual(&kVirtualIo, SFM_WRITE, &info, &file);
        if (!w) {
            st.SkipWithError("sf_open_virtual (write) failed");
            return;
        }
        const SndfileFrames frames = sndfileFrames(c.type, std::size_t(c.frames) * c.channels);
        for (auto _ : st) {
            // Over the same frames of the file each time: the file does not grow.
            if (sf_seek(w, 0, SEEK_SET) != 0) st.SkipWithError("sf_seek (write) failed");
            if (writeFrames(w, frames, c.frames) != sf_count_t(c.frames)) st.SkipWithError("short write");
            benchmark::ClobberMemory();
        }
        sf_close(w);
        st.SetBytesProcessed(std::int64_t(st.iterations()) * std::int64_t(c.bytes()));
    });
}
#endif

// Keeps every run's time per iteration (ns) for the ratio table.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> ns;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            if (r.error_occurred) continue;
            const double t = r.GetAdjustedRealTime() * benchmark::GetTimeUnitMultiplier(benchmark::kNanosecond) /
                             benchmark::GetTimeUnitMultiplier(r.time_unit);
            // With repetitions the median wins over single runs.
            if (r.run_type == Run::RT_Aggregate && r.aggregate_name == "median") medians[r.run_name.str()] = t;
            if (r.run_type == Run::RT_Iteration) ns[r.run_name.str()] = t;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> best() const {
        auto all = ns;
        for (const auto& [k, v] : medians) all[k] = v;
        return all;
    }

private:
    std::map<std::string, double> medians;
};

std::vector<Case> allCases() {
    std::set<std::tuple<int, unsigned, unsigned>> seen;
    std::vector<Case> cases;
    auto add = [&](int type, unsigned ch, unsigned frames) {
        if (seen.insert({type, ch, frames}).second) cases.push_back(Case{type, ch, frames});
    };
    for (int type : kTypes)
        for (unsigned ch : kChannels)
            for (unsigned frames : kFrames) add(type, ch, frames);
    for (int type = 0; type <= 9; ++type)
        for (unsigned ch = 1; ch <= 8; ++ch) add(type, ch, kSweepFrames);
    return cases;
}

void printRatios(const std::map<std::string, double>& ns) {
    auto get = [&](const std::string& k) {
        const auto it = ns.find(k);
        return it == ns.end() ? 0.0 : it->second;
    };
    auto ratio = [](double num, double den) { return den > 0 && num > 0 ? num / den : 0.0; };
    std::printf("\nkernels: %s (ratios of medians; the machine may be shared)\n", Aud::SampleManip::activeKernelName());
    std::printf("%-14s %5s %3s %6s %9s %9s %9s %9s\n", "operation", "type", "ch", "frames", "GB/s", "vs memcpy",
                "vs scalar", "vs sndfile");
    const std::vector<Case> cases = allCases();
    for (const char* op : {"deinterleave", "write"}) {
        const std::string sndfile = std::string("sndfile-") + (op[0] == 'd' ? "read" : "write");
        for (const Case& c : cases) {
            const double t = get(key(op, c.type, c.channels, c.frames));
            if (t <= 0) continue;  // not run (filtered out, or failed)
            const double bytes = double(c.bytes());
            std::printf("%-14s %5d %3u %6u %9.2f %9.2f %9.2f %9.2f\n", op, c.type, c.channels, c.frames, bytes / t,
                        ratio(get(key("memcpy", c.type, c.channels, c.frames)), t),
                        ratio(get(key((std::string(op) + "-scalar").c_str(), c.type, c.channels, c.frames)), t),
                        ratio(get(key(sndfile.c_str(), c.type, c.channels, c.frames)), t));
        }
    }
    // The aims, for every type and channel count at the sweep's block size: at least half
    // memcpy's bandwidth, and at least twice libsndfile's speed for the same conversion.
    std::printf("\n");
    for (const char* op : {"deinterleave", "write"}) {
        const std::string sndfile = std::string("sndfile-") + (op[0] == 'd' ? "read" : "write");
        for (const Case& c : cases) {
            const double t = get(key(op, c.type, c.channels, c.frames));
            if (c.frames != kSweepFrames || t <= 0) continue;
            const double vsMemcpy = ratio(get(key("memcpy", c.type, c.channels, c.frames)), t);
            std::printf("aim: Interleaver %s type %d, %u ch: %.2f x memcpy (aim 0.5) %s\n", op, c.type, c.channels,
                        vsMemcpy, vsMemcpy >= 0.5 ? "met" : "MISSED");
            const double vsSndfile = ratio(get(key(sndfile.c_str(), c.type, c.channels, c.frames)), t);
            if (vsSndfile > 0)
                std::printf("aim: Interleaver %s type %d, %u ch: %.2f x libsndfile (aim 2) %s\n", op, c.type,
                            c.channels, vsSndfile, vsSndfile >= 2.0 ? "met" : "MISSED");
        }
    }
}

double cpuNow() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// Best of 7 runs of processor time, in nanoseconds per call.
template <class Fn>
double bestNs(Fn fn) {
    double best = 1e30;
    for (int run = 0; run < 7; ++run) {
        constexpr int kCalls = 200;
        const double t0 = cpuNow();
        for (int i = 0; i < kCalls; ++i) fn();
        best = std::min(best, (cpuNow() - t0) * 1e9 / kCalls);
    }
    return best;
}

// Every instruction-set table this machine runs, side by side at the sweep's block size,
// split and export of types 0, 1, 2 and 6 at 2 and 8 channels: which is fastest, and
// whether the one the library selected is within 5 % of it.
void printInstructionSets() {
    namespace SM = Aud::SampleManip;
    std::vector<const SM::Kernels*> sets;
    for (const SM::Kernels* k : {SM::sse2Kernels(), SM::avx2Kernels(), SM::avx512Kernels(), SM::avx512VbmiKernels()})
        if (k) sets.push_back(k);
    const SM::Kernels& selected = SM::activeKernels();
    if (std::find(sets.begin(), sets.end(), &selected) == sets.end()) sets.push_back(&selected);
    std::printf("\nevery instruction set, %u frames, ns per call (* the fastest; selected: %s)\n", kSweepFrames,
                selected.name);
    std::printf("%-8s %4s %3s", "op", "type", "ch");
    for (const SM::Kernels* k : sets) std::printf(" %16s", k->name);
    std::printf("\n");
    for (const char* op : {"split", "export"})
        for (int type : kTypes)
            for (unsigned ch : kChannels) {
                const Aud::Metadata fmt(1, ch, 48000, type, 0);
                const unsigned stride = fmt.getStride();
                const std::vector<unsigned char> src = samples(type, std::size_t(kSweepFrames) * ch, 3);
                std::vector<std::vector<unsigned char>> planes(
                    ch, std::vector<unsigned char>(std::size_t(kSweepFrames) * stride));
                for (unsigned c = 0; c < ch; ++c) planes[c] = samples(type, kSweepFrames, 20 + c);
                std::vector<unsigned char*> outs;
                std::vector<const unsigned char*> ins;
                for (auto& p : planes) {
                    outs.push_back(p.data());
                    ins.push_back(p.data());
                }
                std::vector<unsigned char> out(src.size());
                std::vector<double> ns;
                for (const SM::Kernels* k : sets) {
                    if (op[0] == 's')
                        ns.push_back(bestNs([&] {
                            k->split(src.data(), ch, stride, stride, false, kSweepFrames, outs.data());
                            benchmark::ClobberMemory();
                        }));
                    else
                        ns.push_back(bestNs([&] {
                            k->exportPlanar[type](ins.data(), ch, kSweepFrames, out.data());
                            benchmark::ClobberMemory();
                        }));
                }
                const double fastest = *std::min_element(ns.begin(), ns.end());
                double selectedNs = 0;
                std::printf("%-8s %4d %3u", op, type, ch);
                for (std::size_t i = 0; i < sets.size(); ++i) {
                    std::printf(" %15.0f%s", ns[i], ns[i] == fastest ? "*" : " ");
                    if (sets[i] == &selected) selectedNs = ns[i];
                }
                std::printf("\n");
                if (selectedNs > 0)
                    std::printf("aim: Interleaver %s type %d, %u ch: selected %s at %.2f x the fastest's time (aim "
                                "1.05) %s\n",
                                op, type, ch, selected.name, selectedNs / fastest,
                                selectedNs <= 1.05 * fastest ? "met" : "MISSED");
            }
}

}  // namespace

int main(int argc, char** argv) {
    bool minTimeGiven = false, repetitionsGiven = false;
    for (int i = 1; i < argc; ++i) {
        minTimeGiven = minTimeGiven || std::strstr(argv[i], "min_time");
        repetitionsGiven = repetitionsGiven || std::strstr(argv[i], "repetitions");
    }
    for (const Case& c : allCases()) {
        addMemcpy(c);
        addDeinterleave(c);
        addWrite(c);
#ifdef AUDATOMS_HAVE_SNDFILE
        addSndfile(c);
#endif
    }
    // Short runs (there are many cases) unless told otherwise.
    static char minTime[] = "--benchmark_min_time=0.1";
    // The machine may be shared: unless told otherwise, take the median of 3 runs.
    static char reps[] = "--benchmark_repetitions=3", aggregates[] = "--benchmark_report_aggregates_only=true";
    std::vector<char*> args(argv, argv + argc);
    if (!minTimeGiven) args.push_back(minTime);
    if (!repetitionsGiven) {
        args.push_back(reps);
        args.push_back(aggregates);
    }
    argc = int(args.size());
    argv = args.data();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printRatios(reporter.best());
    printInstructionSets();
    benchmark::Shutdown();
    return 0;
}
