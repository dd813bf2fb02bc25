/* The flat interface from a C program: lines, shapes and text through the
 * handle, checked pixel by pixel. */
#include <stdint.h>
#include <stdio.h>

#include "ZelImageDrawEngineFlat.h"

static int failures = 0;

static void Check(int ok, const char* what)
{
    if (!ok) {
        printf("FAILED: %s\n", what);
        ++failures;
    }
}

static uint32_t Pixel(ZelImageDrawEngine* e, int x, int y)
{
    const unsigned char* p = ZelImageDrawEngine_GetImagePtr(e) + y * 4 * ZelImageDrawEngine_GetWidth(e) + 4 * x;
    return (uint32_t)p[0] | (uint32_t)p[1] << 8 | (uint32_t)p[2] << 16 | (uint32_t)p[3] << 24;
}

int main(void)
{
    ZelImageDrawEngine* e = ZelImageDrawEngine_New();
    int width = 0, height = 0, x, lit = 0;
    HFONT font;
    Check(e != NULL, "new engine");
    Check(ZelImageDrawEngine_Resize(e, 64, 32, 4) == 0, "resize");
    Check(ZelImageDrawEngine_GetDepth(e) == 4 && ZelImageDrawEngine_GetHeight(e) == 32, "size");

    ZelImageDrawEngine_SetColor(e, 0xFF102030u);
    ZelImageDrawEngine_DrawLine(e, 2, 3, 20, 3, 1);
    Check(Pixel(e, 2, 3) == 0xFF102030u && Pixel(e, 20, 3) == 0xFF102030u, "solid line");
    ZelImageDrawEngine_SetPenDash(e, 1);
    ZelImageDrawEngine_SetColor(e, 0xFFFFFFFFu);
    ZelImageDrawEngine_DrawLine(e, 0, 5, 16, 5, 0);
    Check(Pixel(e, 3, 5) == 0xFFFFFFFFu && Pixel(e, 4, 5) == 0 && Pixel(e, 8, 5) != 0, "dashed line");
    Check(ZelImageDrawEngine_GetPenDashOffset(e) == 16u, "dash phase");
    ZelImageDrawEngine_SetPenDash(e, 0);
    ZelImageDrawEngine_FillRectangle(e, 30, 2, 33, 4);
    Check(Pixel(e, 33, 4) == 0xFFFFFFFFu && Pixel(e, 34, 4) == 0, "filled rectangle");
    ZelImageDrawEngine_SetColor(e, 0x80FF0000u);
    ZelImageDrawEngine_FillCircle(e, 50, 10, 5);
    Check(Pixel(e, 50, 10) == 0x80800000u, "half-opaque disc");
    Check(Pixel(e, 50, 14) == 0, "disc ends at its radius");

    font = ZelImageDrawEngine_CreateFont(e, L"DejaVu Sans", 9, 0);
    Check(font != NULL, "font");
    ZelImageDrawEngine_MeasureString(e, L"Ab", font, 0, &width, &height);
    Check(width > 8 && height >= 12, "measure");
    ZelImageDrawEngine_SetColor(e, 0xFF00FF00u);
    ZelImageDrawEngine_DrawString(e, L"Ab", 2, 14, font, 0);
    for (x = 2; x < 2 + width; ++x) lit += Pixel(e, x, 20) != 0;
    Check(lit > 0, "text drawn");
    ZelImageDrawEngine_DeleteFont(e, font);
    ZelImageDrawEngine_Delete(e);
    printf("%d passed, %d failed\n", failures ? 0 : 1, failures);
    return failures ? 1 : 0;
}
