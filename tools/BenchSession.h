// The benchmark session as files (`audatoms bench --write-session DIR`), for playing it
// in real time: the render benchmark's N inputs (a sine and noise bursts, ten seconds of
// material repeated to the length, 24-bit mono WAV files), its level automation and
// three-band equaliser on every input, its pans and its routing to four mix buses (the
// main mix and mixes 0..2, each to its own pair of outputs), and session.ini naming them.
#pragma once

#include <filesystem>
#include <string>

namespace audtool {

// Writes DIR/session.ini and DIR/input_NN.wav; returns the session's path.
std::filesystem::path writeBenchSession(const std::filesystem::path& dir, unsigned inputs, double seconds);

}  // namespace audtool
