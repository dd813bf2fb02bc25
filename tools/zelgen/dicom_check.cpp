// Our own walk over a DICOM file's element structure, before GDCM sees it.
// GDCM believes the lengths a file states: an element that claims
// gigabytes makes it allocate them, and some inconsistencies end in an
// assertion. Every stated length is checked here against the bytes that
// are really there (and nesting against a depth limit), so that such a
// file is refused before anything is allocated for it.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "dicom.h"

namespace {

const std::uint32_t kUndefined = 0xffffffffu;
const int kDeepest = 24;  // sequences within sequences
// Inflated data sets may be this many times their compressed size (more
// than deflate can reach) and no larger.
const std::size_t kMostInflation = 1100;

struct Walk {
    const std::uint8_t* data;
    std::size_t size;
    bool explicitVr;
    bool bigEndian;
    bool headerOnly;  // stop at the pixel data
    std::string why;
    // What the compressed frames must hold (from the data set), and their
    // compression.
    enum class Codec { None, Jpeg, Jpeg2000, Rle } codec = Codec::None;
    std::uint32_t rows = 0, columns = 0, bitsAllocated = 0;
    bool sawTable = false;

    // GDCM's decoders trust the sizes in a compressed frame's own header
    // and write that many pixels: a frame's header must describe the
    // image's rows, columns and one component. Fragments that start no
    // frame (the rest of a frame in several) carry no header.
    bool CheckFrameStart(const std::uint8_t* f, std::size_t n)
    {
        const auto be16 = [f](std::size_t at) { return static_cast<std::uint32_t>(f[at] << 8 | f[at + 1]); };
        const auto be32 = [&](std::size_t at) { return be16(at) << 16 | be16(at + 2); };
        const char* wrong = "a compressed frame does not match the image's size";
        if (codec == Codec::Jpeg && n >= 4 && be16(0) == 0xffd8) {
            // Markers up to the frame header (SOFn, or SOF55 of JPEG-LS).
            for (std::size_t at = 2; at + 4 <= n;) {
                const std::uint32_t marker = be16(at), length = be16(at + 2);
                if ((marker & 0xff00) != 0xff00 || length < 2) return Fail(wrong);
                const bool frame = (marker >= 0xffc0 && marker <= 0xffcf && marker != 0xffc4 && marker != 0xffc8 &&
                                    marker != 0xffcc) ||
                                   marker == 0xfff7;
                if (frame) {
                    if (at + 10 > n || be16(at + 5) != rows || be16(at + 7) != columns || f[at + 9] != 1 ||
                        f[at + 4] > bitsAllocated)
                        return Fail(wrong);
                    return true;
                }
                at += 2 + length;
            }
            return Fail(wrong);
        }
        if (codec == Codec::Jpeg2000) {
            std::size_t at = 0;
            // A JP2 file: its codestream is in the box "jp2c".
            while (at + 8 <= n && be16(at) != 0xff4f) {
                const std::uint32_t box = be32(at), type = be32(at + 4);
                if (type == 0x6a703263) {
                    at += 8;
                    break;
                }
                if (box < 8) return Fail(wrong);
                at += box;
            }
            // SOC, then SIZ: Rsiz, Xsiz, Ysiz, XOsiz, YOsiz, ..., Csiz.
            if (at + 45 > n || be16(at) != 0xff4f || be16(at + 2) != 0xff51) return Fail(wrong);
            const std::uint32_t width = be32(at + 8) - be32(at + 16), height = be32(at + 12) - be32(at + 20);
            // One component, not subsampled, of at most the allocated bits.
            if (width != columns || height != rows || be16(at + 40) != 1 || at + 45 > n ||
                (f[at + 42] & 0x7fu) + 1 > bitsAllocated || f[at + 43] != 1 || f[at + 44] != 1)
                return Fail(wrong);
            // Marker segments and tile-parts must lie in the fragment: GDCM
            // hands the decoder whatever it asks for.
            for (at += 2; at + 2 <= n;) {
                const std::uint32_t marker = be16(at);
                if (marker == 0xffd9) return true;
                if (at + 4 > n) return Fail(wrong);
                if ((marker & 0xff00) != 0xff00) return Fail(wrong);
                if (marker == 0xff90) {
                    if (at + 12 > n) return Fail(wrong);
                    const std::uint32_t part = be32(at + 6);
                    if (part == 0) return true;  // to the end of the codestream
                    if (part < 12 || part > n - at) return Fail(wrong);
                    at += part;
                    continue;
                }
                const std::uint32_t length = be16(at + 2);
                if (length < 2 || length > n - at - 2) return Fail(wrong);
                at += 2 + length;
            }
            // The last tile-part may end the fragment (with one byte of
            // padding) without an end marker.
            return at + 1 >= n || Fail(wrong);
        }
        if (codec == Codec::Rle) {
            // Segment count and offsets, little-endian, in a 64-byte header.
            if (n < 64) return Fail(wrong);
            const auto le32 = [f](std::size_t at) {
                return static_cast<std::uint32_t>(f[at] | f[at + 1] << 8 | f[at + 2] << 16) |
                       static_cast<std::uint32_t>(f[at + 3]) << 24;
            };
            const std::uint32_t segments = le32(0);
            if (segments < 1 || segments > 15 || segments != (bitsAllocated + 7) / 8) return Fail(wrong);
            for (std::uint32_t s = 1; s <= segments; ++s)
                if (le32(4 * s) < 64 || le32(4 * s) >= n || (s > 1 && le32(4 * s) <= le32(4 * (s - 1))))
                    return Fail(wrong);
        }
        return true;
    }

