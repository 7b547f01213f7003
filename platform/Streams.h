// Object streams of the host.
//
// StreamFile: a little-endian byte stream held in memory. Default construction gives
// an empty in-memory stream; open(path, false) loads a file for reading; open(path,
// true) starts an empty stream that close() (or the destructor) writes to the path
// atomically, so a failed or interrupted save never leaves a damaged file.
// All multi-byte values are little-endian; positions and sizes are in bytes. seek()
// beyond the end stops at the end. Writes at a position inside the stream overwrite;
// writes at the end append. A read past the end sets failed(), returns zero values
// (reads nothing beyond the end) and leaves the position at the end.
//
// PStream: an object stream over a StreamFile: the stream format number, binary
// blocks with their framing, and the accumulated error text of unpacking.
// Threads: a stream belongs to one thread at a time.
#pragma once

#include "platform/AudPlatformExport.h"

#include "platform/LightweightString.h"

#include <cstdint>
#include <string>

class AUDPLATFORM_EXPORT StreamFile {
public:
    StreamFile() = default;
    ~StreamFile();
    StreamFile(const StreamFile&) = delete;
    StreamFile& operator=(const StreamFile&) = delete;

    bool open(const std::string& path, bool forWriting);
    // Writes a stream opened for writing to its file (atomically); true on success
    // or when there is nothing to write.
    bool close();
    const std::string& lastError() const { return error_; }

    std::uint32_t tell() const { return pos_; }
    void seek(std::uint32_t pos);
    bool atEnd() const { return pos_ >= data_.size(); }
    std::uint32_t size() const { return std::uint32_t(data_.size()); }
    const std::string& bytes() const { return data_; }
    void setBytes(const std::string& bytes) {
        data_ = bytes;
        pos_ = 0;
        failed_ = false;
    }
    bool failed() const { return failed_; }
    void clearFailed() { failed_ = false; }

    void writeBytes(const void* data, std::uint32_t n);
    bool readBytes(void* data, std::uint32_t n);

    void setCookedChar(std::uint8_t v) { writeBytes(&v, 1); }
    std::uint8_t getCookedChar();
    void setUnsignedShort(std::uint16_t v);
    std::uint16_t getUnsignedShort();
    void setLong(std::int32_t v);
    std::int32_t getLong();
    void setUnsignedLong(std::uint32_t v);
    std::uint32_t getUnsignedLong();
    void setFloat(float v);
    float getFloat();

    // Reads bytes up to and including a NUL; the text without the NUL. At the end of
    // the stream without a NUL: what was read, and failed() is set.
    LightweightString<char> getString();
    // Reads a uint32 length and that many bytes. A length past the end of the stream
    // sets failed() and gives an empty block (nothing is allocated for it).
    std::string readBinary();

private:
    std::string data_;
    std::uint32_t pos_ = 0;
    bool failed_ = false;
    bool writing_ = false;
    std::string path_;
    std::string error_;
};

class AUDPLATFORM_EXPORT PStream {
public:
    explicit PStream(StreamFile& file) : file_(file) {}

    StreamFile& file() { return file_; }
    int formatNumber() const { return format_; }
    void setFormatNumber(int format) { format_ = format; }

    // size 0: data is a NUL-terminated string, written with its NUL (null data writes
    // a lone NUL). Otherwise, when withLength, a uint32 length first, then the size
    // bytes. Null data with a non-zero size writes nothing, appends an error and sets
    // failed(). The last argument is unused.
    void writeBinary(const void* data, unsigned size, bool withLength, bool reserved = false);

    const LightweightString<char>& errorText() const { return errors_; }
    // Messages accumulate in order, joined as they are (no separator is added).
    void appendError(const LightweightString<char>& text) { errors_ += text; }
    void appendError(const char* text) { errors_ += text; }
    void appendError(const std::string& text) { errors_ += LightweightString<char>(text); }
    bool failed() const { return failed_ || file_.failed(); }
    void setFailed() { failed_ = true; }
    void clearFailed() {
        failed_ = false;
        file_.clearFailed();
    }

private:
    StreamFile& file_;
    int format_ = 2;
    LightweightString<char> errors_;
    bool failed_ = false;
};

// The object layers: variable-width integers, layer framing, Streamable and Taggable,
// and the stream-class registry.
#include "platform/DynamicIntegralStorage.h"
#include "platform/StreamLayers.h"
#include "platform/Streamable.h"
#include "platform/StreamClassRegistrar.h"
