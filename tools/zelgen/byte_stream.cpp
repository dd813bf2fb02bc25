#include "byte_stream.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

const std::size_t kInputChunk = 1 << 18;

}  // namespace

ByteStream::~ByteStream()
{
    if (m_gzip) inflateEnd(&m_zs);
    if (m_file) std::fclose(m_file);
}

bool ByteStream::Fail(std::string& error, const std::string& message)
{
    error = "'" + m_path + "': " + message;
    return false;
}

bool ByteStream::Open(const std::string& path, std::string& error)
{
    m_path = path;
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return Fail(error, std::string("cannot open: ") + std::strerror(errno));
    if (S_ISDIR(st.st_mode)) return Fail(error, "is a directory");
    m_file = std::fopen(path.c_str(), "rb");
    if (!m_file) return Fail(error, std::string("cannot open: ") + std::strerror(errno));
    m_in.resize(kInputChunk);
    m_zs.next_in = m_in.data();
    m_zs.avail_in = 0;
    while (m_zs.avail_in < 2 && !m_eof)
        if (!Fill(error)) return false;
    m_gzip = m_zs.avail_in >= 2 && m_zs.next_in[0] == 0x1f && m_zs.next_in[1] == 0x8b;
    if (m_gzip) {
        // 16 + 15: gzip wrapper only, with its CRC and length checked by zlib.
        if (inflateInit2(&m_zs, 16 + MAX_WBITS) != Z_OK) {
            m_gzip = false;
            return Fail(error, "not enough memory to decompress");
        }
        m_inflating = true;
    }
    return true;
}

bool ByteStream::Fill(std::string& error)
{
    // Keep what is left at the front, then top the buffer up.
    if (m_zs.avail_in > 0 && m_zs.next_in != m_in.data()) std::memmove(m_in.data(), m_zs.next_in, m_zs.avail_in);
    m_zs.next_in = m_in.data();
    const std::size_t got = std::fread(m_in.data() + m_zs.avail_in, 1, m_in.size() - m_zs.avail_in, m_file);
    if (got == 0) {
        if (std::ferror(m_file)) return Fail(error, std::string("read error: ") + std::strerror(errno));
        m_eof = true;
    }
    m_zs.avail_in += static_cast<uInt>(got);
    return true;
}

long long ByteStream::Inflate(unsigned char* out, std::size_t count, std::string& error)
{
    std::size_t produced = 0;
    while (produced < count && !m_ended) {
        if (!m_inflating) {
            // Between members: the data ends here, or another member follows.
            while (m_zs.avail_in < 2 && !m_eof)
                if (!Fill(error)) return -1;
            if (m_zs.avail_in == 0) {
                m_ended = true;
                break;
            }
            if (m_zs.avail_in < 2 || m_zs.next_in[0] != 0x1f || m_zs.next_in[1] != 0x8b) {
                Fail(error, "damaged compressed data (unexpected bytes after the end of the compressed stream)");
                return -1;
            }
            inflateReset(&m_zs);
            m_inflating = true;
        }
        if (m_zs.avail_in == 0) {
            if (!m_eof && !Fill(error)) return -1;
            if (m_zs.avail_in == 0) {
                Fail(error, "compressed data ends early (truncated file?)");
                return -1;
            }
        }
        const std::size_t room = std::min<std::size_t>(count - produced, 1u << 30);
        m_zs.next_out = out + produced;
        m_zs.avail_out = static_cast<uInt>(room);
        const int status = inflate(&m_zs, Z_NO_FLUSH);
        produced += room - m_zs.avail_out;
        if (status == Z_STREAM_END) {
            m_inflating = false;
        } else if (status == Z_DATA_ERROR || status == Z_NEED_DICT || status == Z_STREAM_ERROR) {
            Fail(error, std::string("damaged compressed data (") + (m_zs.msg ? m_zs.msg : "invalid stream") + ")");
            return -1;
        } else if (status == Z_MEM_ERROR) {
            Fail(error, "not enough memory to decompress");
            return -1;
        }
    }
    return static_cast<long long>(produced);
}

long long ByteStream::Read(void* buffer, std::size_t count, std::string& error)
{
    auto* out = static_cast<unsigned char*>(buffer);
    long long got = 0;
    if (m_gzip) {
        got = Inflate(out, count, error);
        if (got < 0) return -1;
    } else {
        // Bytes looked at by Open come first.
        const std::size_t pending = std::min<std::size_t>(count, m_zs.avail_in);
        std::memcpy(out, m_zs.next_in, pending);
        m_zs.next_in += pending;
        m_zs.avail_in -= static_cast<uInt>(pending);
        got = static_cast<long long>(pending);
        if (pending < count && !m_eof) {
            const std::size_t more = std::fread(out + pending, 1, count - pending, m_file);
            if (more < count - pending && std::ferror(m_file)) {
                Fail(error, std::string("read error: ") + std::strerror(errno));
                return -1;
            }
            got += static_cast<long long>(more);
        }
    }
    m_position += got;
    return got;
}

bool ByteStream::ReadExactly(void* buffer, std::size_t count, const char* what, std::string& error)
{
    const long long got = Read(buffer, count, error);
    if (got < 0) return false;
    if (static_cast<std::size_t>(got) < count)
        return Fail(error, std::string("file is truncated: the data ends at byte ") + std::to_string(m_position) +
                               ", inside " + what);
    return true;
}

bool ByteStream::Skip(std::int64_t count, const char* what, std::string& error)
{
    std::vector<unsigned char> scratch(static_cast<std::size_t>(std::min<std::int64_t>(count, 1 << 20)));
    while (count > 0) {
        const std::size_t step = static_cast<std::size_t>(std::min<std::int64_t>(count, 1 << 20));
        if (!ReadExactly(scratch.data(), step, what, error)) return false;
        count -= static_cast<std::int64_t>(step);
    }
    return true;
}

bool ByteStream::Finish(std::string& error, std::int64_t* total)
{
    if (!m_gzip) {
        // Plain data has nothing to check: its length is the file's.
        struct stat st;
        const off_t at = ftello(m_file);
        if (fstat(fileno(m_file), &st) != 0 || at < 0)
            return Fail(error, std::string("read error: ") + std::strerror(errno));
        if (total) *total = m_position + m_zs.avail_in + (static_cast<std::int64_t>(st.st_size) - at);
        return true;
    }
    std::vector<unsigned char> scratch(1 << 20);
    for (;;) {
        const long long got = Read(scratch.data(), scratch.size(), error);
        if (got < 0) return false;
        if (got == 0) break;
    }
    if (total) *total = m_position;
    return true;
}
