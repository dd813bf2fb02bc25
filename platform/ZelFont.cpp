// Fonts through fontconfig (finding a file by family name) and FreeType
// (rasterising glyphs). Nothing else in the library includes either.
#include "ZelFont.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_SYNTHESIS_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

// fontconfig's configuration is loaded once; matching is serialised.
std::mutex& MatchMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::string ToUtf8(const wchar_t* text)
{
    std::string out;
    for (; text && *text; ++text) {
        const std::uint32_t c = static_cast<std::uint32_t>(*text);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | c >> 6);
            out += static_cast<char>(0x80 | (c & 63));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | c >> 12);
            out += static_cast<char>(0x80 | (c >> 6 & 63));
            out += static_cast<char>(0x80 | (c & 63));
        } else if (c < 0x110000) {
            out += static_cast<char>(0xF0 | c >> 18);
            out += static_cast<char>(0x80 | (c >> 12 & 63));
            out += static_cast<char>(0x80 | (c >> 6 & 63));
            out += static_cast<char>(0x80 | (c & 63));
        }
    }
    return out;
}

struct FaceFile {
    std::string path;
    int index = 0;
    bool embolden = false;
};

bool MatchFace(const std::string& family, bool bold, FaceFile& file)
{
    std::lock_guard<std::mutex> lock(MatchMutex());
    if (!FcInit()) return false;
    FcPattern* pattern = FcPatternCreate();
    if (!pattern) return false;
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
    FcPatternAddInteger(pattern, FC_WEIGHT, bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern, FC_SLANT, FC_SLANT_ROMAN);
    FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    FcPattern* match = FcFontMatch(nullptr, pattern, &result);
    FcPatternDestroy(pattern);
    if (!match) return false;
    FcChar8* path = nullptr;
    int index = 0, weight = FC_WEIGHT_REGULAR;
    const bool found = FcPatternGetString(match, FC_FILE, 0, &path) == FcResultMatch && path;
    if (found) {
        file.path = reinterpret_cast<const char*>(path);
        FcPatternGetInteger(match, FC_INDEX, 0, &index);
        FcPatternGetInteger(match, FC_WEIGHT, 0, &weight);
        file.index = index;
        file.embolden = bold && weight < FC_WEIGHT_DEMIBOLD;
    }
    FcPatternDestroy(match);
    return found;
}

struct Family;

}  // namespace

struct ZelFontObject {
    std::shared_ptr<Family> family;
    FT_Face face = nullptr;
    int pixelHeight = 0;
    bool antialias = true;
    ZelFontMetrics metrics;
    struct Entry {
        ZelGlyph glyph;
        std::vector<unsigned char> coverage;
    };
    std::unordered_map<std::uint32_t, Entry> glyphs;  // element addresses stay put
    const ZelGlyph* latin[256] = {};
    std::unordered_map<std::uint64_t, int> kerning;  // by glyph pair
    long rasterised = 0;
    std::map<std::pair<int, bool>, std::unique_ptr<ZelFontObject>> variants;

    ~ZelFontObject();
};

namespace {

// What a font and its variants share: the FreeType library, the face file
// and the lock.
struct Family {
    FT_Library library = nullptr;
    FaceFile file;
    std::mutex mutex;
    ~Family()
    {
        if (library) FT_Done_FreeType(library);
    }
};

std::unique_ptr<ZelFontObject> OpenFace(const std::shared_ptr<Family>& family, int pixelHeight, bool antialias)
{
    if (pixelHeight < 1 || pixelHeight > 2048) return nullptr;
    std::unique_ptr<ZelFontObject> font(new (std::nothrow) ZelFontObject());
    if (!font) return nullptr;
    font->family = family;
    if (FT_New_Face(family->library, family->file.path.c_str(), family->file.index, &font->face) != 0) {
        font->face = nullptr;
        return nullptr;
    }
    if (FT_Set_Pixel_Sizes(font->face, 0, static_cast<FT_UInt>(pixelHeight)) != 0) return nullptr;
    font->pixelHeight = pixelHeight;
    font->antialias = antialias;
    const FT_Size_Metrics& m = font->face->size->metrics;
    font->metrics.ascent = static_cast<int>((m.ascender + 63) >> 6);
    font->metrics.descent = static_cast<int>((-m.descender + 63) >> 6);
    font->metrics.lineHeight = static_cast<int>((m.height + 32) >> 6);
    font->metrics.pixelHeight = pixelHeight;
    return font;
}

}  // namespace

ZelFontObject::~ZelFontObject()
{
    variants.clear();
    if (face) FT_Done_Face(face);
}

