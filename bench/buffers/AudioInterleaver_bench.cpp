// deinterleaveAudio and writeSamplesPlanar for sample types 0, 1, 2 and 6, 2 and 8
// channels, 256 / 4096 / 65536 frames, each beside memcpy of the same bytes, beside the
// plain scalar reference and (when built with libsndfile) beside sf_readf_float reading
// the same frames from an in-memory WAV through its virtual I/O.
// After Google Benchmark's report a ratio table is printed:
//   vs memcpy  = memcpy time / our time (1.0 = memcpy's bandwidth)
//   vs scalar  = reference time / our time
//   vs sndfile = libsndfile time / our time
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/buffers/Aud__SampleManip_testing.h"

#include <benchmark/benchmark.h>

#ifdef AUDATOMS_HAVE_SNDFILE
#include <sndfile.h>
#endif

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

const int kTypes[] = {0, 1, 2, 6};
const unsigned kChannels[] = {2, 8};
const unsigned kFrames[] = {256, 4096, 65536};

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
    benchmark::RegisterBenchmark(
        key("deinterleave-scalar", c.type, c.channels, c.frames).c_str(), [c](benchmark::State& st) {
            const auto src = samples(c.type, std::size_t(c.frames) * c.channels, 2);
            const unsigned width = Aud::sampleTypeStride(c.type);
            std::vector<std::vector<unsigned char>> planes(c.channels,
                                                           std::vector<unsigned char>(std::size_t(c.frames) * width));
            std::vector<unsigned char*> outs;
            for (auto& p : planes) outs.push_back(p.data());
            for (auto _ : st) {
                Aud::SampleManip::referenceKernels().split(src.data(), c.channels, width, width, false, c.frames,
                                                           outs.data());
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
    benchmark::RegisterBenchmark(
        key("write", c.type, c.channels, c.frames).c_str(), [c, planesOf](benchmark::State& st) {
            const auto planes = planesOf();
            std::vector<const unsigned char*> ptrs;
            for (const auto& p : planes) ptrs.push_back(p.data());
            AudioInterleaver interleaver(c.type, c.channels,
                                         c.type == 0 ? Aud::keAudioDataTypeFloat : Aud::keAudioDataTypePCM);
            for (auto _ : st) {
                if (interleaver.writeSamplesPlanar(ptrs, c.frames) != 0) st.SkipWithError("write failed");
                benchmark::DoNotOptimize(interleaver.getScratch());
                benchmark::ClobberMemory();
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
    default: return SF_FORMAT_WAV | SF_FORMAT_PCM_32;
    }
}

void addSndfile(const Case& c) {
    benchmark::RegisterBenchmark(key("sndfile", c.type, c.channels, c.frames).c_str(), [c](benchmark::State& st) {
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

void printRatios(const std::map<std::string, double>& ns) {
    auto get = [&](const std::string& k) {
        const auto it = ns.find(k);
        return it == ns.end() ? 0.0 : it->second;
    };
    auto ratio = [](double num, double den) { return den > 0 && num > 0 ? num / den : 0.0; };
    std::printf("\nkernels: %s\n", Aud::SampleManip::activeKernelName());
    std::printf("%-14s %5s %3s %6s %9s %9s %9s %9s\n", "operation", "type", "ch", "frames", "GB/s", "vs memcpy",
                "vs scalar", "vs sndfile");
    for (const char* op : {"deinterleave", "write"})
        for (int type : kTypes)
            for (unsigned ch : kChannels)
                for (unsigned frames : kFrames) {
                    const double t = get(key(op, type, ch, frames));
                    const double bytes = double(frames) * ch * Aud::sampleTypeStride(type);
                    std::printf("%-14s %5d %3u %6u %9.2f %9.2f %9.2f %9.2f\n", op, type, ch, frames,
                                t > 0 ? bytes / t : 0.0, ratio(get(key("memcpy", type, ch, frames)), t),
                                ratio(get(key((std::string(op) + "-scalar").c_str(), type, ch, frames)), t),
                                ratio(get(key("sndfile", type, ch, frames)), t));
                }
}

}  // namespace

int main(int argc, char** argv) {
    for (int type : kTypes)
        for (unsigned ch : kChannels)
            for (unsigned frames : kFrames) {
                const Case c{type, ch, frames};
                addMemcpy(c);
                addDeinterleave(c);
                addWrite(c);
#ifdef AUDATOMS_HAVE_SNDFILE
                addSndfile(c);
#endif
            }
    // The machine may be shared: unless told otherwise, take the median of 3 runs.
    std::vector<char*> args(argv, argv + argc);
    bool repetitionsGiven = false;
    for (int i = 1; i < argc; ++i) repetitionsGiven = repetitionsGiven || std::strstr(argv[i], "repetitions");
    static char reps[] = "--benchmark_repetitions=3", aggregates[] = "--benchmark_report_aggregates_only=true";
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
    benchmark::Shutdown();
    return 0;
}
