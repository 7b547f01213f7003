// A render set up from a session file (or built in code by the demo): the input files
// opened, the automation stores filled, the equalisers designed, the mixer state read
// from the session's configuration-text sections, and the renderer holding them all;
// plus the result of a run (render speed and meter table, as text or JSON), which is
// the result of the render and demo commands.
#pragma once

#include "tools/LoudnessReport.h"
#include "tools/Renderer.h"
#include "tools/Result.h"
#include "tools/Session.h"

#include "AudAtoms/automation/Aud__DynamicLevelControl.h"

#include <memory>
#include <string>
#include <vector>

namespace audtool {

struct RenderJob {
    std::vector<std::unique_ptr<Aud::DynamicLevelControl::Store>> stores;  // outlive the renderer
    std::unique_ptr<Renderer> renderer;
};

// InputError (with the session file and line) for files that cannot be read, rates that
// differ, and automation or equaliser sections naming inputs the files do not give.
// With `sources` given (one per session file, in order), those are read instead of the
// files (the demo's in-memory inputs). blockFrames: RenderConfig::blockFrames (0: one
// block per video frame).
RenderJob buildRenderJob(const Session& session, std::vector<std::unique_ptr<AudioSource>> sources = {},
                         unsigned blockFrames = 0);

// A store holding the points as normal nodes.
std::unique_ptr<Aud::DynamicLevelControl::Store> makeStore(const std::vector<AutomationPoint>& points);

// One input file's normalisation: what was measured and the gain given to it.
struct NormalisationLine {
    std::string file;
    std::string origin;           // the origin's name, empty when none was named
    double target = 0;            // LUFS; not finite when the input was left alone
    double integrated = 0;        // LUFS, measured before the gain
    double truePeak = 0;          // dBTP, measured before the gain
    double gainDb = 0;            // applied
    bool ceilingLimited = false;  // the gain was held down by the true-peak ceiling
    std::string why;              // why it was left alone (when it was)
    unsigned firstInput = 0;      // the file's first mixer input
    unsigned channels = 0;        // and its number of channels (mixer inputs)
};

// Text: the speed line, the file written, the meter table, then the mix's loudness
// (integrated, range, true peak) and any normalisation. JSON: one object with the same
// facts.
struct RenderReport final : Result {
    std::string outputPath;
    int sampleType = 2;
    RenderStats stats;
    std::vector<MeterReading> inputs;
    std::vector<MeterReading> outputs;
    LoudnessSummary mix;
    std::vector<NormalisationLine> normalisation;
    bool mixNormalised = false;
    NormalisationLine mixNormalisation;

    std::string text() const override;
    nlohmann::json json() const override;
};

std::unique_ptr<RenderReport> makeReport(const Renderer& renderer, const RenderStats& stats, std::string outputPath,
                                         int sampleType);

}  // namespace audtool
