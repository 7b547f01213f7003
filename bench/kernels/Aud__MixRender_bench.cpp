// Speed of the mix render kernels and the biquad filters (one section, a three-band
// cascade, and 32 three-band equalisers channel by channel and all together with each
// instruction set), and of 32 channels' ramps one by one and all together.
//
// Every kernel at 64 .. 65536 samples, with source and destination aligned to 64 bytes
// and misaligned by one float (each alone and both), beside memcpy of the same number of
// floats, a loop of the same number of dependent float additions (the serial ramps'
// chain) and the kernel's scalar reference. The machine may be shared, so every benchmark
// runs in short measurements (kMinTime each) over kPasses passes spread through the run,
// and each figure is the best of them; the table after Google Benchmark's report (of the
// first pass) gives the ratios:
//   /memcpy  aligned kernel time over aligned memcpy time
//   src+1, dst+1, both+1  misaligned time over aligned time
//   /chain   aligned ramp time over the dependent-addition loop
//   /ref     aligned kernel time over its scalar reference
// with the aims checked at 256, 1024 and 4096 samples (lines "aim: ...").
#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/kernels/Aud__Biquad_testing.h"
#include "AudAtoms/kernels/Aud__MixRender_testing.h"
#include "platform/FloatingPointMode.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

using namespace Aud::MixRender;

