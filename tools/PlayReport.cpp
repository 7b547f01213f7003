#include "tools/PlayReport.h"

#include "tools/Player.h"

namespace audtool {

namespace {

std::string figuresText(const char* what, const CallbackFigures& f) {
    return formatText("%s: p50 %.1f %%  p99 %.1f %%  p99.9 %.1f %%  max %.1f %% of the period\n", what, 100 * f.p50,
                      100 * f.p99, 100 * f.p999, 100 * f.max);
}

nlohmann::json figuresJson(const CallbackFigures& f) {
    return {{"p50", f.p50}, {"p99", f.p99}, {"p999", f.p999}, {"max", f.max}, {"callbacks", f.callbacks}};
}

}  // namespace

std::unique_ptr<PlayReport> makePlayReport(const Player& player, double wallSeconds) {
    auto r = std::make_unique<PlayReport>();
    r->rate = player.rate();
    r->period = player.period();
    r->framesPlayed = player.positionFrames();
    r->wallSeconds = wallSeconds;
    r->wall = player.timer().wall();
    r->cpu = player.timer().cpu();
    r->xruns = player.xruns();
    r->underruns = player.underruns();
    r->serverLoad = player.serverLoad();
    r->inputs = player.renderer().inputMeters().read();
    r->outputs = player.renderer().outputMeters().read();
    return r;
}

std::string playStatusLine(const Player& player) {
    const CallbackFigures w = player.timer().wall();
    return formatText("%s %8.3f s  period %u  xruns %llu  underruns %llu  callback p99 %.1f %% max %.1f %%",
                      player.rolling() ? "playing" : (player.atEnd() ? "at end " : "paused "), player.positionSeconds(),
                      player.period(), static_cast<unsigned long long>(player.xruns()),
                      static_cast<unsigned long long>(player.underruns()), 100 * w.p99, 100 * w.max);
}

std::string PlayReport::text() const {
    std::string s = formatText("played %.3f s (%lld frames) at %u Hz in %.3f s, period %u frames (%.3f ms)\n",
                               rate ? double(framesPlayed) / rate : 0.0, static_cast<long long>(framesPlayed), rate,
                               wallSeconds, period, rate ? 1000.0 * period / rate : 0.0);
    s += formatText("%llu callbacks, %llu xruns, %llu underruns, server load %.1f %%\n",
                    static_cast<unsigned long long>(wall.callbacks), static_cast<unsigned long long>(xruns),
                    static_cast<unsigned long long>(underruns), double(serverLoad));
    s += figuresText("callback wall time", wall);
    s += figuresText("callback processor time", cpu);
    for (const AppliedEdit& e : edits)
        s += formatText("edit line %d (%s) applied at frame %lld\n", e.line, e.text.c_str(),
                        static_cast<long long>(e.appliedAt));
    if (!capturePath.empty()) s += "captured " + capturePath + "\n";
    s += formatMeterTable(inputs, outputs);
    return s;
}

nlohmann::json PlayReport::json() const {
    nlohmann::json j;
    j["rate"] = rate;
    j["period_frames"] = period;
    j["period_ms"] = rate ? 1000.0 * period / rate : 0.0;
    j["frames_played"] = framesPlayed;
    j["wall_seconds"] = wallSeconds;
    j["callback_wall"] = figuresJson(wall);
    j["callback_cpu"] = figuresJson(cpu);
    j["xruns"] = xruns;
    j["underruns"] = underruns;
    j["server_load_percent"] = serverLoad;
    j["edits"] = nlohmann::json::array();
    for (const AppliedEdit& e : edits)
        j["edits"].push_back({{"line", e.line}, {"text", e.text}, {"time", e.time}, {"applied_at_frame", e.appliedAt}});
    j["capture"] = capturePath;
    j["inputs"] = meterJson(inputs);
    j["outputs"] = meterJson(outputs);
    return j;
}

}  // namespace audtool
