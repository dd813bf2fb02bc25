/* The drawing engine as plain C functions, for callers that cannot use the
 * class: each takes the engine handle from ZelImageDrawEngine_New first and
 * forwards to the member of the same name (see ZelImageDrawEngine.h).
 * Booleans are ints (non-zero is true); colours are 0xAARRGGBB; text is
 * wchar_t. Only ZelImageDrawEngine_Delete accepts a null handle. */
#ifndef ZEL_IMAGE_DRAW_ENGINE_FLAT_H
#define ZEL_IMAGE_DRAW_ENGINE_FLAT_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

#include "ZelExport.h"

/* The handle is the engine itself (opaque in C). Palette entries are four
 * bytes read in their stored order as blue, green, red, alpha. */
#ifdef __cplusplus
#include "ZelRGBABase.h"
class ZelImageDrawEngine;
typedef ZelRGBABase<unsigned char> ZelPaletteEntry;
#else
typedef struct ZelImageDrawEngine ZelImageDrawEngine;
typedef struct ZelPaletteEntry {
    unsigned char r, g, b, a;
} ZelPaletteEntry;
#endif
typedef struct ZelFontObject* HFONT;

#ifdef __cplusplus
extern "C" {
#endif

/* Null when memory is short. */
ZEL_API ZelImageDrawEngine* ZelImageDrawEngine_New(void);
ZEL_API void ZelImageDrawEngine_Delete(ZelImageDrawEngine* engine);
ZEL_API int ZelImageDrawEngine_GetWidth(ZelImageDrawEngine* engine);
ZEL_API int ZelImageDrawEngine_GetHeight(ZelImageDrawEngine* engine);
ZEL_API int ZelImageDrawEngine_GetDepth(ZelImageDrawEngine* engine);
ZEL_API unsigned char* ZelImageDrawEngine_GetImagePtr(ZelImageDrawEngine* engine);
/* 0 on success, 7 when the image could not be made. */
ZEL_API int ZelImageDrawEngine_Resize(ZelImageDrawEngine* engine, int width, int height, int depth);
ZEL_API void ZelImageDrawEngine_SetExternalImagePtr(ZelImageDrawEngine* engine, unsigned char* pixels, int width,
                                                    int height, int depth, int sizePerLine);
/* With the engine's font DPI and minimum height; release with DeleteFont. */
ZEL_API HFONT ZelImageDrawEngine_CreateFont(ZelImageDrawEngine* engine, const wchar_t* face, int pointSize, int bold);
ZEL_API void ZelImageDrawEngine_DeleteFont(ZelImageDrawEngine* engine, HFONT font);
ZEL_API void ZelImageDrawEngine_SetColor(ZelImageDrawEngine* engine, uint32_t colour);
ZEL_API void ZelImageDrawEngine_SetBorderColor(ZelImageDrawEngine* engine, uint32_t colour);
ZEL_API void ZelImageDrawEngine_SetPenWidth(ZelImageDrawEngine* engine, int width);
ZEL_API void ZelImageDrawEngine_SetPenDash(ZelImageDrawEngine* engine, int dash);
ZEL_API void ZelImageDrawEngine_SetPenDashOffset(ZelImageDrawEngine* engine, unsigned int offset);
ZEL_API unsigned int ZelImageDrawEngine_GetPenDashOffset(ZelImageDrawEngine* engine);
/* One int per pattern entry (non-zero draws). */
ZEL_API void ZelImageDrawEngine_SetPenDashPattern(ZelImageDrawEngine* engine, const int* pattern, int count);
ZEL_API void ZelImageDrawEngine_SetImageColorPalette(ZelImageDrawEngine* engine, const ZelPaletteEntry* palette,
                                                     int count);
ZEL_API void ZelImageDrawEngine_ClearImageColorPalette(ZelImageDrawEngine* engine);
ZEL_API void ZelImageDrawEngine_SetTextureBrush(ZelImageDrawEngine* engine, const unsigned char* pixels, int width,
                                                int height, int depth);
ZEL_API void ZelImageDrawEngine_SetBilinearFilter(ZelImageDrawEngine* engine, int on);
ZEL_API void ZelImageDrawEngine_SetClipRectangle(ZelImageDrawEngine* engine, int left, int top, int right, int bottom);
ZEL_API void ZelImageDrawEngine_ClearClipRectangle(ZelImageDrawEngine* engine);
ZEL_API void ZelImageDrawEngine_DrawLine(ZelImageDrawEngine* engine, int x0, int y0, int x1, int y1, int drawLastPoint);
ZEL_API void ZelImageDrawEngine_DrawGradationLine(ZelImageDrawEngine* engine, int x0, int y0, uint32_t colour0, int x1,
                                                  int y1, uint32_t colour1);
ZEL_API void ZelImageDrawEngine_DrawRectangle(ZelImageDrawEngine* engine, int x0, int y0, int x1, int y1);
ZEL_API void ZelImageDrawEngine_FillRectangle(ZelImageDrawEngine* engine, int x0, int y0, int x1, int y1);
ZEL_API void ZelImageDrawEngine_DrawCircle(ZelImageDrawEngine* engine, int cx, int cy, int diameter);
ZEL_API void ZelImageDrawEngine_FillCircle(ZelImageDrawEngine* engine, int cx, int cy, int diameter);
ZEL_API void ZelImageDrawEngine_DrawArc(ZelImageDrawEngine* engine, int cx, int cy, int diameter, float startAngle,
                                        float endAngle);
ZEL_API void ZelImageDrawEngine_FillArc(ZelImageDrawEngine* engine, int cx, int cy, int diameter, float startAngle,
                                        float endAngle);
ZEL_API void ZelImageDrawEngine_FillPolygon(ZelImageDrawEngine* engine, const int* xs, const int* ys, int count);
ZEL_API void ZelImageDrawEngine_DrawImage(ZelImageDrawEngine* engine, int x, int y, const unsigned char* pixels,
                                          int width, int height, int depth, int sizePerLine);
ZEL_API void ZelImageDrawEngine_DrawScaledImage(ZelImageDrawEngine* engine, int x, int y, int w, int h,
                                                const unsigned char* pixels, int width, int height, int depth);
ZEL_API void ZelImageDrawEngine_DrawPartialImage(ZelImageDrawEngine* engine, int x, int y, int srcX, int srcY, int w,
                                                 int h, const unsigned char* pixels, int width, int height, int depth);
ZEL_API void ZelImageDrawEngine_DrawPartialScaledImage(ZelImageDrawEngine* engine, int x, int y, int w, int h, int srcX,
                                                       int srcY, int srcW, int srcH, const unsigned char* pixels,
                                                       int width, int height, int depth);
ZEL_API void ZelImageDrawEngine_DrawString(ZelImageDrawEngine* engine, const wchar_t* text, int x, int y, HFONT font,
                                           int style);
ZEL_API void ZelImageDrawEngine_DrawStringRect(ZelImageDrawEngine* engine, const wchar_t* text, int x, int y, int width,
                                               int height, HFONT font, int style);
/* Each result is written only when its pointer is not null. */
ZEL_API void ZelImageDrawEngine_MeasureString(ZelImageDrawEngine* engine, const wchar_t* text, HFONT font, int style,
                                              int* width, int* height);
ZEL_API void ZelImageDrawEngine_Monochrome(ZelImageDrawEngine* engine, float factor);
ZEL_API void ZelImageDrawEngine_MakeTransparent(ZelImageDrawEngine* engine, float factor);

#ifdef __cplusplus
}
#endif

#endif
