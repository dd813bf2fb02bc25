// The byte kernels of the compositor's common pairs (equal depths): a row of
// bytes of a against the same bytes of b. Each has a vector form and a plain
// twin that give the same bytes; the dispatch picks one.
#pragma once

// Bytes of a row: all of them, or (depth 4) all but every fourth.
struct ZelComposeRow {
    unsigned char* a;
    const unsigned char* b;
    int count;        // bytes, a multiple of 4 when keepFourth
    bool keepFourth;  // leave byte 3 of every 4-byte pixel of a alone
};

// a = ((b - a) * k + a * 256) >> 8, the low byte stored (any k).
void ZelAlphaBytes(const ZelComposeRow& row, int k);

// a = clamp((a * 256 + b * k) >> 8, 0, 255) (any k; the vector form covers k
// in 0..256 and hands other weights to the twin).
void ZelAddBytes(const ZelComposeRow& row, int k);

// One byte of each, shared with the mixed-depth loops.
inline unsigned char ZelAlphaByte(int a, int b, int k)
{
    // Unsigned arithmetic wraps where the int original would overflow; bits 8
    // to 15 of the sum are the same either way.
    const unsigned sum = static_cast<unsigned>(b - a) * static_cast<unsigned>(k) + (static_cast<unsigned>(a) << 8);
    return static_cast<unsigned char>(sum >> 8);
}

inline unsigned char ZelAddByte(int first, int second, int k)
{
    const long long sum = (static_cast<long long>(first) * 256 + static_cast<long long>(second) * k) >> 8;
    return static_cast<unsigned char>(sum < 0 ? 0 : (sum > 255 ? 255 : sum));
}
