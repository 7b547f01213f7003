// Drives one save through every single fault: for each of write, fsync, close and
// rename, for every k from 1 to the number of such calls a clean save makes, and for
// EIO and ENOSPC, the k-th call fails. Each time the save must either report failure
// with a text naming the file and the system's reason while the old file stays byte for
// byte as it was, or (only for faults after the new file is in place, such as the
// folder's flush) report success with the new contents; and the folder must hold the
// target alone: no temporary file left.
// Header-only; links against the AudFaultInjection library.
#pragma once

#include "tests/support/ScratchDir.h"
#include "tests/support/fault/FaultInjection.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

namespace audatoms::test::fault {

// Saves contents number `version` (1 = old, 2 = new) to `path`; false with *error on
// failure.
using SaveFn = std::function<bool(const std::string& path, int version, std::string* error)>;

struct FaultTally {
    int faults = 0;    // single faults delivered
    int failures = 0;  // of which reported as failed saves
    Counts cleanSave;  // calls of one clean save
};

inline std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// With writeChunk > 0 every write passes at most that many bytes (short writes), so a
// save takes several writes and a fault can fall between them.
inline FaultTally checkEverySaveFault(const SaveFn& save, const std::string& fileName = "saved",
                                      unsigned writeChunk = 4096) {
    struct ChunkGuard {
        explicit ChunkGuard(unsigned bytes) { limitWrites(bytes); }
        ~ChunkGuard() { limitWrites(0); }
    } chunks(writeChunk);
    FaultTally tally;
    ScratchDir dir;
    const std::string path = dir.file(fileName);
    std::string error;
    if (!save(path, 1, &error)) {
        ADD_FAILURE() << "the first save failed: " << error;
        return tally;
    }
    const std::string oldBytes = fileBytes(path);

    count();
    const bool cleanOk = save(path, 2, &error);
    tally.cleanSave = disarm();
    const std::string newBytes = fileBytes(path);
    EXPECT_TRUE(cleanOk) << error;
    EXPECT_NE(oldBytes, newBytes) << "the two versions must differ to tell them apart";
    EXPECT_GT(tally.cleanSave.write, 0);
    EXPECT_GT(tally.cleanSave.rename, 0);

    for (Op op : kAllOps) {
        for (int k = 1; k <= tally.cleanSave.of(op); ++k) {
            for (int err : {EIO, ENOSPC}) {
                SCOPED_TRACE(std::string(name(op)) + " call " + std::to_string(k) + " fails with " +
                             std::strerror(err));
                std::string restoreError;
                if (!save(path, 1, &restoreError) || fileBytes(path) != oldBytes) {
                    ADD_FAILURE() << "cannot put the old file back: " << restoreError;
                    return tally;
                }
                error.clear();
                arm(op, k, err);
                const bool ok = save(path, 2, &error);
                const bool delivered = fired();
                disarm();
                EXPECT_TRUE(delivered);
                ++tally.faults;
                if (ok) {
                    EXPECT_EQ(fileBytes(path), newBytes) << "a save that reports success must have written it all";
                } else {
                    ++tally.failures;
                    EXPECT_EQ(fileBytes(path), oldBytes) << "a failed save must leave the old file as it was";
                    EXPECT_NE(error.find(path), std::string::npos) << "the error names the file: " << error;
                    EXPECT_NE(error.find(std::strerror(err)), std::string::npos)
                        << "the error gives the system's reason: " << error;
                }
                EXPECT_EQ(dir.entries(), std::vector<std::string>{fileName}) << "no temporary file is left";
            }
        }
    }
    return tally;
}

}  // namespace audatoms::test::fault
