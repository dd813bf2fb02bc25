#include "annotate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "text.h"

namespace {

const double kPi = 3.14159265358979323846;

// A second axis is named from a quarter of the direction's length on (some
// 15 degrees off the first), so that a slight tilt keeps one letter.
const double kSecondAxis = 0.25;

double Length(const Vec3& v)
{
    return std::sqrt(Dot(v, v));
}

// Text of `at` with one decimal, never "-0.0".
std::string Millimetres(double at)
{
    char text[48];
    // Adding +0 turns a rounded -0 into +0.
    std::snprintf(text, sizeof(text), "%.1f mm", std::round(at * 10.0) / 10.0 + 0.0);
    return text;
}

// Text height for a picture: readable on small pictures, in proportion on
// large ones.
int TextPixels(int width, int height)
{
    return std::clamp(static_cast<int>(std::lround(std::min(width, height) / 32.0)), 10, 48);
}

class Annotations : public PictureStep {
public:
    Annotations(const Volume& volume, const PlaneChoice& planes, const std::string& family, bool cellsOnly)
        : m_volume(volume),
          m_planes(planes),
          m_cellsOnly(cellsOnly),
          m_text(family, TextPixels(planes.Width(), planes.Height()), false),
          m_letters(family, TextPixels(planes.Width(), planes.Height()) * 5 / 4, true)
    {
    }

    bool HasFonts() const { return m_text && m_letters; }

    bool Apply(int index, ZelImageBuffer& picture, std::string& error) const override
    {
        const int width = picture.GetWidth(), height = picture.GetHeight();
        std::vector<std::string> corner;
        if (!m_cellsOnly) corner.push_back(m_levels);
        EdgeLetters letters;
        ScaleBar bar;
        PixelPlane plane;
        if (m_planes.Locate(m_volume.image.get(), index, plane)) {
            const PictureGeometry geometry = GeometryOf(m_volume, plane, width, height);
            corner.push_back(PositionText(geometry));
            if (!m_cellsOnly) {
                letters = EdgeLettersOf(geometry);
                bar = ChooseScaleBar(Length(geometry.right), width);
            }
        }
        if (!m_cellsOnly && !m_slab.empty()) corner.push_back(m_slab);
        const bool drawn = DrawOnPicture(picture, [&](ZelImageDrawEngine& engine) {
            UseOutlinedText(engine);
            const int margin = std::max(2, m_text.LineHeight() / 4);
            int y = CornerTop(corner, letters.top, width, margin);
            for (const std::string& line : corner) {
                engine.DrawString(Widen(line), margin, y, m_text.Get(), kOutlinedText);
                y += m_text.LineHeight();
            }
            DrawLetters(engine, letters, width, height, margin);
            if (bar.pixels > 0) DrawScaleBar(engine, bar, width, height, margin);
        });
        if (!drawn) error = "not enough memory for the annotations";
        return drawn;
    }

    std::string m_levels;
    std::string m_slab;

private:
    // The corner text starts at the top, or below the top letter when the
    // picture is too narrow for both side by side.
    int CornerTop(const std::vector<std::string>& corner, const std::string& top, int width, int margin) const
    {
        if (top.empty()) return margin;
        int widest = 0, w = 0, h = 0;
        for (const std::string& line : corner) {
            ZelImageDrawEngine::MeasureString(Widen(line), m_text.Get(), kOutlinedText, w, h);
            widest = std::max(widest, w);
        }
        ZelImageDrawEngine::MeasureString(Widen(top), m_letters.Get(), kOutlinedText, w, h);
        return margin + widest + margin <= (width - w) / 2 ? margin : margin + m_letters.LineHeight();
    }

    void DrawLetters(ZelImageDrawEngine& engine, const EdgeLetters& letters, int width, int height, int margin) const
    {
        using E = ZelImageDrawEngine;
        const HFONT font = m_letters.Get();
        engine.DrawString(Widen(letters.left), margin, height / 2, font, kOutlinedText | E::TEXT_VCENTER);
        engine.DrawString(Widen(letters.right), width - margin, height / 2, font,
                          kOutlinedText | E::TEXT_RIGHT | E::TEXT_VCENTER);
        engine.DrawString(Widen(letters.top), width / 2, margin, font, kOutlinedText | E::TEXT_HCENTER);
        engine.DrawString(Widen(letters.bottom), width / 2, height - margin, font,
                          kOutlinedText | E::TEXT_HCENTER | E::TEXT_BOTTOM);
    }

    // The bar lies in the bottom right corner; its white run along the bottom
    // row is exactly bar.pixels wide, with a tick up at each end and a black
    // ring round it all, and its length above it.
    void DrawScaleBar(ZelImageDrawEngine& engine, const ScaleBar& bar, int width, int height, int margin) const
    {
        const int right = width - 1 - margin, left = right - bar.pixels + 1;
        const int bottom = height - 1 - margin, tick = std::max(4, m_text.LineHeight() / 3);
        engine.SetColor(ZelImageDrawEngine::ColorFromRGB(0, 0, 0));
        engine.FillRectangle(left - 1, bottom - 2, right + 1, bottom + 1);
        engine.FillRectangle(left - 1, bottom - tick - 1, left + 1, bottom);
        engine.FillRectangle(right - 1, bottom - tick - 1, right + 1, bottom);
        engine.SetColor(ZelImageDrawEngine::ColorFromRGB(255, 255, 255));
        engine.FillRectangle(left, bottom - 1, right, bottom);
        engine.FillRectangle(left, bottom - tick, left, bottom);
        engine.FillRectangle(right, bottom - tick, right, bottom);
        char label[48];
        std::snprintf(label, sizeof(label), "%g mm", bar.mm);
        // Ending with the bar, so that a label wider than a short bar stays
        // on the picture.
        engine.DrawString(Widen(label), right + 2, bottom - tick - 1, m_text.Get(),
                          kOutlinedText | ZelImageDrawEngine::TEXT_RIGHT | ZelImageDrawEngine::TEXT_BOTTOM);
    }

