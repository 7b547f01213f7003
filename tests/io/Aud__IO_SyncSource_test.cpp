#include "AudAtoms/AudAtoms.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Aud;

TEST(IO_SyncSource, DisplayNamesOfTheTypes) {
    platform::LogCapture capture;
    EXPECT_EQ(getDisplayString(keIO_SyncSourceTypeFreeRunning), L"Free Running");
    EXPECT_EQ(getDisplayString(keIO_SyncSourceTypeVideo), L"Video");
    EXPECT_EQ(getDisplayString(keIO_SyncSourceTypeLTC), L"LTC");
    EXPECT_EQ(getDisplayString(keIO_SyncSourceTypeAES_EBU), L"AES/EBU");
    EXPECT_TRUE(capture.splats().empty());
    for (std::uint32_t t : {0u, 5u, 0xFFFFFFFFu}) {
        capture.clear();
        EXPECT_EQ(getDisplayString(eIO_SyncSourceType(t)), L"") << t;
        EXPECT_EQ(capture.splats(), std::vector<std::string>{"Dodgy enum!"}) << t;
    }
}

TEST(IO_SyncSource, DisplayStringNumbersInputsFromOne) {
    EXPECT_EQ(IO_SyncSource(keIO_SyncSourceTypeVideo, 0).getDisplayString(), L"Video 1");
    EXPECT_EQ(IO_SyncSource(keIO_SyncSourceTypeLTC, 2).getDisplayString(), L"LTC 3");
    EXPECT_EQ(IO_SyncSource(keIO_SyncSourceTypeFreeRunning, 0).getDisplayString(), L"Free Running 1");
    EXPECT_EQ(IO_SyncSource(keIO_SyncSourceTypeVideo, 11).getDisplayString(), L"Video 12");
}

TEST(IO_SyncSource, AesEbuInputsArePairs) {
    EXPECT_EQ(IO_SyncSource(keIO_SyncSourceTypeAES_EBU, 0).getDisplayString(), L"AES/EBU 1&2");
    EXPECT_EQ(IO_SyncSource(keIO_SyncSourceTypeAES_EBU, 1).getDisplayString(), L"AES/EBU 3&4");
    EXPECT_EQ(IO_SyncSource(keIO_SyncSourceTypeAES_EBU, 5).getDisplayString(), L"AES/EBU 3&4");
}

TEST(IO_SyncSource, ResetGivesTypeZeroAndAllOnes) {
    IO_SyncSource s(keIO_SyncSourceTypeVideo, 3);
    s.reset();
    EXPECT_EQ(s.type(), keIO_SyncSourceTypeNone);
    EXPECT_EQ(s.inputNumber(), 0xFFFFFFFFu);
    EXPECT_TRUE(s.valid());
    platform::LogCapture capture;
    // The empty type text, a blank, and 0xFFFFFFFF + 1 taken in 32 bits.
    EXPECT_EQ(s.getDisplayString(), L" 0");
    EXPECT_EQ(capture.splats(), std::vector<std::string>{"Dodgy enum!"});
}

TEST(IO_SyncSource, EqualityNeedsTypeAndInput) {
    const IO_SyncSource a(keIO_SyncSourceTypeVideo, 0), b(keIO_SyncSourceTypeVideo, 1), c(keIO_SyncSourceTypeLTC, 0),
        d(keIO_SyncSourceTypeVideo, 0);
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a != b);
    EXPECT_FALSE(a == c);
    EXPECT_TRUE(a == d);
    EXPECT_FALSE(a != d);
}

TEST(IO_SyncSource, AccessorsWriteTheFields) {
    IO_SyncSource s(keIO_SyncSourceTypeFreeRunning, 0);
    s.type(keIO_SyncSourceTypeAES_EBU);
    s.inputNumber(7);
    EXPECT_EQ(s.type(), keIO_SyncSourceTypeAES_EBU);
    EXPECT_EQ(s.inputNumber(), 7u);
    EXPECT_TRUE(s.valid());
}

TEST(IO_SyncSource, CopiesAreIndependent) {
    IO_SyncSource a(keIO_SyncSourceTypeLTC, 1);
    IO_SyncSource b(a);
    EXPECT_TRUE(a == b);
    b.inputNumber(4);
    EXPECT_EQ(a.inputNumber(), 1u);
    IO_SyncSource c(keIO_SyncSourceTypeVideo, 9);
    c = a;
    EXPECT_TRUE(c == a);
    a.type(keIO_SyncSourceTypeVideo);
    EXPECT_EQ(c.type(), keIO_SyncSourceTypeLTC);
    const IO_SyncSource& self = c;
    c = self;
    EXPECT_EQ(c.type(), keIO_SyncSourceTypeLTC);
}

TEST(IO_SyncSourceTypeInfo, ReadsTheHostRecord) {
    IO_SyncSourceTypeInfo::Rep rep{4, keIO_SyncSourceTypeAES_EBU};
    const IO_SyncSourceTypeInfo info(&rep);
    EXPECT_TRUE(info.valid());
    EXPECT_EQ(info.numInputs(), 4u);
    EXPECT_EQ(info.type(), keIO_SyncSourceTypeAES_EBU);
    rep.numInputs = 2;
    EXPECT_EQ(info.numInputs(), 2u);
}

TEST(IO_SyncSourceTypeInfo, InvalidHandleReportsOnlyForNumInputs) {
    const IO_SyncSourceTypeInfo info;
    platform::LogCapture capture;
    EXPECT_EQ(info.type(), keIO_SyncSourceTypeNone);
    EXPECT_TRUE(capture.splats().empty());
    EXPECT_EQ(info.numInputs(), 0u);
    EXPECT_EQ(capture.splats(), std::vector<std::string>{"Method called on invalid IO_SyncSourceTypeInfo object"});
}

TEST(IO_SyncSourceTypeInfo, ListFindsTypes) {
    IO_SyncSourceTypeInfo::Rep video{1, keIO_SyncSourceTypeVideo}, aes{2, keIO_SyncSourceTypeAES_EBU};
    IO_SyncSourceTypeInfoVector list;
    list.push_back(IO_SyncSourceTypeInfo(&video));
    list.push_back(IO_SyncSourceTypeInfo(&aes));
    EXPECT_EQ(list.find(keIO_SyncSourceTypeAES_EBU), 1u);
    EXPECT_EQ(list.find(keIO_SyncSourceTypeLTC), 2u);
    EXPECT_EQ(list[keIO_SyncSourceTypeAES_EBU].numInputs(), 2u);
    EXPECT_FALSE(list[keIO_SyncSourceTypeLTC].valid());
    EXPECT_EQ(list[keIO_SyncSourceTypeLTC].type(), 0u);
}
