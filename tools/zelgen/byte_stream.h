// Sequential reading of a file that may be gzip-compressed. Compression is
// told by the file's first bytes, never by its name, and compressed data is
// trusted only once its check values have been read: a damaged download must
// be refused, not shown.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

class ByteStream {
public:
    ByteStream() = default;
    ~ByteStream();
    ByteStream(const ByteStream&) = delete;
    ByteStream& operator=(const ByteStream&) = delete;

    // Opens `path` (a regular file). False with a message naming the file.
    bool Open(const std::string& path, std::string& error);
    bool IsGzip() const { return m_gzip; }
    const std::string& Path() const { return m_path; }

    // Reads up to `count` bytes; fewer only at the end of the data. -1 when
    // the data is damaged (error set).
    long long Read(void* buffer, std::size_t count, std::string& error);
    // Reads exactly `count` bytes or fails: a stream that ends early is
    // reported as truncated, with what the caller was reading (`what`).
    bool ReadExactly(void* buffer, std::size_t count, const char* what, std::string& error);
    // Skips `count` bytes of data.
    bool Skip(std::int64_t count, const char* what, std::string& error);
    // Reads the rest of compressed data to its end, checking every member's
    // CRC and length and refusing bytes after the last member that do not
    // start another member (plain data has nothing to check and is not
    // read). `total` receives the length of the data.
    bool Finish(std::string& error, std::int64_t* total = nullptr);

    // Bytes of (uncompressed) data delivered so far.
    std::int64_t Position() const { return m_position; }

private:
    bool Fill(std::string& error);
    long long Inflate(unsigned char* out, std::size_t count, std::string& error);
    bool Fail(std::string& error, const std::string& message);

    std::string m_path;
    FILE* m_file = nullptr;
    bool m_gzip = false;
    bool m_inflating = false;  // a member is open
    bool m_ended = false;      // no data after the last member
    bool m_eof = false;        // the file itself has no more bytes
    z_stream m_zs{};
    std::vector<unsigned char> m_in;
    std::int64_t m_position = 0;
};
