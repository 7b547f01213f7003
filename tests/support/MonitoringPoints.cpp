#include "MonitoringPoints.h"

#include <gtest/gtest.h>

namespace audatoms::test {

RegisteredPoint registerPoint(const wchar_t* name) {
    Aud::MonitoringPointInfo info;
    info.name = name;
    info.channelCount = 1;
    info.displayRangeDb = 60.0f;
    RegisteredPoint p;
    EXPECT_EQ(Aud::MonitoringPointManager::registerMP(info, p.readerId, p.writerId), Aud::sSuccess);
    return p;
}

}  // namespace audatoms::test