    const Volume& m_volume;
    const PlaneChoice& m_planes;
    bool m_cellsOnly;
    TextFont m_text;
    TextFont m_letters;
};

}  // namespace

PictureGeometry GeometryOf(const Volume& volume, const PixelPlane& plane, int width, int height)
{
    const Vec3 centre = plane.origin + 0.5 * (width - 1) * plane.right + 0.5 * (height - 1) * plane.down;
    return {IndexStepToPatient(volume, plane.right), IndexStepToPatient(volume, plane.down),
            IndexToPatient(volume, centre)};
}

std::string DirectionLetters(const Vec3& patient)
{
    static const char kLetters[3][2] = {{'L', 'R'}, {'P', 'A'}, {'I', 'S'}};
    const double length = Length(patient);
    if (!(length > 0) || !std::isfinite(length)) return "";
    int order[3] = {0, 1, 2};
    std::stable_sort(order, order + 3,
                     [&patient](int a, int b) { return std::fabs(patient[a]) > std::fabs(patient[b]); });
    std::string letters(1, kLetters[order[0]][patient[order[0]] > 0]);
    if (std::fabs(patient[order[1]]) >= kSecondAxis * length) letters += kLetters[order[1]][patient[order[1]] > 0];
    return letters;
}

EdgeLetters EdgeLettersOf(const PictureGeometry& g)
{
    return {DirectionLetters(-1.0 * g.right), DirectionLetters(g.right), DirectionLetters(-1.0 * g.down),
            DirectionLetters(g.down)};
}

std::string PositionText(const PictureGeometry& g)
{
    Vec3 normal = Normalised(Cross(g.right, g.down));
    int axis = 0;
    for (int a = 1; a < 3; ++a)
        if (std::fabs(normal[a]) > std::fabs(normal[axis])) axis = a;
    if (normal[axis] < 0) normal = -1.0 * normal;
    const std::string at = Millimetres(Dot(g.centre, normal));
    // Planes within rounding of a patient axis are placed by its coordinate,
    // as --position takes it.
    if (normal[axis] >= std::cos(kTiltWorthMentioning * kPi / 180.0)) return std::string(1, "xyz"[axis]) + " " + at;
    return at + " along normal";
}

ScaleBar ChooseScaleBar(double mmPerPixel, int width)
{
    const double room = 0.25 * width * mmPerPixel;
    if (!(room > 0) || !std::isfinite(room)) return {};
    const double decade = std::pow(10.0, std::floor(std::log10(room)));
    double mm = decade;
    for (double m : {5.0, 2.0})
        if (m * decade <= room) {
            mm = m * decade;
            break;
        }
    return {mm, static_cast<int>(std::lround(mm / mmPerPixel))};
}

bool AddAnnotations(const Volume& volume, const PlaneChoice& planes, const AnnotationOptions& options, bool cellsOnly,
                    PictureRecipe& recipe, std::string& error)
{
    if (!options.wanted) return true;
    auto step = std::make_unique<Annotations>(volume, planes, options.font, cellsOnly);
    if (!step->HasFonts())
        return Fail(error, "--annotate: no font could be had" +
                               (options.font.empty() ? std::string() : " for --font '" + options.font + "'") +
                               " (fontconfig finds none; install fonts-dejavu-core)");
    step->m_levels = recipe.display.levels;
    const SlabInfo slab = planes.Slab();
    if (slab.thicknessMm > 0)
        step->m_slab = std::string(plane_detail::SlabModeName(slab.mode)) + " slab " + Millimetres(slab.thicknessMm);
    recipe.steps.push_back(std::move(step));
    return true;
}

// The options of the annotations.
OptionGroup AnnotationOptionGroup(AnnotationOptions& o)
{
    return {"annotations",
            {
                {"--annotate", nullptr,
                 "orientation letters at the edges, a scale bar in mm, and the window,\nthe position along the "
                 "plane's normal and the slab in the top left\ncorner, in outlined text (a mosaic's cells: their "
                 "position only)",
                 SetFlag(o.wanted)},
                {"--font", "FAMILY",
                 "font family of the annotations (default DejaVu Sans; a family\nfontconfig does not know falls back "
                 "to its default, usually DejaVu Sans)",
                 SetText(o.font, "--font")},
            }};
}

bool CheckAnnotationOptions(const AnnotationOptions& o, std::string& error)
{
    if (!o.font.empty() && !o.wanted) return Fail(error, "--font is the font of --annotate; give --annotate too");
    return true;
}
