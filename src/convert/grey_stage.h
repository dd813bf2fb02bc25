// The grey stage of the two-stage conversions (pseudo colour, colour tables
// over a windowed picture): the level 0..255 of each pixel, exactly the byte
// that the grey conversion of the same name writes at depth 1. A colour stage
// then reads the levels of a run of columns from a small buffer on the stack,
// in the same row loop.
#pragma once

#include <memory>

#include "grey_rows.h"
#include "window_kernels.h"

// Columns per run of levels: a multiple of 16, so that a run boundary never
// splits a group of the window's vector stretch.
constexpr int kZelLevelRun = 512;

// Logistic level of the sigmoid conversion: 255 / (exp(-4 (v - centre) / w) + 1)
// rounded half up, with w already negated for an inverted curve.
unsigned char ZelSigmoidLevel(short value, double w, double centre);

class ZelGreyStage {
public:
    // The linear window (width >= 1; width 1 is the threshold at centre):
    // the vector stretch where the dispatch allows it, else its plain twin
    // (the same bytes).
    static ZelGreyStage Window(int width, int centre, bool invert);
    // table[clamp(v, min, max) - min]; requires min <= max and a table of
    // max - min + 1 entries.
    static ZelGreyStage Table(const unsigned char* table, short min, short max);
    // The sigmoid (width != 0) of the `count` values at `values`, which it
    // scans once: when they span fewer distinct values than there are pixels
    // the curve is tabulated over their range (the bytes are the same).
    static ZelGreyStage Sigmoid(int width, int centre, bool invert, const short* values, long long count);

    // Levels of columns x0 .. x0 + count - 1 of a row `width` values long that
    // starts at `row`; x0 is a multiple of 16 and count <= kZelLevelRun.
    void Levels(const short* row, int width, int x0, int count, unsigned char* levels) const;

    // Every row of `rows`, at depth 1 or 3, as the grey conversion writes it.
    void Rows(const ZelGreyRows& rows) const;

private:
    enum class Kind { Window, Level, Threshold, Table, Sigmoid };
    Kind m_kind = Kind::Level;
    ZelWindowRamp m_ramp;
    unsigned char m_level = 0;  // Level
    int m_threshold = 0;        // Threshold: below gets m_below, the rest m_above
    unsigned char m_below = 0;
    unsigned char m_above = 0;
    const unsigned char* m_table = nullptr;  // Table
    short m_min = 0;
    short m_max = 0;
    std::unique_ptr<unsigned char[]> m_ownedTable;  // a tabulated sigmoid
    double m_w = 1.0;                               // Sigmoid, evaluated per pixel
    double m_centre = 0.0;
};
