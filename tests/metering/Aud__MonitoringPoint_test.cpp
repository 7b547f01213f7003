#include "AudAtoms/AudAtoms.h"
#include "AudAtoms/metering/Aud__MonitoringPoint_testing.h"

#include <gtest/gtest.h>

#include "tests/support/MonitoringPoints.h"

#include <string>
#include <vector>

using namespace Aud;

using audatoms::test::registerPoint;
using Point = audatoms::test::RegisteredPoint;

TEST(MonitoringPointManager, InstanceIsOneObject) {
    EXPECT_EQ(&MonitoringPointManager::instance(), &MonitoringPointManager::instance());
}

TEST(MonitoringPointManager, RegisterMakesTwoFreshValidIds) {
    const Point a = registerPoint(L"a");
    const Point b = registerPoint(L"b");
    EXPECT_TRUE(a.readerId.valid());
    EXPECT_TRUE(a.writerId.valid());
    EXPECT_NE(a.readerId, a.writerId);
    EXPECT_NE(a.readerId, b.readerId);
    EXPECT_NE(a.writerId, b.writerId);
}

TEST(MonitoringPointManager, InfoIsKeptUnderTheWriterIdAsACopy) {
    MonitoringPointInfo info;
    info.kind = 3;
    info.name = L"Input 7";
    info.group = L"Card";
    info.description = L"Left";
    info.channelCount = 2;
    info.displayRangeDb = 48.0f;
    IdStamp r = IdStamp::invalidId(), w = IdStamp::invalidId();
    ASSERT_EQ(MonitoringPointManager::registerMP(info, r, w), sSuccess);
    info.name = L"changed afterwards";

    const MonitoringPointInfo got = MonitoringPointManager::getInfo(w);
    EXPECT_EQ(got.kind, 3);
    EXPECT_EQ(got.name, L"Input 7");
    EXPECT_EQ(got.group, L"Card");
    EXPECT_EQ(got.description, L"Left");
    EXPECT_EQ(got.channelCount, 2);
    EXPECT_EQ(got.displayRangeDb, 48.0f);
}

TEST(MonitoringPointManager, InfoOfAnUnknownIdIsEmpty) {
    const MonitoringPointInfo got = MonitoringPointManager::getInfo(IdStamp());
    EXPECT_TRUE(got.name.empty());
    EXPECT_EQ(got.kind, 0);
    EXPECT_EQ(got.channelCount, 0);
    EXPECT_EQ(got.displayRangeDb, 0.0f);
}

TEST(MonitoringPointManager, InfoLookupFallsBackThroughWriterToReaderOnly) {
    // Descriptions are keyed by writer id. The fallback maps the asked id through
    // writerToReader (writer -> reader) and looks that up, which holds no description,
    // so a reader id finds nothing.
    const Point p = registerPoint(L"by writer");
    EXPECT_EQ(MonitoringPointManager::getInfo(p.writerId).name, L"by writer");
    EXPECT_TRUE(MonitoringPointManager::getInfo(p.readerId).name.empty());
}

TEST(MonitoringPointManager, GetInternalReaderIdIsNotProvided) {
    platform::LogCapture capture;
    const IdStamp id = MonitoringPointManager::getInternalReaderId(0, keIO_DirectionInput);
    EXPECT_EQ(capture.assertionText(), "assertion failed false at ole/AudAtoms/Aud__MonitoringPoint line 240\n");
    EXPECT_FALSE(id.valid());
}

TEST(MonitoringPointWriter, DefaultIsInvalidAndIdIsKept) {
    EXPECT_FALSE(MonitoringPointWriter().valid());
    EXPECT_FALSE(MonitoringPointWriter().getId().valid());
    const IdStamp id;
    const MonitoringPointWriter w(id);
    EXPECT_TRUE(w.valid());
    EXPECT_EQ(w.getId(), id);
    const MonitoringPointWriter copy = w;
    EXPECT_EQ(copy.getId(), id);
}

