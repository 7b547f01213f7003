// Property tests, with or without RapidCheck.
//
//     AUDATOMS_PROPERTY(Suite, Name, (unsigned seed)) { ... RC_ASSERT(condition); ... }
//
// With RapidCheck (the build defines AUDATOMS_HAVE_RAPIDCHECK when it finds the library)
// this is RC_GTEST_PROP: a test that checks the body for many generated arguments. Without
// it the test Suite.Name still exists and reports itself skipped, saying why, so that a
// missing RapidCheck shows in the results instead of the tests silently vanishing. The
// body is still compiled (never run) in that case, to keep it building; of RapidCheck's
// names it may then use RC_ASSERT only.
#pragma once

#include <gtest/gtest.h>

#ifdef AUDATOMS_HAVE_RAPIDCHECK

#include <rapidcheck/gtest.h>

#define AUDATOMS_PROPERTY(Suite, Name, ArgList) RC_GTEST_PROP(Suite, Name, ArgList)

#else

#define AUDATOMS_PROPERTY(Suite, Name, ArgList)                                                                        \
    [[maybe_unused]] void audatomsProperty_##Suite##_##Name ArgList;                                                   \
    TEST(Suite, Name) {                                                                                                \
        GTEST_SKIP() << "RapidCheck was not found when the build was configured: property not checked";                \
    }                                                                                                                  \
    void audatomsProperty_##Suite##_##Name ArgList

// Only ever compiled: the bodies above are never called without RapidCheck.
#define RC_ASSERT(...) static_cast<void>(__VA_ARGS__)

#endif
