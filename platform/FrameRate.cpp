#include "platform/FrameRate.h"

#include <atomic>

namespace Qm {

double getFramesPerSecond(FrameRate rate) {
    switch (int(rate)) {
    case 1: return 24.0;
    case 2: return 24000.0 / 1001.0;
    case 3: return 25.0;
    case 4: return 30.0;
    case 5: return 30000.0 / 1001.0;
    case 6: return 48.0;
    case 7: return 48000.0 / 1001.0;
    case 8: return 50.0;
    case 9: return 60.0;
    case 10: return 60000.0 / 1001.0;
    case 11: return 12.0;
    case 12: return 15.0;
    case 13: return 16.0;
    case 14: return 18.0;
    case 15: return 20.0;
    case 16: return 8.0;
    case 17: return 10.0;
    case 18: return 6.0;
    case 19: return 5.0;
    case 20: return 4.0;
    case 21: return 3.0;
    case 22: return 2.0;
    case 23: return 1.0;
    case 24: return 7.5;
    case 25: return 12.5;
    case 26: return 15000.0 / 1001.0;
    case 27: return 12000.0 / 1001.0;
    case 28: return 144.0;
    case 29: return 150.0;
    case 30: return 200.0;
    case 31: return 300.0;
    case 32: return 90.0;
    case 33: return 180.0;
    case 34: return 50.0 / 3.0;
    case 35: return 96.0;
    case 36: return 96000.0 / 1001.0;
    case 37: return 100.0;
    case 38: return 15.0;
    case 39: return 15000.0 / 1001.0;
    case 40: return 72.0;
    case 41: return 30000.0 / 1001.0;
    case 42: return 60000.0 / 1001.0;
    case 43: return 200.0;
    case 44: return 120.0;
    case 45: return 120000.0 / 1001.0;
    case 46: return 240.0;
    case 47: return 240000.0 / 1001.0;
    default: return 0.0;
    }
}

namespace CurrentProject {
namespace {
std::atomic<double> frameDuration{1.0 / 25.0};
}
double getFrameDuration() { return frameDuration.load(std::memory_order_relaxed); }
void setFrameDuration(double seconds) { frameDuration.store(seconds, std::memory_order_relaxed); }
}  // namespace CurrentProject

}  // namespace Qm

double mPosn_Xlate_CelToClock(double position, const Qm::OutputGearing& gearing) {
    return position * gearing.scale + gearing.offset;
}
