// Synthesised inputs for the demo and the benchmark: float signals turned into raw
// file frames by the library (the export conversion to the chosen sample type and
// interleaving, then, for big-endian data, AudioInterleaver::copyBigEndianAudioToBuff),
// held as in-memory sources that the renderer reads like files.
#pragma once

#include "tools/AudioSource.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace audtool {

// channels[c] holds the float samples of channel c (all the same length). Big-endian
// data is made for 2-byte and 4-byte samples only. loopFrames: see MemorySource.
std::unique_ptr<MemorySource> makeMemorySource(std::string name, int sampleType, bool bigEndian, unsigned rate,
                                               const std::vector<std::vector<float>>& channels,
                                               std::int64_t loopFrames = 0);

// Signal generators (amplitude in full-scale units, times in seconds).
std::vector<float> sine(unsigned rate, double seconds, double hz, double amplitude);
std::vector<float> logSweep(unsigned rate, double seconds, double fromHz, double toHz, double amplitude);
// Bursts of noise every `period` seconds, each `length` long with an exponential decay.
std::vector<float> noiseBursts(unsigned rate, double seconds, double period, double length, double amplitude,
                               std::uint32_t seed);

}  // namespace audtool
