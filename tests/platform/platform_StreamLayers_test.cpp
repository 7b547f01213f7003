// The object stream layers of the platform: variable-width integers, layer framing,
// Streamable/Taggable chains, hierarchy names and the class registry, shown with two
// small test classes (a widget, and a gadget that adds a layer to it).
#include "platform/Report.h"
#include "platform/Streams.h"

#include <gtest/gtest.h>

#include <string>

namespace streamtest {

class Widget : public Taggable {
public:
    static const char* STRM_shortLayerName() { return "WG"; }
    StreamLayerVersion& STRM_layerVersion() const { return version_; }
    void pack(PStream& s) const {
        version_ = {1, 2};
        s.file().setUnsignedLong(count);
        s.writeBinary(label.c_str(), 0, false, false);
    }
    void unpack(PStream& s) {
        count = s.file().getUnsignedLong();
        label = s.file().getString().toStd();
    }
    int STRM_hierarchyPack(PStream& s) const override {
        return STRM_packLayers<Streamable, Taggable, Widget>(*this, s);
    }
    int STRM_hierarchyUnpack(PStream& s) override { return STRM_unpackLayers<Streamable, Taggable, Widget>(*this, s); }
    LightweightString<char> hierarchyName(bool l, bool o) const override {
        return STRM_hierarchyNameOf<Streamable, Taggable, Widget>(l, o);
    }
    Qm::Ptr<Streamable> clone(BuilderType) const override { return clone(); }
    Qm::Ptr<Taggable> clone() const override {
        auto* w = new Widget;
        w->count = count;
        w->label = label;
        return w;
    }
    bool assign(const Streamable* other) override {
        auto* w = dynamic_cast<const Widget*>(other);
        if (!w) return false;
        count = w->count;
        label = w->label;
        return true;
    }

    std::uint32_t count = 0;
    std::string label;

private:
    mutable StreamLayerVersion version_{1, 2};
};

class Gadget : public Widget {
public:
    static const char* STRM_shortLayerName() { return "GD"; }
    StreamLayerVersion& STRM_layerVersion() const { return version_; }
    void pack(PStream& s) const { s.file().setFloat(weight); }
    void unpack(PStream& s) { weight = s.file().getFloat(); }
    int STRM_hierarchyPack(PStream& s) const override {
        return STRM_packLayers<Streamable, Taggable, Widget, Gadget>(*this, s);
    }
    int STRM_hierarchyUnpack(PStream& s) override {
        return STRM_unpackLayers<Streamable, Taggable, Widget, Gadget>(*this, s);
    }
    LightweightString<char> hierarchyName(bool l, bool o) const override {
        return STRM_hierarchyNameOf<Streamable, Taggable, Widget, Gadget>(l, o);
    }
    float weight = 0;

private:
    mutable StreamLayerVersion version_{3, 0};
};

Qm::Ptr<Streamable> buildWidget(PStream& s) {
    Qm::Ptr<Widget> w(new Widget);
    w->STRM_hierarchyUnpack(s);
    return w;
}
Qm::Ptr<Streamable> buildGadget(PStream& s) {
    Qm::Ptr<Gadget> g(new Gadget);
    g->STRM_hierarchyUnpack(s);
    return g;
}

}  // namespace streamtest

