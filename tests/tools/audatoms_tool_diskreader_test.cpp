// The player's disk side without a server: the rings deliver a source's raw frames in
// order whatever the read sizes, a locate delivers from the new place once primed, a
// reader that cannot keep up gives underruns (reads of nothing) and the input stays in
// time, and a source's end reads as fewer frames and then none, without underruns.
// Also the callback-time histogram's percentiles.
#include "tools/CallbackTimer.h"
#include "tools/DiskReader.h"
#include "tools/RawRing.h"
#include "tools/Synth.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

using namespace audtool;

namespace {

constexpr unsigned kRate = 48000;

// A 16-bit mono source whose frame i holds the value i (mod 2^16) as raw bytes.
std::unique_ptr<AudioSource> countingSource(unsigned frames) {
    std::vector<float> x(frames);
    auto src = makeMemorySource("count", 1, false, kRate, {x});
    FileFormat f = src->format();
    std::vector<unsigned char> bytes(std::size_t(frames) * 2);
    for (unsigned i = 0; i < frames; ++i) {
        bytes[std::size_t(i) * 2] = static_cast<unsigned char>(i & 0xff);
        bytes[std::size_t(i) * 2 + 1] = static_cast<unsigned char>((i >> 8) & 0xff);
    }
    return std::make_unique<MemorySource>("count", f, bytes);
}

unsigned frameValue(const std::vector<unsigned char>& b, unsigned i) {
    return unsigned(b[std::size_t(i) * 2]) | unsigned(b[std::size_t(i) * 2 + 1]) << 8;
}

bool waitPrimed(DiskReader& d) {
    for (int i = 0; i < 2000; ++i) {
        if (d.primed()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

TEST(DiskReader, DeliversTheFramesInOrderWhateverTheReadSizes) {
    std::vector<std::unique_ptr<AudioSource>> files;
    files.push_back(countingSource(30000));
    DiskReaderOptions o;
    o.aheadSeconds = 1;
    o.chunkFrames = 1000;
    DiskReader d(std::move(files), kRate, o);
    auto sources = d.takeSources();
    d.start(0);
    ASSERT_TRUE(waitPrimed(d));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the ring fills
    std::vector<unsigned char> buf(4096 * 2);
    unsigned at = 0;
    const unsigned sizes[] = {1, 64, 999, 1000, 1001, 333, 4096};
    for (int k = 0; at < 30000; ++k) {
        const unsigned want = sizes[k % 7];
        const unsigned got = sources[0]->readFrames(buf.data(), want);
        if (got == 0 && d.underruns() > 0) FAIL() << "underrun at frame " << at;
        for (unsigned i = 0; i < got; ++i) ASSERT_EQ(frameValue(buf, i), (at + i) & 0xffff) << at + i;
        at += got;
        if (got < want) break;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    EXPECT_EQ(at, 30000u);
    EXPECT_EQ(sources[0]->readFrames(buf.data(), 64), 0u);
    EXPECT_EQ(d.underruns(), 0u);
}

TEST(DiskReader, ALocateDeliversFromTheNewPlace) {
    std::vector<std::unique_ptr<AudioSource>> files;
    files.push_back(countingSource(40000));
    DiskReader d(std::move(files), kRate, {});
    auto sources = d.takeSources();
    d.start(0);
    ASSERT_TRUE(waitPrimed(d));
    std::vector<unsigned char> buf(256 * 2);
    ASSERT_EQ(sources[0]->readFrames(buf.data(), 256), 256u);
    d.locate(12345);
    ASSERT_TRUE(waitPrimed(d));
    ASSERT_EQ(sources[0]->readFrames(buf.data(), 256), 256u);
    for (unsigned i = 0; i < 256; ++i) ASSERT_EQ(frameValue(buf, i), 12345 + i);
    EXPECT_EQ(d.underruns(), 0u);
}

TEST(DiskReader, AReaderThatFallsBehindGivesUnderrunsAndStaysInTime) {
    std::vector<std::unique_ptr<AudioSource>> files;
    files.push_back(countingSource(48000));
    DiskReaderOptions o;
    o.aheadSeconds = 0.05;
    o.chunkFrames = 512;
    o.delayMsPerChunk = 40;  // 512 frames every 40 ms: about a quarter of real time
    DiskReader d(std::move(files), kRate, o);
    auto sources = d.takeSources();
    d.start(0);
    ASSERT_TRUE(waitPrimed(d));
    std::vector<unsigned char> buf(256 * 2);
    unsigned position = 0, checked = 0;
    for (int k = 0; k < 150; ++k) {  // 256 frames every 5.3 ms: real time
        const unsigned got = sources[0]->readFrames(buf.data(), 256);
        for (unsigned i = 0; i < got; ++i) ASSERT_EQ(frameValue(buf, i), (position + i) & 0xffff) << k;
        checked += got;
        position += 256;  // whether read or lost, the input moves on with the transport
        std::this_thread::sleep_for(std::chrono::microseconds(5333));
    }
    EXPECT_GT(d.underruns(), 20u);
    EXPECT_GT(checked, 256u);  // some periods were played, each from its own place
}

TEST(RawRing, HoldsItsSlotsInOrder) {
    RawRing r(3, 4, 2);
    EXPECT_EQ(r.freeSlots(), 3u);
    for (int i = 0; i < 3; ++i) {
        RawChunk* c = r.beginWrite();
        ASSERT_NE(c, nullptr);
        c->firstFrame = i;
        r.commitWrite();
    }
    EXPECT_EQ(r.beginWrite(), nullptr);
    EXPECT_EQ(r.size(), 3u);
    EXPECT_EQ(r.at(2)->firstFrame, 2);
    r.pop();
    EXPECT_EQ(r.front()->firstFrame, 1);
    EXPECT_EQ(r.freeSlots(), 1u);
}

TEST(CallbackTimer, PercentilesAreTheBinsHoldingThemAndMaxIsExact) {
    CallbackTimer t;
    t.setPeriod(0.001);
    for (int i = 1; i <= 1000; ++i) t.record(0.001 * i / 1000.0 * 0.5, 0);  // 0.05 % .. 50 % of the period
    const CallbackFigures f = t.wall();
    EXPECT_EQ(f.callbacks, 1000u);
    EXPECT_NEAR(f.p50, 0.25, 0.001);
    EXPECT_NEAR(f.p99, 0.495, 0.001);
    EXPECT_DOUBLE_EQ(f.max, 0.5);
    t.record(0.005, 0);  // five periods: counted in the last bin, the maximum exact
    EXPECT_DOUBLE_EQ(t.wall().max, 5.0);
}

}  // namespace
