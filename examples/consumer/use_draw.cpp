// The drawing engine from the installed package: every member and every flat
// function once.
#include <ZelImageGenerator.h>

#include <climits>
#include <cstdio>

bool UseDraw()
{
    ZelImageDrawEngine engine(static_cast<ZelIMemoryAllocator*>(nullptr));
    if (engine.Resize(64, 48, 4) != 0) return false;
    ZelImageDrawEngine copy(engine);
    copy = engine;
    engine.ClearImage(ZelImageDrawEngine::ColorFromRGB(0, 0, 0));
    engine.SetColor(ZelImageDrawEngine::ColorFromRGBA(255, 255, 0, 200));
    engine.SetBorderColor(0xFF000000u);
    engine.SetPenWidth(2);
    engine.SetPenDash(true);
    engine.SetPenDashOffset(1);
    const bool pattern[8] = {true, true, false, true, true, false, false, false};
    engine.SetPenDashPattern(pattern, 8);
    engine.DrawLine(1, 1, 60, 40, true);
    engine.SetPenDash(false);
    engine.DrawGradationLine(0, 47, 0xFF0000FFu, 63, 47, 0xFFFF0000u);
    engine.DrawRectangle(2, 2, 20, 12);
    engine.FillRectangle(3, 3, 5, 5);
    engine.DrawCircle(30, 24, 17);
    engine.FillCircle(30, 24, 9);
    engine.DrawArc(30, 24, 21, 0.f, 135.f);
    engine.FillArc(50, 10, 15, 30.f, 300.f);
    const int xs[] = {40, 60, 50}, ys[] = {30, 30, 45};
    engine.FillPolygon(xs, ys, 3);
    const unsigned char texture[4] = {255, 0, 0, 255};
    engine.SetTextureBrush(texture, 2, 2, 1);
    engine.FillRectangle(10, 30, 20, 40);
    engine.SetTextureBrush(nullptr, 0, 0, 0);
    ZelRGBABase<unsigned char> palette[2] = {{0, 0, 0, 255}, {255, 255, 255, 128}};
    engine.SetImageColorPalette(palette, 2);
    ZelImageBuffer source;
    source.CreateImage(4, 4, 1);
    engine.DrawImage(0, 0, &source);
    engine.DrawImage(0, 0, source.GetDataPtr(), 4, 4, 1, 0);
    engine.DrawPartialImage(0, 0, 1, 1, 2, 2, &source);
    engine.DrawPartialImage(0, 0, 1, 1, 2, 2, source.GetDataPtr(), 4, 4, 1, 0);
    engine.SetBilinearFilter(false);
    engine.DrawScaledImage(0, 0, 8, 8, &source);
    engine.SetBilinearFilter(true);
    engine.DrawScaledImage(0, 0, 8, 8, source.GetDataPtr(), 4, 4, 1, 0);
    engine.DrawPartialScaledImage(0, 0, 8, 8, 0, 0, 2, 2, &source);
    engine.DrawPartialScaledImage(0, 0, 8, 8, 0, 0, 2, 2, source.GetDataPtr(), 4, 4, 1, 0);
    engine.ClearImageColorPalette();
    engine.SetClipRectangle(0, 0, 40, 40);
    engine.SetFontDPI(96);
    engine.SetFontMinHeight(engine.GetFontMinHeight());
    HFONT font = engine.CreateFont(L"DejaVu Sans", 9, false);
    HFONT bold = ZelImageDrawEngine::CreateFont(L"Sans", 9, true, engine.GetFontDPI(), 0);
    int ascent = 0, descent = 0, line = 0, width = 0, height = 0;
    ZelImageDrawEngine::GetFontMetrics(font, ascent, descent, line);
    ZelImageDrawEngine::MeasureString(L"mm^2", font, ZelImageDrawEngine::TEXT_MARKUP, width, height);
    engine.DrawString(L"W 400 L 40", 2, 2, font, ZelImageDrawEngine::TEXT_OUTLINE_SQUARE);
    engine.DrawStringRect(L"R", 0, 0, 64, 48, bold, ZelImageDrawEngine::TEXT_RIGHT | ZelImageDrawEngine::TEXT_BOTTOM);
    engine.ClearClipRectangle();
    ZelImageDrawEngine::DeleteFont(bold);
    engine.DeleteFont(font);
    engine.Monochrome(0.5f);
    engine.MakeTransparent(0.5f);
    ZelImageBuffer target;
    target.CreateImage(8, 8, 3);
    engine.SetExternalImageBuffer(&target);
    unsigned char pixels[8 * 8 * 4] = {};
    engine.SetExternalImagePtr(pixels, 8, 8, 4, 0);

    ZelImageDrawEngine* flat = ZelImageDrawEngine_New();
    if (!flat || ZelImageDrawEngine_Resize(flat, 32, 16, 3) != 0) return false;
    ZelImageDrawEngine_SetExternalImagePtr(flat, pixels, 8, 8, 4, 0);
    ZelImageDrawEngine_Resize(flat, 32, 16, 3);
    HFONT flatFont = ZelImageDrawEngine_CreateFont(flat, L"DejaVu Sans", 8, 0);
    ZelImageDrawEngine_SetColor(flat, 0xFFFFFFFFu);
    ZelImageDrawEngine_SetBorderColor(flat, 0xFF000000u);
    ZelImageDrawEngine_SetPenWidth(flat, 1);
    ZelImageDrawEngine_SetPenDash(flat, 1);
    ZelImageDrawEngine_SetPenDashOffset(flat, 2);
    const int flatPattern[2] = {1, 0};
    ZelImageDrawEngine_SetPenDashPattern(flat, flatPattern, 2);
    ZelImageDrawEngine_DrawLine(flat, 0, 0, 31, 15, 1);
    unsigned offset = ZelImageDrawEngine_GetPenDashOffset(flat);
    ZelImageDrawEngine_SetPenDash(flat, 0);
    ZelImageDrawEngine_DrawGradationLine(flat, 0, 15, 0xFF000000u, 31, 15, 0xFFFFFFFFu);
    ZelImageDrawEngine_DrawRectangle(flat, 1, 1, 10, 10);
    ZelImageDrawEngine_FillRectangle(flat, 2, 2, 3, 3);
    ZelImageDrawEngine_DrawCircle(flat, 16, 8, 9);
    ZelImageDrawEngine_FillCircle(flat, 16, 8, 5);
    ZelImageDrawEngine_DrawArc(flat, 16, 8, 11, 0.f, 90.f);
    ZelImageDrawEngine_FillArc(flat, 16, 8, 7, 0.f, 90.f);
    ZelImageDrawEngine_FillPolygon(flat, xs, ys, 3);
    ZelImageDrawEngine_SetTextureBrush(flat, texture, 2, 2, 1);
    ZelImageDrawEngine_SetTextureBrush(flat, nullptr, 0, 0, 0);
    ZelImageDrawEngine_SetImageColorPalette(flat, palette, 2);
    ZelImageDrawEngine_ClearImageColorPalette(flat);
    ZelImageDrawEngine_SetBilinearFilter(flat, 1);
    ZelImageDrawEngine_SetClipRectangle(flat, 0, 0, 20, 10);
    ZelImageDrawEngine_ClearClipRectangle(flat);
    ZelImageDrawEngine_DrawImage(flat, 0, 0, source.GetDataPtr(), 4, 4, 1, 0);
    ZelImageDrawEngine_DrawScaledImage(flat, 0, 0, 8, 8, source.GetDataPtr(), 4, 4, 1);
    ZelImageDrawEngine_DrawPartialImage(flat, 0, 0, 1, 1, 2, 2, source.GetDataPtr(), 4, 4, 1);
    ZelImageDrawEngine_DrawPartialScaledImage(flat, 0, 0, 8, 8, 0, 0, 2, 2, source.GetDataPtr(), 4, 4, 1);
    ZelImageDrawEngine_DrawString(flat, L"Ab", 1, 1, flatFont, 0);
    ZelImageDrawEngine_DrawStringRect(flat, L"Ab", 0, 0, 32, 16, flatFont, 0x20 | 0x200);
    int w = 0, h = 0;
    ZelImageDrawEngine_MeasureString(flat, L"Ab", flatFont, 0, &w, &h);
    ZelImageDrawEngine_Monochrome(flat, 1.f);
    ZelImageDrawEngine_MakeTransparent(flat, 1.f);
    ZelImageDrawEngine_DeleteFont(flat, flatFont);
    std::printf("draw: %dx%d depth %d (copy %p), text %dx%d, flat %dx%d depth %d at %p, phase %u, label %dx%d\n",
                engine.GetWidth(), engine.GetHeight(), engine.GetDepth(), static_cast<void*>(copy.GetImagePtr()), width,
                height, ZelImageDrawEngine_GetWidth(flat), ZelImageDrawEngine_GetHeight(flat),
                ZelImageDrawEngine_GetDepth(flat), static_cast<void*>(ZelImageDrawEngine_GetImagePtr(flat)), offset, w,
                h);
    ZelImageDrawEngine_Delete(flat);
    return engine.GetImageBuffer() == nullptr && engine.GetSizePerLine() == 32 && w > 0;
}