TEST(MonitoringPointReader, DefaultReaderHasNoState) {
    MonitoringPointReader r;
    EXPECT_EQ(r.getEntry(), nullptr);
    EXPECT_FALSE(r.valid());
    EXPECT_FALSE(r.getId().valid());
    EXPECT_EQ(r.peakValue(true), 0.0f);
    EXPECT_FALSE(r.hasClipped(true));
}

TEST(MonitoringPointReader, ReaderOfARegisteredPointIsValid) {
    const Point p = registerPoint(L"p");
    MonitoringPointReader r(p.readerId);
    EXPECT_TRUE(r.valid());
    EXPECT_EQ(r.getId(), p.readerId);
    ASSERT_NE(r.getEntry(), nullptr);
    EXPECT_EQ(r.getEntry()->pointId, p.writerId);
    EXPECT_EQ(r.getEntry()->readerKey, p.readerId);
    EXPECT_EQ(r.peakValue(false), 0.0f);
    EXPECT_FALSE(r.hasClipped(false));
}

TEST(MonitoringPointReader, ReaderOfAnUnknownIdIsAnOrphan) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const std::size_t orphansBefore = m.numOrphans();
    const IdStamp unknown;
    {
        MonitoringPointReader r(unknown);
        EXPECT_FALSE(r.valid());
        EXPECT_EQ(r.getId(), unknown);  // the key is kept even though no point was found
        EXPECT_EQ(m.numOrphans(), orphansBefore + 1);
        EXPECT_EQ(r.peakValue(false), 0.0f);
    }
    EXPECT_EQ(m.numOrphans(), orphansBefore);
}

TEST(MonitoringPointReader, WritesAccumulateTheMaximum) {
    const Point p = registerPoint(L"p");
    MonitoringPointReader r(p.readerId);
    MonitoringPointWriter w = p.writer();
    w.updatePeakSampleValue(0.25f);
    w.updatePeakSampleValue(0.5f);
    w.updatePeakSampleValue(0.375f);
    EXPECT_EQ(r.peakValue(false), 0.5f);
    EXPECT_EQ(r.peakValue(false), 0.5f);
}

TEST(MonitoringPointReader, AfterATakeTheNextWriteReplacesThePeak) {
    platform::ClockOverride clock(1000.0);
    const Point p = registerPoint(L"p");
    MonitoringPointReader r(p.readerId);
    MonitoringPointWriter w = p.writer();
    w.updatePeakSampleValue(0.5f);
    EXPECT_EQ(r.peakValue(true), 0.5f);
    w.updatePeakSampleValue(0.125f);  // replaces although smaller
    EXPECT_EQ(r.peakValue(false), 0.125f);
    w.updatePeakSampleValue(0.25f);  // no take since: accumulates again
    w.updatePeakSampleValue(0.0625f);
    EXPECT_EQ(r.peakValue(false), 0.25f);
}

TEST(MonitoringPointReader, TwoReadersOfOnePointHoldIndependently) {
    platform::ClockOverride clock(5000.0);
    const Point p = registerPoint(L"p");
    MonitoringPointReader a(p.readerId);
    MonitoringPointReader b(p.readerId);
    MonitoringPointWriter w = p.writer();
    w.updatePeakSampleValue(0.75f);
    EXPECT_EQ(a.peakValue(true), 0.75f);
    w.updatePeakSampleValue(0.125f);
    EXPECT_EQ(a.peakValue(false), 0.125f);  // replaced after a's take
    EXPECT_EQ(b.peakValue(false), 0.75f);   // b never took: still the maximum
}

