// Magnitude responses of equalisers as an SVG plot and as CSV.
// The responses are the library's: each band's Biquad::getResponseMagnitudeAtFrequency
// and the whole equaliser's (MultiBandBiquad product), sampled at log-spaced
// frequencies from 20 Hz to 20 kHz (or just below half the rate), in dB.
// SVG: log-frequency axis with decade and 2/5 grid lines, dB axis with 6 dB lines
// (range fitted to the curves, at least -12..+12, at most -48..+24), each band thin and
// dashed, each equaliser's total thick, and a legend.
// CSV: "frequency_hz,band1_db,...,total_db" for one equaliser.
#pragma once

#include "tools/Equaliser.h"

#include <string>
#include <vector>

namespace audtool {

struct EqResponse {
    std::string label;                    // e.g. the input's name
    std::vector<std::string> bandLabels;  // "peaking 2500 Hz q=1.2 +4 dB"
    std::vector<std::vector<double>> bandDb;
    std::vector<double> totalDb;
};

// Log-spaced frequencies for a sampling rate.
std::vector<double> plotFrequencies(double rate, unsigned points = 361);
EqResponse eqResponse(const Equaliser& eq, double rate, const std::vector<double>& freqs, std::string label);
std::string bandLabel(const EqBandSettings& band);

std::string eqSvg(const std::vector<EqResponse>& responses, const std::vector<double>& freqs, const std::string& title);
std::string eqCsv(const EqResponse& response, const std::vector<double>& freqs);

}  // namespace audtool