namespace {

const unsigned kSizes[] = {64, 256, 1024, 4096, 65536};
const unsigned kSetSizes[] = {256, 1024, 4096};  // the instruction-set comparison
const eInstructionSet kSets[] = {eInstructionSet::kSSE2, eInstructionSet::kAVX2, eInstructionSet::kAVX512};
constexpr double kMinTime = 0.02;  // seconds per measurement
constexpr int kPasses = 7;

struct Misalign {
    const char* name;
    unsigned src, dst;
};
const Misalign kMisaligns[] = {{"aligned", 0, 0}, {"src+1", 1, 0}, {"dst+1", 0, 1}, {"both+1", 1, 1}};

// Three 64-byte aligned arenas large enough for the largest size plus offsets.
struct Arena {
    float* p;
    explicit Arena(std::size_t n) {
        p = static_cast<float*>(std::aligned_alloc(64, ((n + 64) * sizeof(float) + 63) / 64 * 64));
        for (std::size_t i = 0; i < n + 64; ++i) p[i] = static_cast<float>((i * 7919) % 2001) / 1000.0f - 1.0f;
    }
    ~Arena() { std::free(p); }
};

Arena& arena(int which) {
    static Arena a0(65536), a1(65536), a2(65536);
    return which == 0 ? a0 : which == 1 ? a1 : a2;
}

using KernelFn = void (*)(float* s, float* d1, float* d2, unsigned count);

struct Kernel {
    std::string name;
    KernelFn fast, reference;
    bool ramp;
    double memcpyAim;  // 1.3 (2.6 with two destinations); 0: the serial ramps, measured against the chain
};

float gPeak = 0;

std::vector<Kernel> kernels() {
    return {
        {"PeakScan", [](float* s, float*, float*, unsigned c) { PeakScan(s, c, &gPeak); },
         [](float* s, float*, float*, unsigned c) { Reference::PeakScan(s, c, &gPeak); }, false, 1.3},
        {"MultiplyConstant", [](float* s, float* d, float*, unsigned c) { MultiplyConstant(s, d, c, 0.7f); },
         [](float* s, float* d, float*, unsigned c) { Reference::MultiplyConstant(s, d, c, 0.7f); }, false, 1.3},
        {"MultiplyConstantWithPrePeakScan",
         [](float* s, float* d, float*, unsigned c) { MultiplyConstantWithPrePeakScan(s, d, c, 0.7f, &gPeak); },
         [](float* s, float* d, float*, unsigned c) {
             Reference::MultiplyConstantWithPrePeakScan(s, d, c, 0.7f, &gPeak);
         },
         false, 1.3},
        {"Add", [](float* s, float* d, float*, unsigned c) { Add(s, d, c); },
         [](float* s, float* d, float*, unsigned c) { Reference::Add(s, d, c); }, false, 1.3},
        {"MultiplyConstantAndAdd",
         [](float* s, float* d, float*, unsigned c) { MultiplyConstantAndAdd(s, d, c, 0.3f); },
         [](float* s, float* d, float*, unsigned c) { Reference::MultiplyConstantAndAdd(s, d, c, 0.3f); }, false, 1.3},
        {"MultiplyConstantAndAddWithPrePeakScan",
         [](float* s, float* d, float*, unsigned c) { MultiplyConstantAndAddWithPrePeakScan(s, d, c, 0.3f, &gPeak); },
         [](float* s, float* d, float*, unsigned c) {
             Reference::MultiplyConstantAndAddWithPrePeakScan(s, d, c, 0.3f, &gPeak);
         },
         false, 1.3},
        {"MultiplyConstantAndAdd2",
         [](float* s, float* d1, float* d2, unsigned c) { MultiplyConstantAndAdd2(s, d1, d2, c, 0.3f, -0.2f); },
         [](float* s, float* d1, float* d2, unsigned c) {
             Reference::MultiplyConstantAndAdd2(s, d1, d2, c, 0.3f, -0.2f);
         },
         false, 2.6},
        {"MultiplyWithDelta", [](float* s, float* d, float*, unsigned c) { MultiplyWithDelta(s, d, c, 0.5f, 1e-6f); },
         [](float* s, float* d, float*, unsigned c) { Reference::MultiplyWithDelta(s, d, c, 0.5f, 1e-6f); }, true, 0},
        {"MultiplyWithDeltaAndAdd",
         [](float* s, float* d, float*, unsigned c) { MultiplyWithDeltaAndAdd(s, d, c, 0.5f, -1e-6f); },
         [](float* s, float* d, float*, unsigned c) { Reference::MultiplyWithDeltaAndAdd(s, d, c, 0.5f, -1e-6f); },
         true, 0},
        // Levels from each sample's index: no chain, so measured against memcpy like the
        // others (each level costs a conversion, a product and a sum more).
        {"MultiplyWithRampFrom",
         [](float* s, float* d, float*, unsigned c) { MultiplyWithRampFrom(s, d, c, 0.5f, 1e-6f, 1000); },
         [](float* s, float* d, float*, unsigned c) { Reference::MultiplyWithRampFrom(s, d, c, 0.5f, 1e-6f, 1000); },
         false, 1.3},
        {"MultiplyWithRampFromAndAdd",
         [](float* s, float* d, float*, unsigned c) { MultiplyWithRampFromAndAdd(s, d, c, 0.5f, -1e-6f, 1000); },
         [](float* s, float* d, float*, unsigned c) {
             Reference::MultiplyWithRampFromAndAdd(s, d, c, 0.5f, -1e-6f, 1000);
         },
         false, 1.3},
    };
}

std::string key(const std::string& what, unsigned size, const std::string& variant) {
    return what + "/" + std::to_string(size) + "/" + variant;
}

std::vector<eInstructionSet> machineSets() {
    std::vector<eInstructionSet> sets;
    for (eInstructionSet s : {eInstructionSet::kSSE2, eInstructionSet::kAVX2, eInstructionSet::kAVX512})
        if (isInstructionSetSupported(s)) sets.push_back(s);
    return sets;
}

// 32 three-band equalisers over one 1920-sample block: by processSample channel by
// channel (no set), or by processChannels with `set`'s widest vectors.
void registerEqualisers(const std::string& name, std::optional<eInstructionSet> set) {
    benchmark::RegisterBenchmark(name.c_str(), [set](benchmark::State& st) {
        using Aud::Filter::Biquad;
        using Shape = Biquad::ShapeDescriptor;
        constexpr unsigned kChannels = 32, kFrames = 1920;
        std::vector<Aud::Filter::MultiBandBiquad<3>> eqs(kChannels);
        std::vector<Biquad*> sections;
        std::vector<std::vector<float>> data(kChannels, std::vector<float>(kFrames));
        std::vector<float*> x;
        for (unsigned c = 0; c < kChannels; ++c) {
            auto& eq = eqs[c];
            eq.getBand(0).configure(Biquad::kLowShelf, 100.0f + c, 48000.0f, Shape{Shape::kShelfSlope, 1.0f}, 3.0);
            eq.getBand(1).configure(Biquad::kPeaking, 1000.0f + c, 48000.0f, Shape{Shape::kQ, 1.0f}, -4.0);
            eq.getBand(2).configure(Biquad::kHighShelf, 8000.0f, 48000.0f, Shape{Shape::kQ, 0.7071f}, 2.0);
            for (unsigned b = 0; b < 3; ++b) {
                eq.getBand(b).setActive(true);
                sections.push_back(&eq.getBand(b));
            }
            for (unsigned i = 0; i < kFrames; ++i) data[c][i] = float((i * 7 + c * 13) % 101) / 101.0f - 0.5f;
            x.push_back(data[c].data());
        }
        if (set) Aud::Filter::BiquadChannels::setInstructionSet(*set);
        platform::ScopedFlushDenormals guard;  // as a renderer runs them
        for (auto _ : st) {
            if (set) {
                Biquad::processChannels(sections.data(), 3, x.data(), kChannels, kFrames);
            } else {
                for (unsigned c = 0; c < kChannels; ++c)
                    for (unsigned i = 0; i < kFrames; ++i) {
                        float v = x[c][i];
                        for (unsigned b = 0; b < 3; ++b) v = eqs[c].getBand(b).processSample(v);
                        x[c][i] = v;
                    }
            }
            benchmark::ClobberMemory();
        }
        Aud::Filter::BiquadChannels::selectBestInstructionSet();
        st.SetItemsProcessed(st.iterations() * kChannels * kFrames);
    })->MinTime(kMinTime);
}

// 32 channels' ramps over one 1920-sample block with `set`'s loops: channel by channel
// with the serial-chain kernel, all together with the many-channel one, and channel by
// channel with the ramp from a run's start (no chain) and with memcpy, for scale.
constexpr unsigned kRampChannels = 32, kRampFrames = 1920;
const char* const kRampWays[] = {"MultiplyWithDelta each", "MultiplyWithDeltaChannels", "MultiplyWithRampFrom each",
                                 "memcpy each"};

std::string rampKey(int way, eInstructionSet set) {
    return std::string("ramps 32x1920/") + kRampWays[way] + "/" + getInstructionSetName(set);
}

void registerRamps(int way, eInstructionSet set) {
    benchmark::RegisterBenchmark(rampKey(way, set).c_str(), [way, set](benchmark::State& st) {
        std::vector<std::vector<float>> in(kRampChannels, std::vector<float>(kRampFrames)),
            out(kRampChannels, std::vector<float>(kRampFrames));
        std::vector<float*> src, dst;
        std::vector<float> levels, deltas;
        for (unsigned c = 0; c < kRampChannels; ++c) {
            for (unsigned i = 0; i < kRampFrames; ++i) in[c][i] = float((i * 7 + c * 13) % 101) / 101.0f - 0.5f;
            src.push_back(in[c].data());
            dst.push_back(out[c].data());
            levels.push_back(0.5f + 0.01f * float(c));
            deltas.push_back(1e-6f * float(c + 1));
        }
        setInstructionSet(set);
        for (auto _ : st) {
            switch (way) {
            case 0:
                for (unsigned c = 0; c < kRampChannels; ++c)
                    MultiplyWithDelta(src[c], dst[c], kRampFrames / 4, levels[c], deltas[c]);
                break;
            case 1:
                MultiplyWithDeltaChannels(src.data(), dst.data(), kRampFrames / 4, levels.data(), deltas.data(),
                                          kRampChannels);
                break;
            case 2:
                for (unsigned c = 0; c < kRampChannels; ++c)
                    MultiplyWithRampFrom(src[c], dst[c], kRampFrames / 4, levels[c], deltas[c], 1000);
                break;
            default:
                for (unsigned c = 0; c < kRampChannels; ++c) std::memcpy(dst[c], src[c], kRampFrames * sizeof(float));
                break;
            }
            benchmark::ClobberMemory();
        }
        selectBestInstructionSet();
        st.SetItemsProcessed(st.iterations() * kRampChannels * kRampFrames);
    })->MinTime(kMinTime);
}

void registerAll() {
    for (const Kernel& k : kernels()) {
        for (unsigned size : kSizes) {
            for (const Misalign& m : kMisaligns) {
                benchmark::RegisterBenchmark(key(k.name, size, m.name).c_str(), [k, size, m](benchmark::State& st) {
                    float* s = arena(0).p + m.src;
                    float* d1 = arena(1).p + m.dst;
                    float* d2 = arena(2).p + m.dst;
                    for (auto _ : st) {
                        k.fast(s, d1, d2, size / 4);
                        benchmark::ClobberMemory();
                    }
                })->MinTime(kMinTime);
            }
            benchmark::RegisterBenchmark(key(k.name, size, "reference").c_str(), [k, size](benchmark::State& st) {
                for (auto _ : st) {
                    k.reference(arena(0).p, arena(1).p, arena(2).p, size / 4);
                    benchmark::ClobberMemory();
                }
            })->MinTime(kMinTime);
        }
    }
    // Every instruction set this CPU runs, forced one at a time (aligned buffers), so that
    // the table shows which one is fastest for each kernel beside the one selected.
    for (eInstructionSet set : kSets) {
        if (!isInstructionSetSupported(set)) continue;
        for (const Kernel& k : kernels()) {
            for (unsigned size : kSetSizes) {
                const std::string variant = std::string("aligned@") + getInstructionSetName(set);
                benchmark::RegisterBenchmark(key(k.name, size, variant).c_str(), [k, size, set](benchmark::State& st) {
                    setInstructionSet(set);
                    for (auto _ : st) {
                        k.fast(arena(0).p, arena(1).p, arena(2).p, size / 4);
                        benchmark::ClobberMemory();
                    }
                    selectBestInstructionSet();
                })->MinTime(kMinTime);
            }
        }
    }
    for (unsigned size : kSizes) {
        benchmark::RegisterBenchmark(key("memcpy", size, "aligned").c_str(), [size](benchmark::State& st) {
            for (auto _ : st) {
                std::memcpy(arena(1).p, arena(0).p, size * sizeof(float));
                benchmark::ClobberMemory();
            }
        })->MinTime(kMinTime);
        benchmark::RegisterBenchmark(key("chain", size, "aligned").c_str(), [size](benchmark::State& st) {
            float level = 0.5f, delta = 1e-6f;
            for (auto _ : st) {
                benchmark::DoNotOptimize(level);
                benchmark::DoNotOptimize(delta);
                float l = level;
                for (unsigned i = 0; i < size; ++i) l += delta;
                benchmark::DoNotOptimize(l);
            }
        })->MinTime(kMinTime);
    }
    // Biquad: one section over a buffer, and a three-band group per sample.
    benchmark::RegisterBenchmark("Biquad::processSample/4096", [](benchmark::State& st) {
        using Aud::Filter::Biquad;
        Biquad b(Biquad::kPeaking, 1000.0f, 48000.0f, Biquad::ShapeDescriptor{Biquad::ShapeDescriptor::kQ, 1.0f}, 6.0,
                 true);
        float* x = arena(0).p;
        float* y = arena(1).p;
        for (auto _ : st) {
            for (unsigned i = 0; i < 4096; ++i) y[i] = b.processSample(x[i]);
            benchmark::ClobberMemory();
        }
        st.SetItemsProcessed(st.iterations() * 4096);
    })->MinTime(kMinTime);
    benchmark::RegisterBenchmark("MultiBandBiquad<3>/4096", [](benchmark::State& st) {
        using Aud::Filter::Biquad;
        using Shape = Biquad::ShapeDescriptor;
        Aud::Filter::MultiBandBiquad<3> eq;
        eq.getBand(0).configure(Biquad::kLowShelf, 100.0f, 48000.0f, Shape{Shape::kShelfSlope, 1.0f}, 3.0);
        eq.getBand(1).configure(Biquad::kPeaking, 1000.0f, 48000.0f, Shape{Shape::kQ, 1.0f}, -4.0);
        eq.getBand(2).configure(Biquad::kHighShelf, 8000.0f, 48000.0f, Shape{Shape::kQ, 0.7071f}, 2.0);
        for (unsigned i = 0; i < 3; ++i) eq.getBand(i).setActive(true);
        float* x = arena(0).p;
        float* y = arena(1).p;
        for (auto _ : st) {
            for (unsigned i = 0; i < 4096; ++i) {
                float v = x[i];
                for (unsigned b = 0; b < 3; ++b) v = eq.getBand(b).processSample(v);
                y[i] = v;
            }
            benchmark::ClobberMemory();
        }
        st.SetItemsProcessed(st.iterations() * 4096);
    })->MinTime(kMinTime);
    // 32 channels through three-band equalisers, one video frame (1920 samples): channel
    // by channel with processSample, and all together with processChannels, with the
    // widest vectors of each instruction set this machine runs.
    registerEqualisers("processSample 32x3x1920", std::nullopt);
    for (eInstructionSet set : machineSets())
        registerEqualisers(std::string("Biquad::processChannels/32x3x1920/") + getInstructionSetName(set), set);
    for (eInstructionSet set : machineSets())
        for (int way = 0; way < int(std::size(kRampWays)); ++way) registerRamps(way, set);
}

// Keeps the best nanoseconds per iteration of each benchmark over the passes.
class BestOf : public benchmark::ConsoleReporter {
public:
    bool print = true;
    std::map<std::string, double> best;