TEST(MonitoringPointReader, ATakenPeakFallsToZeroAfterMoreThanFortyMilliseconds) {
    platform::ClockOverride clock(100.0);
    const Point p = registerPoint(L"p");
    MonitoringPointReader r(p.readerId);
    MonitoringPointWriter w = p.writer();
    w.updatePeakSampleValue(0.5f);
    EXPECT_EQ(r.peakValue(true), 0.5f);  // taken at 100 ms
    clock.set(140.0);                    // exactly 40 ms: not more than 40
    EXPECT_EQ(r.peakValue(false), 0.5f);
    clock.set(140.5);  // 40.5 ms without a write
    EXPECT_EQ(r.peakValue(false), 0.0f);
    // The fall cleared the take, so writes accumulate again from 0.
    w.updatePeakSampleValue(0.25f);
    w.updatePeakSampleValue(0.125f);
    clock.set(1000.0);
    EXPECT_EQ(r.peakValue(false), 0.25f);
}

TEST(MonitoringPointReader, EachTakeRestartsTheHoldPeriod) {
    platform::ClockOverride clock(0.0);
    const Point p = registerPoint(L"p");
    MonitoringPointReader r(p.readerId);
    MonitoringPointWriter w = p.writer();
    w.updatePeakSampleValue(0.5f);
    EXPECT_EQ(r.peakValue(true), 0.5f);  // taken at 0
    clock.set(30.0);
    EXPECT_EQ(r.peakValue(true), 0.5f);  // taken again at 30
    clock.set(60.0);                     // 60 since the first, 30 since the second take
    EXPECT_EQ(r.peakValue(false), 0.5f);
    clock.set(70.5);
    EXPECT_EQ(r.peakValue(false), 0.0f);
}

TEST(MonitoringPointReader, AWriteWithinTheHoldPeriodKeepsTheMeterUp) {
    platform::ClockOverride clock(0.0);
    const Point p = registerPoint(L"p");
    MonitoringPointReader r(p.readerId);
    MonitoringPointWriter w = p.writer();
    w.updatePeakSampleValue(0.5f);
    EXPECT_EQ(r.peakValue(true), 0.5f);
    clock.set(20.0);
    w.updatePeakSampleValue(0.25f);  // clears the take
    clock.set(500.0);
    EXPECT_EQ(r.peakValue(false), 0.25f);
}

TEST(MonitoringPointReader, AClipRaisesEveryReadersPeakToAtLeastOneAndLatches) {
    platform::ClockOverride clock(0.0);
    const Point p = registerPoint(L"p");
    MonitoringPointReader low(p.readerId);
    MonitoringPointReader high(p.readerId);
    MonitoringPointReader taken(p.readerId);
    MonitoringPointWriter w = p.writer();
    w.updatePeakSampleValue(0.5f);
    EXPECT_EQ(high.peakValue(true), 0.5f);
    w.updatePeakSampleValue(1.5f);         // high was taken: replaced; low accumulates to 1.5
    EXPECT_EQ(low.peakValue(true), 1.5f);  // low takes at 1.5
    EXPECT_EQ(taken.peakValue(false), 1.5f);
    w.updateHasClipped();
    EXPECT_EQ(low.peakValue(false), 1.0f);   // taken: the clip replaces 1.5 by 1.0
    EXPECT_EQ(high.peakValue(false), 1.5f);  // not taken and not below 1.0: kept
    EXPECT_EQ(taken.peakValue(false), 1.5f);
    for (MonitoringPointReader* r : {&low, &high, &taken}) {
        EXPECT_TRUE(r->hasClipped(false));
        EXPECT_TRUE(r->hasClipped(false));  // reading without clearing keeps the latch
    }
    EXPECT_TRUE(low.hasClipped(true));
    EXPECT_FALSE(low.hasClipped(false));
    EXPECT_TRUE(high.hasClipped(false));  // the other readers keep theirs
}

TEST(MonitoringPointReader, AClipOnAQuietPointGivesPeakOne) {
    const Point p = registerPoint(L"p");
    MonitoringPointReader r(p.readerId);
    p.writer().updateHasClipped();
    EXPECT_EQ(r.peakValue(false), 1.0f);
    EXPECT_TRUE(r.hasClipped(true));
    EXPECT_FALSE(r.hasClipped(true));
}

