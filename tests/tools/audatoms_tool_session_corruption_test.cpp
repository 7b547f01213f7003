// The tool's session reader on damaged session files: every truncation and every
// single bit flip in the first 512 bytes either reads as a session or is refused with
// the tool's input error naming the session file and a line; nothing else is thrown,
// and the reader's heap stays within a stated bound.
#include "tests/support/AllocationMeter.h"
#include "tests/support/Damage.h"
#include "tools/Session.h"
#include "tools/ToolError.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

using audatoms::test::AllocationMeter;
using audatoms::test::forEveryDamage;

namespace {

std::string exampleSession() {
    std::ifstream in(std::string(AUDATOMS_SOURCE_DIR) + "/examples/session.ini", std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

TEST(DamagedSessions, EveryTruncationAndBitFlipReadsOrIsRefusedWithItsLine) {
    const std::string good = exampleSession();
    ASSERT_GT(good.size(), 512u);
    long long worstPeak = 0;
    int refused = 0, read = 0;
    const auto n = forEveryDamage(good, [&](const std::string& bytes, const std::string& what) {
        SCOPED_TRACE(what);
        AllocationMeter meter;
        try {
            const audtool::Session s = audtool::parseSession(bytes, "damaged.ini", "/nonexistent-folder");
            ++read;
            EXPECT_GT(s.rate, 0u);
        } catch (const audtool::InputError& e) {
            ++refused;
            EXPECT_EQ(std::string(e.what()).rfind("damaged.ini", 0), 0u) << e.what();
        }
        worstPeak = std::max(worstPeak, meter.peakBytes());
        EXPECT_LE(meter.peakBytes(), 64 * static_cast<long long>(bytes.size()) + 256 * 1024);
    });
    std::printf("session file (%zu bytes): %d cuts, %d flips; %d refused, %d read; peak heap %lld bytes\n", good.size(),
                n.truncations, n.flips, refused, read, worstPeak);
    EXPECT_GT(refused, 0);
    EXPECT_GT(read, 0);
}

}  // namespace