    // Encapsulated pixel data: the offset table (its first item) and where
    // each later item starts, counted as the table counts.
    std::vector<std::uint8_t> table;
    std::vector<std::size_t> starts;
    std::size_t first = 0;
    std::size_t pixelOffset = 0, pixelLength = 0;  // plain pixel data, where found

    // Frame offsets must each point at an item: GDCM seeks by them.
    bool CheckOffsetTable()
    {
        if (table.size() % 4) return Fail("the pixel data's offset table is damaged");
        for (std::size_t i = 0; i < table.size(); i += 4) {
            const std::uint32_t offset = static_cast<std::uint32_t>(table[i] | table[i + 1] << 8 | table[i + 2] << 16) |
                                         static_cast<std::uint32_t>(table[i + 3]) << 24;
            if (!std::binary_search(starts.begin(), starts.end(), offset))
                return Fail("the pixel data's offset table points between its frames");
        }
        return true;
    }

    std::uint32_t U16(std::size_t at) const
    {
        return bigEndian ? (data[at] << 8 | data[at + 1]) : (data[at + 1] << 8 | data[at]);
    }
    std::uint32_t U32(std::size_t at) const
    {
        const std::uint32_t a = U16(at), b = U16(at + 2);
        return bigEndian ? (a << 16 | b) : (b << 16 | a);
    }
    bool Fail(const std::string& message)
    {
        if (why.empty()) why = message;
        return false;
    }

    // GDCM reads an unknown VR's length its own way: refused here.
    static bool KnownVr(const char* vr)
    {
        static const char kinds[] = "AEASATCSDADSDTFLFDISLOLTOBODOFOLOVOWPNSHSLSQSSSTSVTMUCUIULUNURUSUTUV";
        for (const char* k = kinds; *k; k += 2)
            if (vr[0] == k[0] && vr[1] == k[1]) return true;
        return false;
    }

    static bool LongLength(const char* vr)
    {
        static const char* const kinds[] = {"OB", "OD", "OF", "OL", "OV", "OW", "SQ",
                                            "UC", "UN", "UR", "UT", "SV", "UV"};
        for (const char* k : kinds)
            if (vr[0] == k[0] && vr[1] == k[1]) return true;
        return false;
    }

    // Items of a sequence (or fragments of pixel data) from `at` up to
    // `end`, or to their delimiter when the length is undefined.
    bool Items(std::size_t& at, std::size_t end, bool undefined, bool fragments, int depth, bool implicitInside)
    {
        for (;;) {
            if (!undefined && at == end) return true;
            if (at + 8 > end) return Fail("a sequence runs past the end of the file");
            const std::uint32_t group = U16(at), element = U16(at + 2), length = U32(at + 4);
            at += 8;
            if (group != 0xfffe) return Fail("a sequence holds something that is not an item");
            // GDCM reads a delimiter's length as it reads an item's.
            if ((element == 0xe0dd || element == 0xe00d) && length != 0) return Fail("a delimiter with a length");
            if (element == 0xe0dd) return undefined || Fail("a sequence delimiter inside a sequence of known length");
            if (element != 0xe000) return Fail("a sequence holds an unknown delimiter");
            if (fragments) {
                if (length == kUndefined || length > end - at) return Fail("a pixel data fragment runs past the end");
                if (!sawTable) {
                    sawTable = true;
                    table.assign(data + at, data + at + length);
                    first = at + length;
                } else {
                    starts.push_back(at - 8 - first);
                    if (!CheckFrameStart(data + at, length)) return false;
                }
                at += length;
                continue;
            }
            const bool saved = explicitVr;
            if (implicitInside) explicitVr = false;
            const bool ok = length == kUndefined ? DataSet(at, end, true, depth + 1)
                                                 : (length <= end - at && DataSet(at, at + length, false, depth + 1)) ||
                                                       Fail("an item runs past the end of its sequence");
            explicitVr = saved;
            if (!ok) return false;
        }
    }