namespace {
using streamtest::Gadget;
using streamtest::Widget;

std::string hex(const std::string& bytes) {
    static const char* digits = "0123456789abcdef";
    std::string out;
    for (unsigned char c : bytes) {
        if (!out.empty()) out += ' ';
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

template <class DIS>
std::string encode(typename std::invoke_result_t<decltype(&DIS::value), DIS> v) {
    StreamFile f;
    DIS::write(f, v);
    EXPECT_EQ(f.size(), DIS::encodedSize(v));
    f.seek(0);
    EXPECT_EQ(DIS::read(f), v);
    EXPECT_TRUE(f.atEnd());
    EXPECT_FALSE(f.failed());
    return hex(f.bytes());
}

using Versions = DynamicIntegralStorage<unsigned char, unsigned short>;
using Lengths = DynamicIntegralStorage<unsigned short, unsigned int>;

TEST(DynamicIntegralStorage, VersionWidths) {
    EXPECT_EQ(encode<Versions>(0), "00");
    EXPECT_EQ(encode<Versions>(254), "fe");
    EXPECT_EQ(encode<Versions>(255), "ff ff 00");
    EXPECT_EQ(encode<Versions>(256), "ff 00 01");
    EXPECT_EQ(encode<Versions>(65535), "ff ff ff");
}

TEST(DynamicIntegralStorage, LengthWidths) {
    EXPECT_EQ(encode<Lengths>(1), "01 00");
    EXPECT_EQ(encode<Lengths>(65534), "fe ff");
    EXPECT_EQ(encode<Lengths>(65535), "ff ff ff ff 00 00");
    EXPECT_EQ(encode<Lengths>(65536), "ff ff 00 00 01 00");
    EXPECT_EQ(encode<Lengths>(0xFFFFFFFFu), "ff ff ff ff ff ff");
}

TEST(DynamicIntegralStorage, ValueObjectAndTruncatedReads) {
    StreamFile f;
    Versions(300).pack(f);
    f.seek(0);
    Versions v;
    v.unpack(f);
    EXPECT_EQ(v.value(), 300);
    StreamFile cut;
    cut.setBytes(std::string("\xff\x01", 2));  // escape, then half a uint16
    EXPECT_EQ(Versions::read(cut), 0);
    EXPECT_TRUE(cut.failed());
    StreamFile empty;
    EXPECT_EQ(Lengths::read(empty), 0u);
    EXPECT_TRUE(empty.failed());
}

std::string packed(const Streamable& obj, int format = 2) {
    StreamFile f;
    PStream s(f);
    s.setFormatNumber(format);
    EXPECT_EQ(obj.STRM_hierarchyPack(s), kStreamLayerOk);
    return f.bytes();
}

std::string B(std::initializer_list<int> bytes) {
    std::string s;
    for (int b : bytes) s += char(b);
    return s;
}

std::string le32(std::uint32_t v) {
    std::string s;
    for (int i = 0; i < 4; ++i) s += char((v >> (8 * i)) & 0xFF);
    return s;
}
std::string header2(const std::string& name, int major, int minor, std::uint32_t own, std::uint32_t total) {
    return name + '\0' + char(major) + char(minor) + le32(own) + le32(total);
}

TEST(StreamLayers, LayersAreWrittenOutermostFirstWithPatchedLengths) {
    Gadget g;
    g.count = 7;
    g.label = "abc";
    g.weight = 2.0f;
    const std::string wgOwn = le32(7) + std::string("abc") + '\0';  // 8 bytes
    const std::string gdOwn = le32(0x40000000);                     // 2.0f
    const std::string gd = header2("GD", 3, 0, 4, 4) + gdOwn;
    const std::string wg = header2("WG", 1, 2, 8, std::uint32_t(8 + gd.size())) + wgOwn + gd;
    const std::string t = header2("T", 1, 0, 0, std::uint32_t(wg.size())) + wg;
    const std::string expected = header2("$", 2, 0, 0, std::uint32_t(t.size())) + t;
    EXPECT_EQ(hex(packed(g)), hex(expected));
}

TEST(StreamLayers, RoundTripThroughEveryLayer) {
    Gadget g;
    g.count = 123456;
    g.label = "gadget";
    g.weight = -0.5f;
    StreamFile f;
    f.setBytes(packed(g));
    PStream s(f);
    Gadget back;
    EXPECT_EQ(back.STRM_hierarchyUnpack(s), kStreamLayerOk);
    EXPECT_EQ(s.errorText(), "");
    EXPECT_EQ(back.count, 123456u);
    EXPECT_EQ(back.label, "gadget");
    EXPECT_EQ(back.weight, -0.5f);
    EXPECT_EQ(back.Widget::STRM_layerVersion().minor, 2u);
    EXPECT_TRUE(f.atEnd());
}

TEST(StreamLayers, Format1RoundTripAndHeaderBytes) {
    Widget w;
    w.count = 1;
    w.label = "x";
    const std::string bytes = packed(w, 1);
    // "$": name, versions 1.0, own length 0 and total as uint16.
    const std::string wg = std::string("WG\0", 3) + B({1, 2}) + B({6, 0, 6, 0}) + le32(1) + "x" + '\0';
    const std::string t = std::string("T\0", 2) + B({1, 0}) + B({0, 0}) + B({int(wg.size()), 0}) + wg;
    const std::string expected = std::string("$\0", 2) + B({1, 0}) + B({0, 0}) + B({int(t.size()), 0}) + t;
    EXPECT_EQ(hex(bytes), hex(expected));
    StreamFile f;
    f.setBytes(bytes);
    PStream s(f);
    Widget back;
    EXPECT_EQ(back.STRM_hierarchyUnpack(s), kStreamLayerOk);
    EXPECT_EQ(s.formatNumber(), 1);  // taken from the outermost layer
    EXPECT_EQ(back.count, 1u);
    EXPECT_EQ(back.label, "x");
}

TEST(StreamLayers, AnOlderReaderSkipsFieldsAppendedByANewerWriter) {
    Gadget g;
    g.count = 9;
    g.label = "new";
    g.weight = 4.0f;
    // The widget layer of a newer writer with 5 more bytes of own data.
    const std::string wgOwn = le32(9) + std::string("new") + '\0' + "EXTRA";
    const std::string gd = header2("GD", 3, 0, 4, 4) + le32(0x40800000);
    const std::string wg =
        header2("WG", 1, 3, std::uint32_t(wgOwn.size()), std::uint32_t(wgOwn.size() + gd.size())) + wgOwn + gd;
    const std::string t = header2("T", 1, 0, 0, std::uint32_t(wg.size())) + wg;
    StreamFile f;
    f.setBytes(header2("$", 2, 0, 0, std::uint32_t(t.size())) + t);
    PStream s(f);
    Gadget back;
    platform::LogCapture log;
    EXPECT_EQ(back.STRM_hierarchyUnpack(s), kStreamLayerOk);
    EXPECT_EQ(s.errorText(), "");
    EXPECT_EQ(log.logText(), "Warning: Not all object data was read while unpacking object streamtest::Gadget, layer "
                             "streamtest::Widget v1.3, 5/13 bytes unread.\n");
    EXPECT_EQ(back.count, 9u);
    EXPECT_EQ(back.weight, 4.0f);  // the inner layer is found after the skipped bytes
    EXPECT_EQ(back.Widget::STRM_layerVersion().minor, 3u);
}

TEST(StreamLayers, OverreadNamesObjectAndLayer) {
    const std::string wgOwn = le32(1) + "ab" + '\0';
    const std::string gd = header2("GD", 3, 0, 4, 4) + le32(0);
    // Own length 5 where the widget reads 7.
    const std::string wg = header2("WG", 1, 2, 5, 5 + std::uint32_t(gd.size())) + wgOwn + gd;
    const std::string t = header2("T", 1, 0, 0, std::uint32_t(wg.size())) + wg;
    StreamFile f;
    f.setBytes(header2("$", 2, 0, 0, std::uint32_t(t.size())) + t);
    PStream s(f);
    Gadget back;
    EXPECT_EQ(back.STRM_hierarchyUnpack(s), kStreamLayerFailed);
    EXPECT_EQ(s.errorText(),
              "Error: Unpacker read beyond end of chunk while unpacking object streamtest::Gadget, layer "
              "streamtest::Widget v1.2, 2 bytes overread.\n");
}

TEST(StreamLayers, ReadingALayerHeaderSwitchesTheFormat) {
    for (const char* name : {"$", "Streamable"}) {
        StreamFile f;
        f.setBytes(std::string(name) + '\0' + B({1, 0}) + B({2, 0, 3, 0}));
        PStream s(f);
        StreamLayerHeader h;
        ASSERT_TRUE(STRM_readLayerHeader(s, h));
        EXPECT_EQ(s.formatNumber(), 1);
        EXPECT_EQ(h.ownLength, 2u);
        EXPECT_EQ(h.totalLength, 3u);
    }
    // Any other layer name leaves the format alone.
    StreamFile f;
    f.setBytes(std::string("T\0", 2) + B({1, 0}) + le32(2) + le32(3));
    PStream s(f);
    StreamLayerHeader h;
    ASSERT_TRUE(STRM_readLayerHeader(s, h));
    EXPECT_EQ(s.formatNumber(), 2);
    EXPECT_EQ(h.totalLength, 3u);
}

TEST(StreamLayers, PackingIntoAFailedStreamReportsFailure) {
    Widget w;
    StreamFile f;
    PStream s(f);
    s.setFailed();
    EXPECT_EQ(w.STRM_hierarchyPack(s), kStreamLayerFailed);
}

TEST(StreamLayers, HierarchyNames) {
    Gadget g;
    EXPECT_EQ(g.hierarchyName(true, false), "Taggable.streamtest::Widget.streamtest::Gadget");
    EXPECT_EQ(g.hierarchyName(false, false), "T.WG.GD");
    EXPECT_EQ(g.hierarchyName(false, true), "$.T.WG.GD");
    EXPECT_EQ(g.STRM_typeName(), "streamtest::Gadget");
    EXPECT_EQ(STRM_printableTypeName(typeid(Taggable)), "Taggable");
}

TEST(StreamClassRegistrar, FindsByEitherNameAndForgetsWhenDestroyed) {
    Widget w;
    w.count = 5;
    w.label = "reg";
    const std::string bytes = packed(w);
    {
        StreamClassRegistrar reg(w.hierarchyName(true, false), w.hierarchyName(false, false), &streamtest::buildWidget);
        EXPECT_EQ(StreamClassRegistrar::findBuilder("Taggable.streamtest::Widget"), &streamtest::buildWidget);
        EXPECT_EQ(StreamClassRegistrar::findBuilder("T.WG"), &streamtest::buildWidget);
        StreamFile f;
        f.setBytes(bytes);
        PStream s(f);
        Qm::Ptr<Streamable> built = StreamClassRegistrar::build("T.WG", s);
        auto* back = dynamic_cast<Widget*>(built.get());
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(back->count, 5u);
        EXPECT_EQ(back->label, "reg");
        {
            // A later registration under the same name wins while it lives.
            StreamClassRegistrar other("Taggable.streamtest::Widget", "T.WG2", &streamtest::buildGadget);
            EXPECT_EQ(StreamClassRegistrar::findBuilder("Taggable.streamtest::Widget"), &streamtest::buildGadget);
            EXPECT_EQ(StreamClassRegistrar::findBuilder("T.WG"), &streamtest::buildWidget);
        }
        EXPECT_EQ(StreamClassRegistrar::findBuilder("Taggable.streamtest::Widget"), &streamtest::buildWidget);
    }
    EXPECT_EQ(StreamClassRegistrar::findBuilder("T.WG"), nullptr);
    EXPECT_EQ(StreamClassRegistrar::findBuilder("Taggable.streamtest::Widget"), nullptr);
}

}  // namespace
