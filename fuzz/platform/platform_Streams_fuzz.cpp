// Fuzzes reading object streams: the first bytes choose a sequence of typed reads,
// block reads, string reads and seeks; the rest is the stream. No read may crash,
// read past the end, leave the position past the end, or return a block longer than
// the stream; a read past the end must set failed().
#include "platform/Streams.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const std::size_t ops = std::size_t(data[0] % 32) + 1;
    if (size < 1 + ops) return 0;
    const std::string bytes(reinterpret_cast<const char*>(data + 1 + ops), size - 1 - ops);
    StreamFile f;
    f.setBytes(bytes);
    PStream p(f);
    for (std::size_t i = 0; i < ops; ++i) {
        const std::uint8_t op = data[1 + i];
        const std::uint32_t before = f.tell();
        const std::uint32_t left = f.size() - before;
        bool needs = false;  // the read needs more bytes than are left
        switch (op % 9) {
        case 0:
            needs = left < 1;
            (void)f.getCookedChar();
            break;
        case 1:
            needs = left < 2;
            (void)f.getUnsignedShort();
            break;
        case 2:
            needs = left < 4;
            (void)f.getLong();
            break;
        case 3:
            needs = left < 4;
            (void)f.getUnsignedLong();
            break;
        case 4:
            needs = left < 4;
            (void)f.getFloat();
            break;
        case 5: {
            const LightweightString<char> s = f.getString();
            if (s.size() > left) std::abort();
            break;
        }
        case 6: {
            const std::string block = f.readBinary();
            if (block.size() + 4 > std::size_t(left) && !block.empty()) std::abort();
            break;
        }
        case 7: f.seek(std::uint32_t(op) * 131u); break;
        default: f.clearFailed(); break;
        }
        if (f.tell() > f.size()) std::abort();
        if (needs && !f.failed()) std::abort();
    }
    (void)p.failed();
    return 0;
}
