#include "BufferHelpers.h"

#include <cstring>

namespace audatoms::test {

Qm::Ptr<iMemHolder> memoryOf(const Bytes& bytes) {
    auto* m = new ByteBufferImpl();
    m->alloc(unsigned(bytes.size()));
    if (!bytes.empty()) std::memcpy(m->getBuffer(), bytes.data(), bytes.size());
    return Qm::Ptr<iMemHolder>(m);
}

Bytes bytesOf(const iMemHolder& memory) { return bytesOf(memory, memory.getUsed()); }

Bytes bytesOf(const iMemHolder& memory, std::size_t count) {
    const auto* p = static_cast<const unsigned char*>(memory.getBuffer());
    return p ? Bytes(p, p + count) : Bytes();
}

std::string assertionText(const char* condition, const char* source, int line) {
    return std::string("assertion failed ") + condition + " at " + source + " line " + std::to_string(line) + "\n";
}

std::string assertionText(const char* condition, const char* source, int line, unsigned times) {
    std::string s;
    for (unsigned i = 0; i < times; ++i) s += assertionText(condition, source, line);
    return s;
}

Bytes le16(std::uint16_t v) { return {std::uint8_t(v), std::uint8_t(v >> 8)}; }
Bytes le32(std::uint32_t v) {
    return {std::uint8_t(v), std::uint8_t(v >> 8), std::uint8_t(v >> 16), std::uint8_t(v >> 24)};
}
Bytes le64(std::uint64_t v) {
    Bytes b = le32(std::uint32_t(v)), h = le32(std::uint32_t(v >> 32));
    b.insert(b.end(), h.begin(), h.end());
    return b;
}
Bytes concat(const std::vector<Bytes>& parts) {
    Bytes out;
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

}  // namespace audatoms::test
