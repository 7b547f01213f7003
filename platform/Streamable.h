// Streamable and Taggable: the bases of objects that live in object streams.
//
// Streamable is the outermost layer of every object record: short name "$", printable
// name "Streamable", no own data, and its major version is the stream format number
// (pack() sets it from the stream; unpacking it switches the stream to that format).
// Taggable ("T", version 1.0, no own data) is the base of the host's serialisable,
// reference-counted objects; it rests on iObject as a virtual base.
//
// A class that adds a layer declares, besides its own pack()/unpack():
//   static const char* STRM_shortLayerName();   // e.g. "AS"
//   StreamLayerVersion& STRM_layerVersion() const;
// and implements STRM_hierarchyPack/Unpack with STRM_packLayers / STRM_unpackLayers,
// listing its layers from the outermost inward, e.g.
//   STRM_packLayers<Streamable, Taggable, Aud::SimpleMixState>(*this, s).
// Hierarchy names join the layers below Streamable with ".", in the long form their
// printable names ("Taggable.Aud::SimpleMixState"), in the short form their short names
// ("T.AS"); withOutermost puts the Streamable layer in front ("Streamable." / "$.").
//
// Threads: an object is packed or unpacked by one thread at a time; the class's own
// pack/unpack decide what they lock. Allocates; not for real-time use.
// Part of the object streams: platform/Streams.h includes this header after StreamFile and
// PStream, and including this header alone includes all of platform/Streams.h.
#include "platform/Streams.h"

#ifndef AUDATOMS_PLATFORM_STREAMABLE_H
#define AUDATOMS_PLATFORM_STREAMABLE_H

#include "platform/LightweightString.h"
#include "platform/Ptr.h"
#include "platform/StreamLayers.h"

#include <string>
#include <type_traits>
#include <typeinfo>

class AUDPLATFORM_EXPORT Streamable : public virtual iObject {
public:
    // Builds an object of a registered class from a stream (see StreamClassRegistrar).
    using BuilderType = Qm::Ptr<Streamable> (*)(PStream&);

    ~Streamable() override = default;

    static const char* shortLayerName() { return "$"; }
    static const char* STRM_shortLayerName() { return shortLayerName(); }
    StreamLayerVersion& STRM_layerVersion() const { return streamableVersion_; }

    // Own data of the Streamable layer: none. pack() sets the layer's major version to
    // the stream format number.
    void pack(PStream& s) const { streamableVersion_ = {unsigned(s.formatNumber()), 0}; }
    void unpack(PStream&) {}

    // The whole object, all layers, outermost first. Return a StreamLayerStatus.
    virtual int STRM_hierarchyPack(PStream& s) const = 0;
    virtual int STRM_hierarchyUnpack(PStream& s) = 0;

    virtual LightweightString<char> hierarchyName(bool longForm, bool withOutermost) const = 0;
    // The printable name of the object's own class ("Aud::SimpleMixState").
    std::string STRM_typeName() const { return STRM_printableTypeName(typeid(*this)); }

    // A copy of this object (builder: how the host would build one; may be null).
    virtual Qm::Ptr<Streamable> clone(BuilderType builder) const = 0;
    // Makes this object a copy of other; false when other is not of a compatible class.
    virtual bool assign(const Streamable* other) = 0;

private:
    mutable StreamLayerVersion streamableVersion_{2, 0};
};

class AUDPLATFORM_EXPORT Taggable : public Streamable {
public:
    static const char* STRM_shortLayerName() { return "T"; }
    StreamLayerVersion& STRM_layerVersion() const { return taggableVersion_; }

    void pack(PStream&) const { taggableVersion_ = {1, 0}; }
    void unpack(PStream&) {}

    using Streamable::clone;
    virtual Qm::Ptr<Taggable> clone() const = 0;

private:
    mutable StreamLayerVersion taggableVersion_{1, 0};
};

// Packs obj's layers Layer, Inner... (outermost first) into s.
template <class Layer, class... Inner, class Obj>
int STRM_packLayers(const Obj& obj, PStream& s) {
    StreamInnerPacker inner = [](PStream&) { return int(kStreamLayerOk); };
    if constexpr (sizeof...(Inner) != 0) inner = [&obj](PStream& ps) { return STRM_packLayers<Inner...>(obj, ps); };
    return STRM_packLayer(
        s, Layer::STRM_shortLayerName(), obj.Layer::STRM_layerVersion(), [&obj](PStream& ps) { obj.Layer::pack(ps); },
        inner);
}

// Unpacks obj's layers Layer, Inner... (outermost first) from s.
template <class Layer, class... Inner, class Obj>
int STRM_unpackLayers(Obj& obj, PStream& s) {
    const StreamLayerNames names{Layer::STRM_shortLayerName(), STRM_printableTypeName(typeid(Layer)),
                                 obj.STRM_typeName()};
    StreamInnerUnpacker inner = [](PStream&) { return int(kStreamLayerOk); };
    if constexpr (sizeof...(Inner) != 0) inner = [&obj](PStream& ps) { return STRM_unpackLayers<Inner...>(obj, ps); };
    return STRM_unpackLayer(
        s, names, obj.Layer::STRM_layerVersion(), [&obj](PStream& ps) { obj.Layer::unpack(ps); }, inner);
}

// The hierarchy name of the layers Layer, Inner... (outermost first, normally from Streamable).
template <class Layer, class... Inner>
LightweightString<char> STRM_hierarchyNameOf(bool longForm, bool withOutermost) {
    std::string name;
    auto add = [&](const std::string& part, bool isOutermost) {
        if (isOutermost && !withOutermost) return;
        if (!name.empty()) name += '.';
        name += part;
    };
    add(longForm ? STRM_printableTypeName(typeid(Layer)) : std::string(Layer::STRM_shortLayerName()),
        std::is_same_v<Layer, Streamable>);
    (add(longForm ? STRM_printableTypeName(typeid(Inner)) : std::string(Inner::STRM_shortLayerName()), false), ...);
    return LightweightString<char>(name);
}

#endif  // AUDATOMS_PLATFORM_STREAMABLE_H