    // Elements from `at` up to `end`; an item of undefined length ends at
    // its delimiter.
    bool DataSet(std::size_t& at, std::size_t end, bool untilDelimiter, int depth)
    {
        if (depth > kDeepest) return Fail("sequences nested too deeply");
        while (at < end) {
            if (end - at < 8) return Fail("the file ends inside an element");
            const std::uint32_t group = U16(at), element = U16(at + 2);
            if (group == 0xfffe && element == 0xe00d) {
                if (U32(at + 4) != 0) return Fail("a delimiter with a length");
                at += 8;
                return untilDelimiter || Fail("an item delimiter outside an item");
            }
            // GDCM takes an item among elements as a sign of another
            // encoding, and reads on with other lengths.
            if (group == 0xfffe) return Fail("an item outside a sequence");
            char vr[3] = {0, 0, 0};
            std::uint32_t length = 0;
            std::size_t header = 8;
            if (explicitVr && group != 0xfffe) {
                vr[0] = static_cast<char>(data[at + 4]);
                vr[1] = static_cast<char>(data[at + 5]);
                if (!KnownVr(vr)) return Fail("an element has an unknown value representation");
                if (LongLength(vr)) {
                    if (end - at < 12) return Fail("the file ends inside an element");
                    length = U32(at + 8);
                    header = 12;
                } else {
                    length = U16(at + 6);
                }
            } else {
                length = U32(at + 4);
            }
            at += header;
            if (depth == 0 && group == 0x0028 && length == 2 && at + 2 <= end) {
                if (element == 0x0010) rows = U16(at);
                if (element == 0x0011) columns = U16(at);
                if (element == 0x0100) bitsAllocated = U16(at);
            }
            const bool pixels = group == 0x7fe0 && element == 0x0010 && depth == 0;
            // GDCM reads the pixel data element even when asked to read up
            // to it: its length is checked in any case.
            if (pixels && length != kUndefined && length > end - at)
                return Fail("the pixel data is cut short (a truncated file)");
            if (length == kUndefined) {
                // Sequences, and encapsulated pixel data; an unknown (UN)
                // value of undefined length is a sequence in implicit VR.
                const bool un = vr[0] == 'U' && vr[1] == 'N';
                if (!Items(at, end, true, pixels, depth, un)) return false;
                if (pixels && !CheckOffsetTable()) return false;
                continue;
            }
            if (length > end - at) return Fail("an element claims more bytes than the file holds");
            if (pixels) {
                pixelOffset = at;
                pixelLength = length;
            }
            if (pixels && headerOnly) return true;
            // Values that GDCM may read as a sequence: SQ, and (without a
            // VR, or as UN) anything that starts with an item.
            const bool un = vr[0] == 'U' && vr[1] == 'N';
            const bool startsWithItem = length >= 8 && U16(at) == 0xfffe && U16(at + 2) == 0xe000;
            if ((vr[0] == 'S' && vr[1] == 'Q') || ((!explicitVr || un) && startsWithItem)) {
                std::size_t inside = at;
                if (!Items(inside, at + length, false, false, depth, un)) return false;
            }
            at += length;
        }
        return !untilDelimiter || Fail("an item has no end");
    }
};

// The data set of a deflated file, inflated, within the limit.
bool Inflate(const std::uint8_t* data, std::size_t size, std::vector<std::uint8_t>& out)
{
    z_stream zs{};
    if (inflateInit2(&zs, -MAX_WBITS) != Z_OK) return false;
    zs.next_in = const_cast<std::uint8_t*>(data);
    zs.avail_in = static_cast<uInt>(std::min<std::size_t>(size, 1u << 30));
    const std::size_t most = size * kMostInflation + (1 << 16);
    int status = Z_OK;
    while (status == Z_OK) {
        if (out.size() >= most) break;
        const std::size_t have = out.size();
        out.resize(std::min(most, have + (1 << 16)));
        zs.next_out = out.data() + have;
        zs.avail_out = static_cast<uInt>(out.size() - have);
        status = inflate(&zs, Z_NO_FLUSH);
        out.resize(out.size() - zs.avail_out);
        if (status == Z_BUF_ERROR && zs.avail_in == 0) break;
    }
    inflateEnd(&zs);
    return status == Z_STREAM_END;
}

bool CheckBytes(const std::uint8_t* data, std::size_t size, bool headerOnly, std::string& why, DicomPixelPlace* place)
{
    if (size < 132 || std::memcmp(data + 128, "DICM", 4) != 0) {
        why = "no DICOM header";
        return false;
    }
    // The file meta information: explicit VR little endian.
    Walk meta{data, size, true, false, headerOnly, std::string(), Walk::Codec::None, 0, 0, 0, false, {}, {}, 0, 0, 0};
    std::size_t at = 132;
    std::string syntax;
    while (at + 8 <= size && meta.U16(at) == 0x0002) {
        const std::size_t start = at;
        std::size_t end = start;
        // One element at a time, to read the transfer syntax.
        const char vr[2] = {static_cast<char>(data[at + 4]), static_cast<char>(data[at + 5])};
        if (!Walk::KnownVr(vr)) {
            why = "its header has an unknown value representation";
            return false;
        }
        const bool wide = Walk::LongLength(vr);
        if (wide && at + 12 > size) break;
        const std::uint32_t length = wide ? meta.U32(at + 8) : meta.U16(at + 6);
        const std::size_t header = wide ? 12 : 8;
        if (length == kUndefined || length > size - at - header) {
            why = "its header claims more bytes than the file holds";
            return false;
        }
        end = at + header + length;
        if (meta.U16(at + 2) == 0x0010) syntax.assign(reinterpret_cast<const char*>(data + at + header), length);
        at = end;
    }
    // GDCM reads the meta information by its stated group length.
    if (size >= 144 && meta.U16(132) == 0x0002 && meta.U16(134) == 0x0000 && meta.U16(138) == 4 &&
        meta.U32(140) != at - 144) {
        why = "its header's group length is wrong";
        return false;
    }
    while (!syntax.empty() && (syntax.back() == '\0' || syntax.back() == ' ')) syntax.pop_back();
    // Without it GDCM guesses the encoding (byte order too) from the data.
    if (syntax.empty()) {
        why = "its header names no transfer syntax";
        return false;
    }
    Walk body = meta;
    body.explicitVr = syntax != "1.2.840.10008.1.2";
    body.bigEndian = syntax == "1.2.840.10008.1.2.2";
    std::vector<std::uint8_t> inflated;
    std::size_t start = at;
    const std::string jpeg = "1.2.840.10008.1.2.4.";
    if (syntax.compare(0, jpeg.size(), jpeg) == 0) {
        const std::string process = syntax.substr(jpeg.size());
        body.codec = process == "90" || process == "91" || process == "92" || process == "93" ? Walk::Codec::Jpeg2000
                                                                                              : Walk::Codec::Jpeg;
    }
    if (syntax == "1.2.840.10008.1.2.5") body.codec = Walk::Codec::Rle;
    if (syntax == "1.2.840.10008.1.2.1.99") {
        if (!Inflate(data + at, size - at, inflated)) {
            why = "its compressed data set is damaged";
            return false;
        }
        body.data = inflated.data();
        body.size = inflated.size();
        start = 0;
    }
    if (!body.DataSet(start, body.size, false, 0)) {
        why = body.why;
        return false;
    }
    // Little-endian samples in the file itself can be read from it as they are.
    if (place && body.pixelLength > 0 && body.data == data && !body.bigEndian && body.codec == Walk::Codec::None &&
        (syntax == "1.2.840.10008.1.2" || syntax == "1.2.840.10008.1.2.1")) {
        place->plain = true;
        place->offset = body.pixelOffset;
        place->length = body.pixelLength;
    }
    return true;
}

}  // namespace

bool CheckDicomFile(const std::string& path, bool headerOnly, std::string& why, DicomPixelPlace* place)
{
    const int fd = open(path.c_str(), O_RDONLY);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size == 0) {
        if (fd >= 0) close(fd);
        why = "cannot be read";
        return false;
    }
    const std::size_t size = static_cast<std::size_t>(st.st_size);
    void* map = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
    close(fd);
    if (map == MAP_FAILED) {
        why = "cannot be read";
        return false;
    }
    const bool ok = CheckBytes(static_cast<const std::uint8_t*>(map), size, headerOnly, why, place);
    munmap(map, size);
    return ok;
}
