// One-pixel and wide lines on a prepared target, shared by the line, rectangle,
// circle and arc operations.
#pragma once

#include "draw/draw_pixels.h"

namespace zel_draw {

// The visible part of a one-pixel line from (x0, y0) to (x1, y1). Step k of
// the body (0 <= k < steps) lies at major position m0 + k * step and minor
// position floor(minor0 + 1/2 + k * minorDelta / steps), exactly; the end
// point is step `steps`.
struct LineClip {
    bool xMajor = true;
    I64 major0 = 0, minor0 = 0, minorDelta = 0;
    int step = 1;
    I64 steps = 0;
    I64 begin = 0, end = 0;  // visible body steps [begin, end)
    bool endVisible = false;
    bool rejected = true;  // nothing of the line is visible
};
LineClip ClipLine(const Target& t, I64 x0, I64 y0, I64 x1, I64 y1);
// The x (or y) coordinate of step k (0 <= k <= steps) of a clipped line.
I64 PointOnLine(const LineClip& c, I64 k, bool x);

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