TEST(MonitoringPointReader, ResetClearsPeakClipAndTake) {
    platform::ClockOverride clock(0.0);
    const Point p = registerPoint(L"p");
    MonitoringPointReader r(p.readerId);
    MonitoringPointWriter w = p.writer();
    w.updatePeakSampleValue(0.5f);
    w.updateHasClipped();
    EXPECT_EQ(r.peakValue(true), 1.0f);
    w.reset();
    EXPECT_EQ(r.peakValue(false), 0.0f);
    EXPECT_FALSE(r.hasClipped(false));
    // The take was cleared, so writes accumulate.
    w.updatePeakSampleValue(0.25f);
    w.updatePeakSampleValue(0.125f);
    EXPECT_EQ(r.peakValue(false), 0.25f);
}

TEST(MonitoringPointReader, WritesToOnePointDoNotReachAnothersReaders) {
    const Point a = registerPoint(L"a");
    const Point b = registerPoint(L"b");
    MonitoringPointReader ra(a.readerId);
    MonitoringPointReader rb(b.readerId);
    a.writer().updatePeakSampleValue(0.5f);
    a.writer().updateHasClipped();
    EXPECT_EQ(rb.peakValue(false), 0.0f);
    EXPECT_FALSE(rb.hasClipped(false));
    EXPECT_EQ(ra.peakValue(false), 1.0f);
}

TEST(MonitoringPointReader, UnregisteringOrphansReadersWhichStayUsable) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const Point p = registerPoint(L"going away");
    MonitoringPointReader r1(p.readerId);
    MonitoringPointReader r2(p.readerId);
    MonitoringPointWriter w = p.writer();
    w.updatePeakSampleValue(0.5f);
    const std::size_t listed = m.numListedReaders();
    const std::size_t orphans = m.numOrphans();

    EXPECT_EQ(MonitoringPointManager::unregisterMP(p.writerId), sSuccess);
    EXPECT_EQ(m.numListedReaders(), listed - 2);
    EXPECT_EQ(m.numOrphans(), orphans + 2);
    EXPECT_FALSE(r1.valid());
    EXPECT_FALSE(r2.valid());
    EXPECT_FALSE(r1.getId().valid());  // both ids of an orphan are made invalid
    ASSERT_NE(r1.getEntry(), nullptr);
    EXPECT_FALSE(r1.getEntry()->pointId.valid());

    // They keep what they had and read nothing new.
    EXPECT_EQ(r1.peakValue(false), 0.5f);
    w.updatePeakSampleValue(0.75f);
    w.updateHasClipped();
    EXPECT_EQ(r1.peakValue(false), 0.5f);
    EXPECT_FALSE(r1.hasClipped(false));

    // The description is kept for late look-ups; the point is gone for new readers.
    EXPECT_EQ(MonitoringPointManager::getInfo(p.writerId).name, L"going away");
    MonitoringPointReader late(p.readerId);
    EXPECT_FALSE(late.valid());

    EXPECT_EQ(MonitoringPointManager::unregisterMP(p.writerId), sInvalid);
}

TEST(MonitoringPointManager, UnregisteringAnUnknownIdGivesSeven) {
    EXPECT_EQ(MonitoringPointManager::unregisterMP(IdStamp()), sInvalid);
    EXPECT_EQ(MonitoringPointManager::unregisterMP(IdStamp::invalidId()), sInvalid);
}

TEST(MonitoringPointManager, UnregisterReportsAMissingReaderMappingAndCarriesOn) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const Point p = registerPoint(L"p");
    MonitoringPointReader r(p.readerId);
    forgetReaderMappingForTesting(m, p.readerId);
    platform::LogCapture capture;
    EXPECT_EQ(MonitoringPointManager::unregisterMP(p.writerId), sSuccess);
    EXPECT_EQ(capture.splats(), std::vector<std::string>{"Unexpected state in Aud::MonitoringPointManager (1)"});
    EXPECT_FALSE(r.valid());
}

