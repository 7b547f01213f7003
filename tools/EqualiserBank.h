// The equalisers of many channels, filtered together: channels whose equalisers have the
// same number of bands run side by side through Aud::Filter::Biquad::processChannels,
// which gives every channel exactly what its own Equaliser::process would.
// Built once for a render (allocates); process() is real-time safe (no allocation, no
// locks, no exceptions). The equalisers must outlive the bank and stay where they are.
#pragma once

#include "tools/Equaliser.h"

#include <vector>

namespace audtool {

class EqualiserBank {
public:
    EqualiserBank() = default;
    // equalisers[c] is channel c's equaliser, or null (nothing to filter).
    explicit EqualiserBank(const std::vector<Equaliser*>& equalisers);

    // Filters channels[c][0 .. n-1] in place for every channel with an equaliser.
    void process(float* const* channels, unsigned n);

private:
    struct Group {
        unsigned bands = 0;
        std::vector<unsigned> channels;              // channel numbers
        std::vector<Aud::Filter::Biquad*> sections;  // channels.size() * bands, channel-major
        std::vector<float*> data;                    // per block: the channels' samples
    };
    std::vector<Group> groups_;
};

}  // namespace audtool
