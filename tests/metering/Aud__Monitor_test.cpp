#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

using namespace Aud;

namespace {

// A buffer of raw sample bytes.
StreamBuffer bufferOf(const std::vector<unsigned char>& bytes, unsigned numSamples, int sampleType) {
    StreamBuffer b(0, numSamples, sampleType);
    auto* mem = new ByteBufferImpl(unsigned(bytes.size()));
    if (!bytes.empty()) std::memcpy(mem->getBuffer(), bytes.data(), bytes.size());
    b.memory = Qm::Ptr<iMemHolder>(mem);
    b.hasMemory = true;
    return b;
}

template <class T>
std::vector<unsigned char> bytesOf(const std::vector<T>& samples) {
    std::vector<unsigned char> out(samples.size() * sizeof(T));
    if (!samples.empty()) std::memcpy(out.data(), samples.data(), out.size());
    return out;
}

StreamBufferList listOf(int sampleType, unsigned numSamples, std::vector<StreamBuffer> buffers) {
    StreamBufferList l;
    l.streamBuffers = std::move(buffers);
    l.numSamples = numSamples;
    l.sampleType = sampleType;
    return l;
}

StreamBufferList int16List(const std::vector<std::vector<std::int16_t>>& channels) {
    std::vector<StreamBuffer> bs;
    for (const auto& c : channels) bs.push_back(bufferOf(bytesOf(c), unsigned(c.size()), 1));
    return listOf(1, channels.empty() ? 0 : unsigned(channels[0].size()), bs);
}

// Readers for every input of a monitor, each having taken its peak at time 0 so that
// the next write replaces it (the clock stands still, so nothing falls to zero).
struct Meters {
    explicit Meters(const Monitor& m) {
        readers.reserve(m.numInputs());  // a copied reader would start with a fresh state
        for (unsigned i = 0; i < m.numInputs(); ++i) {
            readers.emplace_back(m.getInputMonitoringPointId(i));
            m.getWriter(i).updatePeakSampleValue(0.125f);  // a marker: "no write since"
            readers.back().peakValue(true);
            readers.back().hasClipped(true);
        }
    }
    float peak(unsigned i) { return readers[i].peakValue(false); }
    bool clipped(unsigned i) { return readers[i].hasClipped(false); }
    platform::ClockOverride clock{0.0};
    std::vector<MonitoringPointReader> readers;
};

}  // namespace

TEST(Monitor, IsPolymorphic) {
    EXPECT_TRUE(std::is_polymorphic_v<Monitor>);
    const std::unique_ptr<Monitor> owner(new Monitor);
    const Monitor& m = *owner;
    EXPECT_EQ(typeid(m), typeid(Monitor));
}

TEST(Monitor, RegistersOnePointPerInputWithItsName) {
    Monitor m;
    m.registerMonitoringPoints(3);
    ASSERT_EQ(m.numInputs(), 3u);
    for (unsigned i = 0; i < 3; ++i) {
        const MonitoringPointInfo info = MonitoringPointManager::getInfo(m.getWriter(i).getId());
        EXPECT_EQ(info.name, (L"[DSXAudio][PhysicalInput][" + std::to_wstring(i) + L"]").c_str());
        EXPECT_EQ(info.kind, 0);
        EXPECT_EQ(info.channelCount, 1);
        EXPECT_EQ(info.displayRangeDb, 60.0f);
        EXPECT_TRUE(m.getInputMonitoringPointId(i).valid());
        EXPECT_TRUE(MonitoringPointReader(m.getInputMonitoringPointId(i)).valid());
    }
    EXPECT_NE(m.getInputMonitoringPointId(0), m.getInputMonitoringPointId(1));
}

TEST(Monitor, RegisteringAgainAppendsASecondSet) {
    Monitor m;
    m.registerMonitoringPoints(2);
    const IdStamp first = m.getInputMonitoringPointId(0);
    m.registerMonitoringPoints(3);
    ASSERT_EQ(m.numInputs(), 5u);
    EXPECT_EQ(m.getInputMonitoringPointId(0), first);
    EXPECT_NE(m.getInputMonitoringPointId(2), first);
    EXPECT_EQ(MonitoringPointManager::getInfo(m.getWriter(2).getId()).name, L"[DSXAudio][PhysicalInput][0]");
    EXPECT_EQ(MonitoringPointManager::getInfo(m.getWriter(4).getId()).name, L"[DSXAudio][PhysicalInput][2]");
}

TEST(Monitor, CountZeroRegistersNothing) {
    Monitor m;
    const std::size_t before = MonitoringPointManager::instance().numPoints();
    m.registerMonitoringPoints(0);
    EXPECT_EQ(m.numInputs(), 0u);
    EXPECT_EQ(MonitoringPointManager::instance().numPoints(), before);
}