TEST(MonitoringPointManager, RemovingAnEntryTwiceGivesSevenTheSecondTime) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const Point p = registerPoint(L"p");
    const std::size_t listed = m.numListedReaders();
    MonitoringPointReaderListEntry* e = m.mpAddReader(p.readerId);
    EXPECT_EQ(m.numListedReaders(), listed + 1);
    EXPECT_EQ(m.mpRemoveReader(e), sSuccess);
    EXPECT_EQ(m.numListedReaders(), listed);
    EXPECT_EQ(m.mpRemoveReader(e), sInvalid);  // never dereferenced: clean under ASan
}

TEST(MonitoringPointManager, RemovingAnOrphanTwiceGivesSevenTheSecondTime) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const std::size_t orphans = m.numOrphans();
    MonitoringPointReaderListEntry* e = m.mpAddReader(IdStamp());
    EXPECT_EQ(m.numOrphans(), orphans + 1);
    EXPECT_EQ(m.mpRemoveReader(e), sSuccess);
    EXPECT_EQ(m.numOrphans(), orphans);
    EXPECT_EQ(m.mpRemoveReader(e), sInvalid);
}

TEST(MonitoringPointManager, NewEntriesStartAtRest) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const Point p = registerPoint(L"p");
    MonitoringPointReaderListEntry* e = m.mpAddReader(p.readerId);
    EXPECT_EQ(e->pointId, p.writerId);
    EXPECT_EQ(e->readerKey, p.readerId);
    EXPECT_EQ(e->peak.load(), 0.0f);
    EXPECT_FALSE(e->clipped.load());
    EXPECT_FALSE(e->peakTaken.load());
    EXPECT_EQ(e->peakTakenTime.load(), 0.0);
    EXPECT_EQ(m.mpRemoveReader(e), sSuccess);
}

TEST(MonitoringPointManager, RemovingNullIsReportedAndGivesSeven) {
    platform::LogCapture capture;
    EXPECT_EQ(MonitoringPointManager::instance().mpRemoveReader(nullptr), sInvalid);
    EXPECT_EQ(capture.splats(),
              std::vector<std::string>{"Illegal client ptr in Aud::MonitoringPointManager::mpRemoveReader"});
}

TEST(MonitoringPointReader, DestroyingAReaderWhoseStateWasRemovedIsReported) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const Point p = registerPoint(L"p");
    platform::LogCapture capture;
    {
        MonitoringPointReader r(p.readerId);
        ASSERT_EQ(m.mpRemoveReader(r.getEntry()), sSuccess);
    }
    EXPECT_EQ(capture.splats(), std::vector<std::string>{"Unexpected state in MonitoringPointReader::operator="});
}

TEST(MonitoringPointReader, AssigningOverAReaderWhoseStateWasRemovedIsReported) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const Point a = registerPoint(L"a");
    const Point b = registerPoint(L"b");
    MonitoringPointReader r(a.readerId);
    const MonitoringPointReader other(b.readerId);
    ASSERT_EQ(m.mpRemoveReader(r.getEntry()), sSuccess);
    platform::LogCapture capture;
    r = other;
    EXPECT_EQ(capture.splats(), std::vector<std::string>{"Unexpected state in MonitoringPointReader::operator="});
    EXPECT_TRUE(r.valid());
    EXPECT_EQ(r.getId(), b.readerId);
}

TEST(MonitoringPointReader, CopyingMakesAnIndependentStateForTheSameReaderId) {
    platform::ClockOverride clock(0.0);
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const Point p = registerPoint(L"p");
    MonitoringPointReader a(p.readerId);
    p.writer().updatePeakSampleValue(0.5f);
    const std::size_t listed = m.numListedReaders();
    MonitoringPointReader b(a);
    EXPECT_EQ(m.numListedReaders(), listed + 1);
    EXPECT_NE(b.getEntry(), a.getEntry());
    EXPECT_TRUE(b.valid());
    EXPECT_EQ(b.getId(), p.readerId);
    EXPECT_EQ(b.peakValue(false), 0.0f);  // a fresh state: it has seen no write yet
    p.writer().updatePeakSampleValue(0.25f);
    EXPECT_EQ(a.peakValue(false), 0.5f);
    EXPECT_EQ(b.peakValue(false), 0.25f);
}

