// One-pixel and wide lines on a prepared target, shared by the line, rectangle,
// circle and arc operations.
#pragma once

#include "draw/draw_pixels.h"

namespace zel_draw {

// The visible part of a one-pixel line from (x0, y0) to (x1, y1), walked as a
// floating-point digital differential analyser: along the major axis (x when
// |dx| >= |dy|) one position per step, the minor coordinate f starting at
// minor0 + 1/2 and growing by minorDelta / |majorDelta| per step, the pixel
// at floor(f). The clip is applied analytically before the walk: `count`
// positions from `start`, with f already advanced over the `skipped` steps
// before it; positions whose floor(f) leaves the clip on the minor axis are
// still stepped but not drawn.
struct LineWalk {
    bool xMajor = true;
    int step = 1;   // +1 or -1 along the major axis
    I64 steps = 0;  // |majorDelta|, the unclipped body
    I64 start = 0, count = 0, skipped = 0;
    double f = 0, slope = 0;
    I64 minorLo = 0, minorHi = -1;  // the clip on the minor axis
};
// False when the line is given up before its walk (nothing is drawn, not even
// the end point, and the dash phase does not move): it misses the clip, its
// coordinate differences do not fit an int, or its walk never reaches the
// clip's band on the minor axis before its end.
bool ClipLine(const Target& t, I64 x0, I64 y0, I64 x1, I64 y1, LineWalk& walk);

// What a line is drawn with.
struct LinePen {
    Target target;
    Colour colour{0u};
    bool dash = false;
    const bool* pattern = nullptr;
    unsigned* offset = nullptr;  // the engine's dash phase
};

// One pixel wide, no dash chaining (the engine's DrawLineInner).
void InnerLine(const LinePen& pen, I64 x0, I64 y0, I64 x1, I64 y1, bool drawLastPoint);
// The parallel lines of a pen `width` pixels wide (DrawLine after chaining).
void WideLine(const LinePen& pen, int width, I64 x0, I64 y0, I64 x1, I64 y1, bool drawLastPoint);
// The engine's pen, or false when nothing can be drawn.
bool GetLinePen(ZelImageDrawEngine& engine, LinePen& pen);

}  // namespace zel_draw