TEST(Monitor, OutOfRangeInputIdIsASharedInvalidId) {
    Monitor m;
    m.registerMonitoringPoints(1);
    const IdStamp& a = m.getInputMonitoringPointId(1);
    const IdStamp& b = m.getInputMonitoringPointId(99);
    EXPECT_EQ(&a, &b);
    EXPECT_FALSE(a.valid());
    const_cast<IdStamp&>(a) = IdStamp();                   // even if a caller writes to it ...
    EXPECT_FALSE(m.getInputMonitoringPointId(7).valid());  // ... the next call invalidates it
}

TEST(Monitor, Int16FullScaleClipsAndJustBelowDoesNot) {
    Monitor m;
    m.registerMonitoringPoints(2);
    Meters meters(m);
    StreamBufferList l = int16List({{10, -32768, 3}, {32440, -5, 0}});
    m.updateMonitoringPoints(l);
    EXPECT_EQ(meters.peak(0), 1.0f);
    EXPECT_TRUE(meters.clipped(0));
    EXPECT_EQ(meters.peak(1), 0.989990234375f);  // 32440 / 32768 = 0.98999: no clip
    EXPECT_FALSE(meters.clipped(1));
}

TEST(Monitor, ClipThresholdIsComparedInDouble) {
    Monitor m;
    m.registerMonitoringPoints(3);
    Meters meters(m);
    // 32441 / 32768 = 0.990020... > 0.99. The float nearest 0.99 is 0.99000000953...,
    // above 0.99 as a double; the float just below it is 0.98999994993...
    const float justBelow = std::nextafter(0.99f, 0.0f);
    std::vector<StreamBuffer> bs = {bufferOf(bytesOf(std::vector<float>{0.99f}), 1, 0),
                                    bufferOf(bytesOf(std::vector<float>{-justBelow}), 1, 0)};
    StreamBufferList f = listOf(0, 1, bs);
    m.updateMonitoringPoints(f);
    EXPECT_TRUE(meters.clipped(0));
    EXPECT_EQ(meters.peak(0), 1.0f);  // the clip raised it to 1.0, the write (0.99) did not lower it
    EXPECT_FALSE(meters.clipped(1));
    EXPECT_EQ(meters.peak(1), justBelow);

    StreamBufferList i = int16List({{0}, {0}, {32441}});
    m.updateMonitoringPoints(i);
    EXPECT_TRUE(meters.clipped(2));
}

TEST(Monitor, UnsignedEightBitSilenceIsZero) {
    Monitor m;
    m.registerMonitoringPoints(1);
    Meters meters(m);
    StreamBufferList l = listOf(4, 64, {bufferOf(std::vector<unsigned char>(64, 128), 64, 4)});
    m.updateMonitoringPoints(l);
    EXPECT_EQ(meters.peak(0), 0.0f);
    EXPECT_FALSE(meters.clipped(0));
}

TEST(Monitor, EverySampleTypeReachesItsWriter) {
    struct Case {
        int type;
        std::vector<unsigned char> bytes;
        unsigned n;
        float expected;
    };
    std::vector<Case> cases = {
        {0, bytesOf(std::vector<float>{0.25f, -0.5f}), 2, 0.5f},
        {1, bytesOf(std::vector<std::int16_t>{-16384, 100}), 2, 0.5f},
        {2, {0x00, 0x00, 0x20, 0x00, 0x00, 0xF0}, 2, 0.25f},  // 0x200000 = 2^21; 0xF00000 = -2^20
        {3, {0xC0, 0x10}, 2, 0.5f},                           // -64
        {4, {64, 160}, 2, 0.5f},                              // 64 - 128
        {5, bytesOf(std::vector<std::uint32_t>{0xAB200000u}), 1, 0.25f},
        {6, bytesOf(std::vector<std::int32_t>{1073741824}), 1, float(1073741824.5 / 2147483647.5)},
        {7, bytesOf(std::vector<double>{-0.75}), 1, 0.75f},
        {8, bytesOf(std::vector<std::uint32_t>{0x0C000000u}), 1, 0.5f},  // 0xC000 = -16384
        {9, bytesOf(std::vector<std::uint32_t>{0x0C000000u}), 1, 0.5f},  // 0xC00000 = -4194304
    };
    for (const Case& c : cases) {
        Monitor m;
        m.registerMonitoringPoints(1);
        Meters meters(m);
        StreamBufferList l = listOf(c.type, c.n, {bufferOf(c.bytes, c.n, c.type)});
        m.updateMonitoringPoints(l);
        EXPECT_EQ(meters.peak(0), c.expected) << "type " << c.type;
        EXPECT_FALSE(meters.clipped(0)) << "type " << c.type;
    }
}

