#include "tools/EqualiserBank.h"

namespace audtool {

EqualiserBank::EqualiserBank(const std::vector<Equaliser*>& equalisers) {
    for (unsigned bands = 1; bands <= Equaliser::kMaxBands; ++bands) {
        Group g;
        g.bands = bands;
        for (unsigned c = 0; c < equalisers.size(); ++c) {
            Equaliser* eq = equalisers[c];
            if (!eq || eq->numBands() != bands) continue;
            g.channels.push_back(c);
            for (unsigned b = 0; b < bands; ++b) g.sections.push_back(&eq->section(b));
        }
        if (g.channels.empty()) continue;
        g.data.resize(g.channels.size());
        groups_.push_back(std::move(g));
    }
}

void EqualiserBank::process(float* const* channels, unsigned n) {
    for (Group& g : groups_) {
        for (std::size_t i = 0; i < g.channels.size(); ++i) g.data[i] = channels[g.channels[i]];
        Aud::Filter::Biquad::processChannels(g.sections.data(), g.bands, g.data.data(), unsigned(g.channels.size()), n);
    }
}

}  // namespace audtool
