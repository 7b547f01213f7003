// StreamClassRegistrar: the host's registry of classes that can be built from object
// streams. A class registers once, normally through a static registrar object in its
// library (registered when the library is loaded, removed when it is unloaded), with
// its long hierarchy name ("Taggable.Aud::SimpleMixState"), its short hierarchy name
// ("T.AS") and its builder, which default-constructs an object and unpacks it from the
// stream. findBuilder() finds a builder by either name; when a name is registered more
// than once the latest registration that is still alive wins.
// Threads: registration and look-up may happen on any thread (one internal mutex).
// Part of the object streams: platform/Streams.h includes this header after StreamFile and
// PStream, and including this header alone includes all of platform/Streams.h.
#include "platform/Streams.h"

#ifndef AUDATOMS_PLATFORM_STREAMCLASSREGISTRAR_H
#define AUDATOMS_PLATFORM_STREAMCLASSREGISTRAR_H

#include "platform/LightweightString.h"
#include "platform/Streamable.h"

#include <vector>

class AUDPLATFORM_EXPORT StreamClassRegistrar {
public:
    StreamClassRegistrar(const LightweightString<char>& longName, const LightweightString<char>& shortName,
                         Streamable::BuilderType builder);
    ~StreamClassRegistrar();
    StreamClassRegistrar(const StreamClassRegistrar&) = delete;
    StreamClassRegistrar& operator=(const StreamClassRegistrar&) = delete;

    const LightweightString<char>& longName() const { return longName_; }
    const LightweightString<char>& shortName() const { return shortName_; }
    Streamable::BuilderType builder() const { return builder_; }

    // The builder registered under a long or short hierarchy name, or null.
    static Streamable::BuilderType findBuilder(const LightweightString<char>& name);
    // Builds an object of the named class from the stream; null when the name is unknown.
    static Qm::Ptr<Streamable> build(const LightweightString<char>& name, PStream& s);
    // The long names of the classes registered now, in registration order.
    static std::vector<LightweightString<char>> registeredLongNames();

private:
    LightweightString<char> longName_;
    LightweightString<char> shortName_;
    Streamable::BuilderType builder_;
};

#endif  // AUDATOMS_PLATFORM_STREAMCLASSREGISTRAR_H