TEST(Monitor, ExtraBuffersAreIgnoredAndExtraWritersGetNothing) {
    Monitor two;
    two.registerMonitoringPoints(2);
    Meters m2(two);
    StreamBufferList three = int16List({{16384}, {8192}, {32767}});
    two.updateMonitoringPoints(three);
    EXPECT_EQ(m2.peak(0), 0.5f);
    EXPECT_EQ(m2.peak(1), 0.25f);
    EXPECT_FALSE(m2.clipped(0) || m2.clipped(1));  // the loud third buffer went nowhere

    Monitor four;
    four.registerMonitoringPoints(4);
    Meters m4(four);
    StreamBufferList one = int16List({{8192}});
    four.updateMonitoringPoints(one);
    EXPECT_EQ(m4.peak(0), 0.25f);  // 8192 / 32768
    // Still the marker written before the take: no write reached these.
    for (unsigned i = 1; i < 4; ++i) EXPECT_EQ(m4.peak(i), 0.125f) << i;
}

TEST(Monitor, UnknownSampleTypeLogsAndReportsZeroOncePerBuffer) {
    Monitor m;
    m.registerMonitoringPoints(3);
    Meters meters(m);
    std::vector<StreamBuffer> bs(2, bufferOf(std::vector<unsigned char>(16, 0xFF), 4, 12));
    StreamBufferList l = listOf(12, 4, bs);
    platform::LogCapture capture;
    m.updateMonitoringPoints(l);
    EXPECT_EQ(capture.logText(), "Monitor: buffer sample format not supported!\n"
                                 "Monitor: buffer sample format not supported!\n");
    EXPECT_EQ(meters.peak(0), 0.0f);  // replaced the marker: a write of 0 came in
    EXPECT_EQ(meters.peak(1), 0.0f);
    EXPECT_EQ(meters.peak(2), 0.125f);  // no third buffer

    capture.clear();
    StreamBufferList unknown = listOf(-1, 4, bs);
    m.updateMonitoringPoints(unknown);
    EXPECT_EQ(capture.logText(), "Monitor: buffer sample format not supported!\n"
                                 "Monitor: buffer sample format not supported!\n");
}

TEST(Monitor, ZeroSamplesReportZeroWithoutALog) {
    Monitor m;
    m.registerMonitoringPoints(1);
    Meters meters(m);
    StreamBufferList l = listOf(1, 0, {bufferOf(bytesOf(std::vector<std::int16_t>{-32768}), 1, 1)});
    platform::LogCapture capture;
    m.updateMonitoringPoints(l);
    EXPECT_EQ(meters.peak(0), 0.0f);
    EXPECT_FALSE(meters.clipped(0));
    EXPECT_EQ(capture.logText(), "");
}

TEST(Monitor, EmptyListOrNoWritersDoNothing) {
    Monitor none;
    StreamBufferList l = int16List({{32767}});
    platform::LogCapture capture;
    none.updateMonitoringPoints(l);  // no writers
    Monitor m;
    m.registerMonitoringPoints(1);
    Meters meters(m);
    StreamBufferList empty = listOf(12, 4, {});
    m.updateMonitoringPoints(empty);  // no buffers: not even the unknown type is logged
    EXPECT_EQ(meters.peak(0), 0.125f);
    EXPECT_EQ(capture.logText(), "");
}

TEST(Monitor, BufferMemoryIsReadOnlyAsFarAsItGoes) {
    Monitor m;
    m.registerMonitoringPoints(2);
    Meters meters(m);
    // The list claims 1000 samples; the first buffer holds 2, the second none at all.
    StreamBuffer shortBuffer = bufferOf(bytesOf(std::vector<std::int16_t>{-8192, 4}), 2, 1);
    StreamBuffer noMemory(0, 1000, 1);
    StreamBufferList l = listOf(1, 1000, {shortBuffer, noMemory});
    m.updateMonitoringPoints(l);
    EXPECT_EQ(meters.peak(0), 0.25f);
    EXPECT_EQ(meters.peak(1), 0.0f);
}

TEST(Monitor, ReadsThroughAMemoryView) {
    Monitor m;
    m.registerMonitoringPoints(1);
    Meters meters(m);
    StreamBuffer whole = bufferOf(bytesOf(std::vector<std::int16_t>{32767, 100, -1024, 7}), 4, 1);
    StreamBuffer view(0, 2, 1);
    view.memory = Qm::Ptr<iMemHolder>(new MemRef(whole.memory, 2, 4));  // samples 1 and 2
    view.hasMemory = true;
    StreamBufferList l = listOf(1, 2, {view});
    m.updateMonitoringPoints(l);
    EXPECT_EQ(meters.peak(0), 1024.0f / 32768.0f);
}
