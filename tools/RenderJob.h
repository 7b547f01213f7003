// A render set up from a session file (or built in code by the demo): the input files
// opened, the automation stores filled, the equalisers designed, the mixer state read
// from the session's configuration-text sections, and the renderer holding them all;
// plus the result of a run (render speed and meter table, as text or JSON), which is
// the result of the render and demo commands.
#pragma once

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

// Text: the speed line, the file written, then the meter table. JSON: one object with
// the same facts.
struct RenderReport final : Result {
    std::string outputPath;
    int sampleType = 2;
    RenderStats stats;
    std::vector<MeterReading> inputs;
    std::vector<MeterReading> outputs;

    std::string text() const override;
    nlohmann::json json() const override;
};

std::unique_ptr<RenderReport> makeReport(const Renderer& renderer, const RenderStats& stats, std::string outputPath,
                                         int sampleType);

}  // namespace audtool
