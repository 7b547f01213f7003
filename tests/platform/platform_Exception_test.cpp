#include "platform/Exception.h"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

TEST(Exception, CarriesMessageFileAndLine) {
    const Qm::Exception::RuntimeError e("Unsupported filter type", "ole/AudAtoms/Aud__Biquad", 233);
    EXPECT_STREQ(e.what(), "Unsupported filter type");
    EXPECT_EQ(e.file(), "ole/AudAtoms/Aud__Biquad");
    EXPECT_EQ(e.line(), 233);
}

TEST(Exception, IsARuntimeErrorForStandardHandlers) {
    try {
        throw Qm::Exception::RuntimeError("no project rate", "src", 9);
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "no project rate");
        const auto* typed = dynamic_cast<const Qm::Exception::RuntimeError*>(&e);
        ASSERT_NE(typed, nullptr);
        EXPECT_EQ(typed->line(), 9);
        return;
    }
    ADD_FAILURE() << "not caught as std::runtime_error";
}

TEST(Exception, ContextLinesNameTheMessagePlaceAndThread) {
    const Qm::Exception::RuntimeError e("bad value", "ole/AudAtoms/Aud__SampleRate", 301);
    const auto& lines = e.context();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "RuntimeError: bad value");
    EXPECT_EQ(lines[1], "  thrown at ole/AudAtoms/Aud__SampleRate line 301");
    std::ostringstream thread;
    thread << "  on thread " << std::this_thread::get_id();
    EXPECT_EQ(lines[2], thread.str());
}

TEST(Exception, ANullFileIsEmptyAndCopiesKeepEverything) {
    const Qm::Exception::RuntimeError e("m", nullptr, 0);
    EXPECT_EQ(e.file(), "");
    const Qm::Exception::RuntimeError copy = e;
    EXPECT_STREQ(copy.what(), "m");
    EXPECT_EQ(copy.context(), e.context());
    EXPECT_EQ(copy.line(), 0);
}
