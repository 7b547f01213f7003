// The result of `audatoms play`: what was played, the process-callback figures (wall
// and processor time as fractions of the period: p50, p99, p99.9, max), the server's
// xruns, the inputs' underruns, the scripted edits with the position at which each was
// applied, and the meter table; as text or JSON.
#pragma once

#include "tools/CallbackTimer.h"
#include "tools/Meters.h"
#include "tools/Result.h"

#include <cstdint>
#include <string>
#include <vector>

namespace audtool {

class Player;
struct ScriptedEdit;

struct AppliedEdit {
    int line = 0;
    std::string text;
    double time = 0;             // seconds, as scripted
    std::int64_t appliedAt = 0;  // transport frame read just after the edit
};

struct PlayReport final : Result {
    unsigned rate = 0;
    unsigned period = 0;  // frames
    std::int64_t framesPlayed = 0;
    double wallSeconds = 0;
    CallbackFigures wall, cpu;
    std::uint64_t xruns = 0, underruns = 0;
    float serverLoad = 0;  // percent
    std::vector<AppliedEdit> edits;
    std::string capturePath;
    std::vector<MeterReading> inputs, outputs;

    std::string text() const override;
    nlohmann::json json() const override;
};

// The figures of a player after its run.
std::unique_ptr<PlayReport> makePlayReport(const Player& player, double wallSeconds);
// One status line: position, xruns, underruns and callback load.
std::string playStatusLine(const Player& player);

}  // namespace audtool