TEST(MonitoringPointReader, CopyOfAStatelessReaderHasNoState) {
    const MonitoringPointReader none;
    const MonitoringPointReader copy(none);
    EXPECT_EQ(copy.getEntry(), nullptr);
    EXPECT_FALSE(copy.valid());
}

TEST(MonitoringPointReader, CopyOfAnOrphanIsAnOrphan) {
    const Point p = registerPoint(L"p");
    const MonitoringPointReader a(p.readerId);
    ASSERT_EQ(MonitoringPointManager::unregisterMP(p.writerId), sSuccess);
    const MonitoringPointReader b(a);
    ASSERT_NE(b.getEntry(), nullptr);
    EXPECT_FALSE(b.valid());
    EXPECT_FALSE(b.getId().valid());
}

TEST(MonitoringPointReader, AssigningAReaderOfTheSamePointKeepsTheState) {
    const Point p = registerPoint(L"p");
    MonitoringPointReader a(p.readerId);
    const MonitoringPointReader b(p.readerId);
    MonitoringPointReaderListEntry* before = a.getEntry();
    p.writer().updatePeakSampleValue(0.5f);
    a = b;
    EXPECT_EQ(a.getEntry(), before);
    EXPECT_EQ(a.peakValue(false), 0.5f);
    const MonitoringPointReader& self = a;
    a = self;  // self-assignment: same key, same point
    EXPECT_EQ(a.getEntry(), before);
}

TEST(MonitoringPointReader, AssigningAReaderOfAnotherPointSwitchesPoints) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const Point pa = registerPoint(L"a");
    const Point pb = registerPoint(L"b");
    MonitoringPointReader a(pa.readerId);
    const MonitoringPointReader b(pb.readerId);
    const std::size_t listed = m.numListedReaders();
    a = b;
    EXPECT_EQ(m.numListedReaders(), listed);  // one state freed, one made
    EXPECT_EQ(a.getId(), pb.readerId);
    EXPECT_NE(a.getEntry(), b.getEntry());
    pa.writer().updatePeakSampleValue(0.5f);
    pb.writer().updatePeakSampleValue(0.25f);
    EXPECT_EQ(a.peakValue(false), 0.25f);
}

TEST(MonitoringPointReader, AssigningAStatelessReaderDropsTheState) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const Point p = registerPoint(L"p");
    MonitoringPointReader a(p.readerId);
    const std::size_t listed = m.numListedReaders();
    a = MonitoringPointReader();
    EXPECT_EQ(m.numListedReaders(), listed - 1);
    EXPECT_EQ(a.getEntry(), nullptr);
    EXPECT_FALSE(a.valid());
    EXPECT_EQ(a.peakValue(false), 0.0f);
}

TEST(MonitoringPointReader, AssigningIntoAStatelessReaderTakesAState) {
    const Point p = registerPoint(L"p");
    MonitoringPointReader a;
    const MonitoringPointReader b(p.readerId);
    a = b;
    ASSERT_NE(a.getEntry(), nullptr);
    EXPECT_TRUE(a.valid());
    EXPECT_EQ(a.getId(), p.readerId);
}

TEST(MonitoringPointReader, DestroyingReadersFreesTheirStates) {
    MonitoringPointManager& m = MonitoringPointManager::instance();
    const Point p = registerPoint(L"p");
    const std::size_t listed = m.numListedReaders();
    {
        MonitoringPointReader a(p.readerId), b(p.readerId), c(p.readerId);
        EXPECT_EQ(m.numListedReaders(), listed + 3);
    }
    EXPECT_EQ(m.numListedReaders(), listed);
}
