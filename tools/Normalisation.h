// Loudness normalisation of a render (the render command's [Session] Normalise=,
// TruePeakCeiling= and MixLoudness=, see SessionLoudness.h).
//
// Rules:
// - Normalise=off (the default) changes nothing.
// - Normalise=uniform: every input file's target is the uniform level
//   (AudioNormalisation::getUniformLevel()); Normalise=per-origin: the level of the
//   file's Origin= (AudioNormalisation::getLevelFor); a file without Origin=, or whose
//   origin's level is unset (999), is left alone.
// - The targets are read from the editor preferences (prefs(); the render command's
//   --prefs FILE loads them from a file first); absent keys give the defaults (-18).
// - Each file is measured whole (integrated loudness and true peak, with its channel
//   roles) before rendering. Its gain is target - integrated (dB), lowered so that its
//   true peak plus the gain stays at or below TruePeakCeiling (default -1 dBTP); a
//   silent file (no integrated loudness) is left alone. The gain applies to every
//   mixer input of the file's channels, after its automation and equaliser, before the
//   fader.
// - MixLoudness=L renders twice: the first pass measures the mix (after the inputs'
//   gains); the second applies target - integrated to every output, limited by the
//   same ceiling, and writes the file.
// Threads: the main thread of the tool.
#pragma once

#include "tools/RenderJob.h"
#include "tools/Session.h"

#include <filesystem>
#include <vector>

namespace audtool {

// Loads the editor preferences from a file into prefs(); InputError naming the file and
// line when it cannot be read.
void loadPreferences(const std::filesystem::path& path);

// The gain (dB) that brings a programme of `integrated` LUFS and `truePeak` dBTP to
// `target`, limited so that truePeak + gain <= ceiling; `limited` tells whether the
// ceiling lowered it.
double normalisationGainDb(double integrated, double truePeak, double target, double ceiling, bool& limited);

// Measures every input file of the session and works out its gain; empty when
// Normalise=off. InputError (file and line) for roles that do not match a file.
std::vector<NormalisationLine> planInputNormalisation(const Session& session);
// Gives the renderer's mixer inputs the planned gains.
void applyInputNormalisation(const std::vector<NormalisationLine>& plan, Renderer& renderer);

}  // namespace audtool
