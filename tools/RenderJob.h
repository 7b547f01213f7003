// A render set up from a session file (or built in code by the demo): the input files
// opened, the automation stores filled, the equalisers designed, the mixer state read
// from the session's configuration-text sections, and the renderer holding them all;
// plus the report printed after a run (render speed and meter table, as text or JSON).
#pragma once

#include "tools/Renderer.h"
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
// files (the demo's in-memory inputs).
RenderJob buildRenderJob(const Session& session, std::vector<std::unique_ptr<AudioSource>> sources = {});

// A store holding the points as normal nodes.
std::unique_ptr<Aud::DynamicLevelControl::Store> makeStore(const std::vector<AutomationPoint>& points);

struct RenderReport {
    std::string outputPath;
    int sampleType = 2;
    RenderStats stats;
    std::vector<MeterReading> inputs;
    std::vector<MeterReading> outputs;
};

RenderReport makeReport(const Renderer& renderer, const RenderStats& stats, std::string outputPath, int sampleType);
// Text: the speed line, then the meter table. JSON: one object with the same facts.
std::string reportText(const RenderReport& report);
std::string reportJson(const RenderReport& report);

} // namespace audtool
