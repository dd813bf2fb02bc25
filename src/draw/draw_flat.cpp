// The flat C interface: each function forwards to the engine's member.
#include <climits>
#include <new>

#include "ZelImageDrawEngine.h"
#include "ZelImageDrawEngineFlat.h"

using Engine = ZelImageDrawEngine;

extern "C" {

Engine* ZelImageDrawEngine_New(void)
{
    return new (std::nothrow) Engine(static_cast<ZelIMemoryAllocator*>(nullptr));
}

void ZelImageDrawEngine_Delete(Engine* engine)
{
    delete engine;
}

int ZelImageDrawEngine_GetWidth(Engine* engine)
{
    return engine->GetWidth();
}

int ZelImageDrawEngine_GetHeight(Engine* engine)
{
    return engine->GetHeight();
}

int ZelImageDrawEngine_GetDepth(Engine* engine)
{
    return engine->GetDepth();
}

unsigned char* ZelImageDrawEngine_GetImagePtr(Engine* engine)
{
    return engine->GetImagePtr();
}

int ZelImageDrawEngine_Resize(Engine* engine, int width, int height, int depth)
{
    return engine->Resize(width, height, depth);
}

void ZelImageDrawEngine_SetExternalImagePtr(Engine* engine, unsigned char* pixels, int width, int height, int depth,
                                            int sizePerLine)
{
    engine->SetExternalImagePtr(pixels, width, height, depth, sizePerLine);
}

HFONT ZelImageDrawEngine_CreateFont(Engine* engine, const wchar_t* face, int pointSize, int bold)
{
    return engine->CreateFont(face, pointSize, bold != 0);
}

void ZelImageDrawEngine_DeleteFont(Engine*, HFONT font)
{
    Engine::DeleteFont(font);
}

void ZelImageDrawEngine_SetColor(Engine* engine, uint32_t colour)
{
    engine->SetColor(colour);
}

void ZelImageDrawEngine_SetBorderColor(Engine* engine, uint32_t colour)
{
    engine->SetBorderColor(colour);
}

void ZelImageDrawEngine_SetPenWidth(Engine* engine, int width)
{
    engine->SetPenWidth(width);
}

void ZelImageDrawEngine_SetPenDash(Engine* engine, int dash)
{
    engine->SetPenDash(dash != 0);
}

void ZelImageDrawEngine_SetPenDashOffset(Engine* engine, unsigned int offset)
{
    engine->SetPenDashOffset(offset);
}

unsigned int ZelImageDrawEngine_GetPenDashOffset(Engine* engine)
{
    return engine->GetPenDashOffset();
}

void ZelImageDrawEngine_SetPenDashPattern(Engine* engine, const int* pattern, int count)
{
    bool entries[8];
    for (int i = 0; i < 8; ++i) entries[i] = pattern && count >= 1 && pattern[i % count] != 0;
    engine->SetPenDashPattern(entries, 8);
}

void ZelImageDrawEngine_SetImageColorPalette(Engine* engine, const ZelPaletteEntry* palette, int count)
{
    engine->SetImageColorPalette(palette, count);
}

void ZelImageDrawEngine_ClearImageColorPalette(Engine* engine)
{
    engine->ClearImageColorPalette();
}

void ZelImageDrawEngine_SetTextureBrush(Engine* engine, const unsigned char* pixels, int width, int height, int depth)
{
    engine->SetTextureBrush(pixels, width, height, depth);
}

void ZelImageDrawEngine_SetBilinearFilter(Engine* engine, int on)
{
    engine->SetBilinearFilter(on != 0);
}

void ZelImageDrawEngine_SetClipRectangle(Engine* engine, int left, int top, int right, int bottom)
{
    engine->SetClipRectangle(left, top, right, bottom);
}

void ZelImageDrawEngine_ClearClipRectangle(Engine* engine)
{
    engine->ClearClipRectangle();
}

void ZelImageDrawEngine_DrawLine(Engine* engine, int x0, int y0, int x1, int y1, int drawLastPoint)
{
    engine->DrawLine(x0, y0, x1, y1, drawLastPoint != 0);
}

void ZelImageDrawEngine_DrawGradationLine(Engine* engine, int x0, int y0, uint32_t colour0, int x1, int y1,
                                          uint32_t colour1)
{
    engine->DrawGradationLine(x0, y0, colour0, x1, y1, colour1);
}

void ZelImageDrawEngine_DrawRectangle(Engine* engine, int x0, int y0, int x1, int y1)
{
    engine->DrawRectangle(x0, y0, x1, y1);
}

void ZelImageDrawEngine_FillRectangle(Engine* engine, int x0, int y0, int x1, int y1)
{
    engine->FillRectangle(x0, y0, x1, y1);
}

void ZelImageDrawEngine_DrawCircle(Engine* engine, int cx, int cy, int diameter)
{
    engine->DrawCircle(cx, cy, diameter);
}

void ZelImageDrawEngine_FillCircle(Engine* engine, int cx, int cy, int diameter)
{
    engine->FillCircle(cx, cy, diameter);
}

void ZelImageDrawEngine_DrawArc(Engine* engine, int cx, int cy, int diameter, float startAngle, float endAngle)
{
    engine->DrawArc(cx, cy, diameter, startAngle, endAngle);
}

void ZelImageDrawEngine_FillArc(Engine* engine, int cx, int cy, int diameter, float startAngle, float endAngle)
{
    engine->FillArc(cx, cy, diameter, startAngle, endAngle);
}

void ZelImageDrawEngine_FillPolygon(Engine* engine, const int* xs, const int* ys, int count)
{
    engine->FillPolygon(xs, ys, count);
}

void ZelImageDrawEngine_DrawImage(Engine* engine, int x, int y, const unsigned char* pixels, int width, int height,
                                  int depth, int sizePerLine)
{
    engine->DrawPartialImage(x, y, 0, 0, width, height, pixels, width, height, depth, sizePerLine);
}

void ZelImageDrawEngine_DrawScaledImage(Engine* engine, int x, int y, int w, int h, const unsigned char* pixels,
                                        int width, int height, int depth)
{
    engine->DrawPartialScaledImage(x, y, w, h, 0, 0, width, height, pixels, width, height, depth, 0);
}

void ZelImageDrawEngine_DrawPartialImage(Engine* engine, int x, int y, int srcX, int srcY, int w, int h,
                                         const unsigned char* pixels, int width, int height, int depth)
{
    engine->DrawPartialImage(x, y, srcX, srcY, w, h, pixels, width, height, depth, 0);
}

void ZelImageDrawEngine_DrawPartialScaledImage(Engine* engine, int x, int y, int w, int h, int srcX, int srcY, int srcW,
                                               int srcH, const unsigned char* pixels, int width, int height, int depth)
{
    engine->DrawPartialScaledImage(x, y, w, h, srcX, srcY, srcW, srcH, pixels, width, height, depth, 0);
}

void ZelImageDrawEngine_DrawString(Engine* engine, const wchar_t* text, int x, int y, HFONT font, int style)
{
    engine->DrawStringRect(ZelString(text), x, y, INT_MIN, INT_MIN, font, style);
}

void ZelImageDrawEngine_DrawStringRect(Engine* engine, const wchar_t* text, int x, int y, int width, int height,
                                       HFONT font, int style)
{
    engine->DrawStringRect(ZelString(text), x, y, width, height, font, style);
}

void ZelImageDrawEngine_MeasureString(Engine*, const wchar_t* text, HFONT font, int style, int* width, int* height)
{
    int w = 0, h = 0;
    Engine::MeasureString(ZelString(text), font, style, w, h);
    if (width) *width = w;
    if (height) *height = h;
}

void ZelImageDrawEngine_Monochrome(Engine* engine, float factor)
{
    engine->Monochrome(factor);
}

void ZelImageDrawEngine_MakeTransparent(Engine* engine, float factor)
{
    engine->MakeTransparent(factor);
}

}  // extern "C"