ZelFontObject* ZelFontCreate(const wchar_t* familyName, int pixelHeight, bool bold)
{
    if (pixelHeight < 1 || pixelHeight > 2048) return nullptr;
    std::shared_ptr<Family> family(new (std::nothrow) Family());
    if (!family || FT_Init_FreeType(&family->library) != 0) return nullptr;
    const std::string name = familyName && *familyName ? ToUtf8(familyName) : std::string("DejaVu Sans");
    std::unique_ptr<ZelFontObject> font;
    for (const std::string& candidate : {name, std::string("DejaVu Sans")}) {
        if (!MatchFace(candidate, bold, family->file)) continue;
        font = OpenFace(family, pixelHeight, true);
        if (font) break;
    }
    return font.release();
}

void ZelFontDestroy(ZelFontObject* font)
{
    if (!font) return;
    std::shared_ptr<Family> family = font->family;  // outlives the faces
    delete font;
}

ZelFontObject* ZelFontVariant(ZelFontObject* font, int pixelHeight, bool antialias)
{
    if (!font) return nullptr;
    if (pixelHeight == font->pixelHeight && antialias == font->antialias) return font;
    std::lock_guard<std::mutex> lock(font->family->mutex);
    auto& slot = font->variants[{pixelHeight, antialias}];
    if (!slot) slot = OpenFace(font->family, pixelHeight, antialias);
    return slot.get();
}

ZelFontMetrics ZelFontGetMetrics(ZelFontObject* font)
{
    return font ? font->metrics : ZelFontMetrics();
}

void ZelFontAcquire(ZelFontObject* font)
{
    font->family->mutex.lock();
}

void ZelFontRelease(ZelFontObject* font)
{
    font->family->mutex.unlock();
}

const ZelGlyph* ZelFontGlyph(ZelFontObject* font, std::uint32_t character)
{
    if (character < 256 && font->latin[character]) return font->latin[character];
    auto found = font->glyphs.find(character);
    if (found != font->glyphs.end()) return &found->second.glyph;

    ZelFontObject::Entry& entry = font->glyphs[character];
    ZelGlyph& glyph = entry.glyph;
    FT_Face face = font->face;
    glyph.index = FT_Get_Char_Index(face, character);
    const FT_Int32 load = font->antialias ? FT_LOAD_DEFAULT : FT_LOAD_TARGET_MONO;
    if (FT_Load_Glyph(face, glyph.index, load) == 0) {
        FT_GlyphSlot slot = face->glyph;
        if (font->family->file.embolden) FT_GlyphSlot_Embolden(slot);
        glyph.advance = static_cast<int>((slot->advance.x + 32) >> 6);
        if (FT_Render_Glyph(slot, font->antialias ? FT_RENDER_MODE_NORMAL : FT_RENDER_MODE_MONO) == 0) {
            const FT_Bitmap& b = slot->bitmap;
            glyph.left = slot->bitmap_left;
            glyph.top = slot->bitmap_top;
            glyph.width = static_cast<int>(b.width);
            glyph.height = static_cast<int>(b.rows);
            entry.coverage.assign(static_cast<std::size_t>(glyph.width) * glyph.height, 0);
            for (int y = 0; y < glyph.height; ++y) {
                const unsigned char* row = b.buffer + static_cast<std::ptrdiff_t>(y) * b.pitch;
                unsigned char* out = entry.coverage.data() + static_cast<std::size_t>(y) * glyph.width;
                for (int x = 0; x < glyph.width; ++x) {
                    if (b.pixel_mode == FT_PIXEL_MODE_MONO) {
                        out[x] = (row[x >> 3] >> (7 - (x & 7)) & 1) ? 255 : 0;
                    } else if (b.pixel_mode == FT_PIXEL_MODE_GRAY) {
                        out[x] = row[x];
                    }
                }
            }
            glyph.coverage = entry.coverage.data();
        }
        ++font->rasterised;
    }
    if (character < 256) font->latin[character] = &glyph;
    return &glyph;
}

int ZelFontKerning(ZelFontObject* font, unsigned leftIndex, unsigned rightIndex)
{
    if (!FT_HAS_KERNING(font->face) || !leftIndex || !rightIndex) return 0;
    const std::uint64_t key = static_cast<std::uint64_t>(leftIndex) << 32 | rightIndex;
    const auto found = font->kerning.find(key);
    if (found != font->kerning.end()) return found->second;
    FT_Vector k{0, 0};
    const int pixels =
        FT_Get_Kerning(font->face, leftIndex, rightIndex, FT_KERNING_DEFAULT, &k) == 0 ? static_cast<int>(k.x >> 6) : 0;
    font->kerning.emplace(key, pixels);
    return pixels;
}

long ZelFontRasterCount(ZelFontObject* font)
{
    return font ? font->rasterised : 0;
}