    bool ReportContext(const Context& context) override {
        return print ? ConsoleReporter::ReportContext(context) : true;
    }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            if (r.run_type != Run::RT_Iteration || r.error_occurred) continue;
            // Thread CPU time: on a shared machine wall time also counts the time others ran.
            const double ns = r.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(r.time_unit) * 1e9;
            std::string name = r.benchmark_name();
            name = name.substr(0, name.find("/min_time:"));
            auto it = best.find(name);
            if (it == best.end() || ns < it->second) best[name] = ns;
        }
        if (print) ConsoleReporter::ReportRuns(runs);
    }
};

// A ratio of a time that was not measured (filtered out) is no verdict at all.
const char* verdict(double ratio, double aim) {
    if (!(ratio > 0) || !std::isfinite(ratio)) return "not measured";
    return ratio <= aim ? "met" : "MISSED";
}

void printTables(const std::map<std::string, double>& t) {
    auto at = [&](const std::string& k) {
        auto it = t.find(k);
        return it == t.end() ? 0.0 : it->second;
    };
    std::printf("\nMix render kernels, %s loops; best of %d passes, CPU ns per call\n",
                getInstructionSetName(getInstructionSet()), kPasses);
    std::printf("%-38s %6s %10s %8s %7s %7s %7s %8s %8s\n", "kernel", "size", "aligned", "/memcpy", "src+1", "dst+1",
                "both+1", "/chain", "/ref");
    std::vector<std::string> misses;
    for (const Kernel& k : kernels()) {
        for (unsigned size : kSizes) {
            const double aligned = at(key(k.name, size, "aligned"));
            const double mc = at(key("memcpy", size, "aligned")), chain = at(key("chain", size, "aligned"));
            const double r[3] = {at(key(k.name, size, "src+1")) / aligned, at(key(k.name, size, "dst+1")) / aligned,
                                 at(key(k.name, size, "both+1")) / aligned};
            const double vsMemcpy = aligned / mc, vsChain = aligned / chain;
            std::printf("%-38s %6u %10.1f %8.2f %7.2f %7.2f %7.2f %8.2f %8.2f\n", k.name.c_str(), size, aligned,
                        vsMemcpy, r[0], r[1], r[2], vsChain, aligned / at(key(k.name, size, "reference")));
            if (size != 256 && size != 1024 && size != 4096) continue;
            char line[200];
            if (k.ramp) {
                std::snprintf(line, sizeof line, "aim: MixRender %s %u: %.2f x chain (aim 1.2) %s", k.name.c_str(),
                              size, vsChain, verdict(vsChain, 1.2));
            } else {
                std::snprintf(line, sizeof line, "aim: MixRender %s %u: %.2f x memcpy (aim %.2f) %s", k.name.c_str(),
                              size, vsMemcpy, k.memcpyAim, verdict(vsMemcpy, k.memcpyAim));
            }
            misses.push_back(line);
            const double worst = std::max({r[0], r[1], r[2]});
            std::snprintf(line, sizeof line, "aim: MixRender %s %u: worst misaligned %.2f x aligned (aim 1.3) %s",
                          k.name.c_str(), size, worst, verdict(worst, 1.3));
            misses.push_back(line);
        }
    }
    std::printf("\nEvery instruction set, aligned, CPU ns per call (* the fastest; selected: %s, PeakScan %s, "
                "adds %s)\n",
                getInstructionSetName(getInstructionSet()), getInstructionSetName(getPeakScanInstructionSet()),
                getInstructionSetName(getAddInstructionSet()));
    std::printf("%-38s %6s", "kernel", "size");
    for (eInstructionSet set : kSets)
        if (isInstructionSetSupported(set)) std::printf(" %10s", getInstructionSetName(set));
    std::printf("\n");
    std::vector<std::string> setAims;
    for (const Kernel& k : kernels()) {
        // The set the library selected for this kernel, and its time over all sizes
        // against the fastest set's.
        const bool isAdd = k.name == "Add" || k.name == "MultiplyConstantAndAdd" || k.name == "MultiplyConstantAndAdd2";
        const eInstructionSet chosen = k.name == "PeakScan" ? getPeakScanInstructionSet()
                                       : isAdd              ? getAddInstructionSet()
                                                            : getInstructionSet();
        std::map<eInstructionSet, double> total;
        for (unsigned size : kSetSizes)
            for (eInstructionSet set : kSets)
                if (isInstructionSetSupported(set))
                    total[set] += at(key(k.name, size, std::string("aligned@") + getInstructionSetName(set)));
        double best = 0;
        for (const auto& [set, ns] : total)
            if (best == 0 || ns < best) best = ns;
        const double vsFastest = best > 0 ? total[chosen] / best : 0.0;
        char line[200];
        std::snprintf(line, sizeof line,
                      "aim: MixRender %s: selected %s at %.2f x the fastest set's time (sum over sizes; aim 1.05) %s",
                      k.name.c_str(), getInstructionSetName(chosen), vsFastest, vsFastest <= 1.05 ? "met" : "MISSED");
        setAims.push_back(line);
        for (unsigned size : kSetSizes) {
            double fastest = 0;
            for (eInstructionSet set : kSets) {
                if (!isInstructionSetSupported(set)) continue;
                const double ns = at(key(k.name, size, std::string("aligned@") + getInstructionSetName(set)));
                if (fastest == 0 || ns < fastest) fastest = ns;
            }
            std::printf("%-38s %6u", k.name.c_str(), size);
            for (eInstructionSet set : kSets) {
                if (!isInstructionSetSupported(set)) continue;
                const double ns = at(key(k.name, size, std::string("aligned@") + getInstructionSetName(set)));
                std::printf(" %9.1f%s", ns, ns == fastest ? "*" : " ");
            }
            std::printf("\n");
        }
    }
    for (const std::string& line : setAims) std::printf("%s\n", line.c_str());
    std::printf("\n%-38s %6s %10s\n", "baseline", "size", "ns");
    for (unsigned size : kSizes) {
        std::printf("%-38s %6u %10.1f\n", "memcpy", size, at(key("memcpy", size, "aligned")));
        std::printf("%-38s %6u %10.1f\n", "dependent float additions", size, at(key("chain", size, "aligned")));
    }
    std::printf("\nBiquad::processSample        %.3f ns/sample\n", at("Biquad::processSample/4096") / 4096);
    std::printf("MultiBandBiquad<3> per sample  %.3f ns/sample\n", at("MultiBandBiquad<3>/4096") / 4096);
    const double oneByOne = at("processSample 32x3x1920");
    std::printf("32 three-band equalisers, 1920 samples, ns per channel sample: processSample %.3f\n",
                oneByOne / (32 * 1920));
    for (eInstructionSet set : machineSets()) {
        const double together = at(std::string("Biquad::processChannels/32x3x1920/") + getInstructionSetName(set));
        std::printf("  processChannels, %-8s %.3f (%.2f x faster)\n", getInstructionSetName(set),
                    together / (32 * 1920), oneByOne / together);
    }
    std::printf("\n32 channels' ramps, 1920 samples, ns per channel sample:\n%-10s", "");
    for (const char* way : kRampWays) std::printf(" %26s", way);
    std::printf(" %10s\n", "chain gain");
    for (eInstructionSet set : machineSets()) {
        std::printf("%-10s", getInstructionSetName(set));
        for (int way = 0; way < int(std::size(kRampWays)); ++way)
            std::printf(" %26.3f", at(rampKey(way, set)) / (kRampChannels * kRampFrames));
        std::printf(" %9.2fx\n", at(rampKey(0, set)) / at(rampKey(1, set)));
    }
    std::printf("\nAims at 256, 1024 and 4096 samples:\n");
    for (const std::string& m : misses) std::printf("%s\n", m.c_str());
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    registerAll();
    BestOf reporter;
    for (int pass = 0; pass < kPasses; ++pass) {
        benchmark::RunSpecifiedBenchmarks(&reporter);
        reporter.print = false;
    }
    printTables(reporter.best);
    benchmark::Shutdown();
    return 0;
}
