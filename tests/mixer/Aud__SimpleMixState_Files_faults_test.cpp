// Aud::SimpleMixState's files (object stream record and configuration text) survive
// every single I/O fault of a save: the k-th write, fsync, close or rename failing with
// EIO or ENOSPC, for every k.
#include "AudAtoms/AudAtoms.h"
#include "tests/support/fault/SaveFaults.h"

#include <gtest/gtest.h>

namespace fault = audatoms::test::fault;

namespace {

Qm::Ptr<Aud::SimpleMixState> stateFor(int version) {
    Qm::Ptr<Aud::SimpleMixState> s(new Aud::SimpleMixState(24, 4, 8));
    for (int i = 0; i < 24; ++i) s->setInputLevel(i, 0.5f / float(version) + float(i) / 100);
    return s;
}

TEST(SimpleMixStateSaveFaults, StreamRecord) {
    const auto t =
        fault::checkEverySaveFault([](const std::string& path, int version,
                                      std::string* error) { return stateFor(version)->saveToStreamFile(path, error); },
                                   "mix.strm");
    EXPECT_GT(t.failures, 0);
    EXPECT_GE(t.cleanSave.rename, 1);
}

TEST(SimpleMixStateSaveFaults, ConfigurationText) {
    const auto t = fault::checkEverySaveFault(
        [](const std::string& path, int version, std::string* error) {
            return stateFor(version)->saveConfigurationFile(path, error);
        },
        "mix.ini");
    EXPECT_GT(t.failures, 0);
}

}  // namespace
