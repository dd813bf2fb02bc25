// The drawing engine against Cairo (the anchor of software 2-D rendering) on
// a 1024 x 1024 target of 4 bytes a pixel: batches of random lines, dashed
// wide lines, filled circles and polygons, bilinear scaled blits and short
// labels. Both draw the same shapes from the same random stream, opaque,
// Cairo without anti-aliasing except for the text.
//
// Each result carries `ms/batch`; `x_cairo` (Cairo's time over ours: above 1
// means faster) appears once both have run. A summary of the ratios follows
// the run, and a table of how many pixels the aliased shapes differ by.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "ZelImageDrawEngine.h"

#if defined(ZEL_HAVE_CAIRO)
#include <cairo.h>
#endif

namespace {

constexpr int kSize = 1024;

double ThreadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

struct DrawResults {
    std::map<std::string, double> ms;  // "case/ours", "case/cairo"
    std::vector<std::string> order;
    std::vector<std::string> differences;
    ~DrawResults();
};
DrawResults& Results()
{
    static DrawResults results;
    return results;
}

template <class Body>
void Run(benchmark::State& state, const std::string& what, const char* who, Body body)
{
    const double start = ThreadSeconds();
    for (auto _ : state) body();
    const double ms = (ThreadSeconds() - start) * 1e3 / static_cast<double>(state.iterations());
    auto& r = Results();
    if (!r.ms.count(what + "/ours") && !r.ms.count(what + "/cairo")) r.order.push_back(what);
    r.ms[what + "/" + who] = ms;
    state.counters["ms/batch"] = ms;
    const auto ours = r.ms.find(what + "/ours"), cairo = r.ms.find(what + "/cairo");
    if (ours != r.ms.end() && cairo != r.ms.end()) state.counters["x_cairo"] = cairo->second / ours->second;
}

// The shapes of each case, the same for both.
struct Line {
    int x0, y0, x1, y1;
};
std::vector<Line> Lines(int count, unsigned seed, int size = kSize)
{
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> c(0, size - 1);
    std::vector<Line> lines(static_cast<std::size_t>(count));
    for (Line& l : lines) l = {c(rng), c(rng), c(rng), c(rng)};
    return lines;
}

// Lines from a point of the image to a point far outside it, so that most
// of each line is clipped away.
std::vector<Line> FarLines(int count, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> in(0, kSize - 1), out(-100000, 100000);
    std::vector<Line> lines(static_cast<std::size_t>(count));
    for (Line& l : lines) l = {in(rng), in(rng), out(rng), out(rng)};
    return lines;
}

std::vector<std::vector<int>> Polygons(int count, unsigned seed, int size = kSize)
{
    // Star-shaped 12-gons about 60 pixels across.
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> centre(40, size - 41), radius(12, 32);
    std::vector<std::vector<int>> polygons;
    for (int i = 0; i < count; ++i) {
        const int cx = centre(rng), cy = centre(rng);
        std::vector<int> p;
        for (int v = 0; v < 12; ++v) {
            const double a = v * 3.14159265358979 / 6;
            const int r = radius(rng);
            p.push_back(cx + static_cast<int>(r * std::cos(a)));
            p.push_back(cy + static_cast<int>(r * std::sin(a)));
        }
        polygons.push_back(p);
    }
    return polygons;
}

std::vector<unsigned char> Picture(int w, int h)
{
    std::vector<unsigned char> p(static_cast<std::size_t>(w) * h * 4);
    for (std::size_t i = 0; i < p.size(); ++i) p[i] = static_cast<unsigned char>((i * 2654435761u) >> 13);
    for (std::size_t i = 3; i < p.size(); i += 4) p[i] = 255;
    return p;
}

struct OurTarget {
    ZelImageDrawEngine engine;
    OurTarget(int size = kSize)
    {
        engine.Resize(size, size, 4);
        engine.SetColor(0xFFFFFFFF);
    }
};

void OurLines(benchmark::State& state, const char* what, unsigned seed, int width, bool dashed, bool far = false)
{
    OurTarget t;
    t.engine.SetPenWidth(width);
    t.engine.SetPenDash(dashed);
    const auto lines = far ? FarLines(10000, seed) : Lines(10000, seed);
    Run(state, what, "ours", [&] {
        for (const Line& l : lines) t.engine.DrawLine(l.x0, l.y0, l.x1, l.y1, true);
    });
}

void Draw_Lines_Ours(benchmark::State& state)
{
    OurLines(state, "10,000 lines, width 1", 1, 1, false);
}

void Draw_DashedWide_Ours(benchmark::State& state)
{
    OurLines(state, "10,000 dashed lines, width 3", 2, 3, true);
}

void Draw_FarLines_Ours(benchmark::State& state)
{
    OurLines(state, "10,000 lines to far outside, width 1", 9, 1, false, true);
}

void Draw_Circles_Ours(benchmark::State& state)
{
    OurTarget t;
    const auto centres = Lines(1000, 3);
    Run(state, "1,000 filled circles, diameter 40", "ours", [&] {
        for (const Line& c : centres) t.engine.FillCircle(c.x0, c.y0, 40);
    });
}

void Draw_Polygons_Ours(benchmark::State& state)
{
    OurTarget t;
    const auto polygons = Polygons(1000, 4);
    std::vector<std::vector<int>> xs, ys;
    for (const auto& p : polygons) {
        xs.emplace_back(), ys.emplace_back();
        for (std::size_t v = 0; v < p.size(); v += 2) xs.back().push_back(p[v]), ys.back().push_back(p[v + 1]);
    }
    Run(state, "1,000 filled 12-gons", "ours", [&] {
        for (std::size_t i = 0; i < xs.size(); ++i) t.engine.FillPolygon(xs[i].data(), ys[i].data(), 12);
    });
}

void Draw_ScaledBlit_Ours(benchmark::State& state)
{
    OurTarget t;
    const auto picture = Picture(64, 64);
    const auto places = Lines(1000, 5, kSize - 100);
    Run(state, "1,000 bilinear blits 64x64 to 100x100", "ours", [&] {
        for (const Line& p : places) t.engine.DrawScaledImage(p.x0, p.y0, 100, 100, picture.data(), 64, 64, 4, 0);
    });
}

void Draw_Labels_Ours(benchmark::State& state)
{
    OurTarget t;
    HFONT font = ZelImageDrawEngine::CreateFont(L"DejaVu Sans", 9, false, 96, 0);  // 12 px
    const auto places = Lines(1000, 6, kSize - 100);
    const ZelString label(L"W 400 L 40");
    t.engine.DrawString(label, 0, 0, font, 0);  // the glyph cache is warm
    Run(state, "1,000 labels \"W 400 L 40\", 12 px", "ours", [&] {
        for (const Line& p : places) t.engine.DrawString(label, p.x0, p.y0, font, 0);
    });
    ZelImageDrawEngine::DeleteFont(font);
}

BENCHMARK(Draw_Lines_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_DashedWide_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_FarLines_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_Circles_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_Polygons_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_ScaledBlit_Ours)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_Labels_Ours)->Unit(benchmark::kMillisecond);

#if defined(ZEL_HAVE_CAIRO)
// A Cairo context over its own 1024 x 1024 ARGB32 surface, opaque white,
// without anti-aliasing.
struct CairoTarget {
    cairo_surface_t* surface;
    cairo_t* cr;
    explicit CairoTarget(int size = kSize)
    {
        surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size, size);
        cr = cairo_create(surface);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
        cairo_set_line_width(cr, 1);
        cairo_set_line_cap(cr, CAIRO_LINE_CAP_SQUARE);
    }
    ~CairoTarget()
    {
        cairo_destroy(cr);
        cairo_surface_destroy(surface);
    }
    // Pixel centres of ours lie at whole numbers, Cairo's at halves.
    void Line(const ::Line& l)
    {
        cairo_move_to(cr, l.x0 + 0.5, l.y0 + 0.5);
        cairo_line_to(cr, l.x1 + 0.5, l.y1 + 0.5);
        cairo_stroke(cr);
    }
    void Disc(int cx, int cy, int diameter)
    {
        cairo_arc(cr, cx + 0.5 + (diameter % 2 ? 0 : 0.5), cy + 0.5 + (diameter % 2 ? 0 : 0.5), diameter / 2.0, 0,
                  2 * 3.14159265358979);
        cairo_fill(cr);
    }
    void Polygon(const std::vector<int>& p)
    {
        cairo_move_to(cr, p[0] + 0.5, p[1] + 0.5);
        for (std::size_t v = 2; v < p.size(); v += 2) cairo_line_to(cr, p[v] + 0.5, p[v + 1] + 0.5);
        cairo_close_path(cr);
        cairo_fill(cr);
    }
};

// Random lines of a pen `width` wide, dashed 4 on, 4 off when asked.
void CairoLines(benchmark::State& state, const char* what, unsigned seed, double width, bool dashed, bool far = false)
{
    CairoTarget t;
    cairo_set_line_width(t.cr, width);
    const double dash[2] = {4, 4};
    if (dashed) cairo_set_dash(t.cr, dash, 2, 0);
    const auto lines = far ? FarLines(10000, seed) : Lines(10000, seed);
    Run(state, what, "cairo", [&] {
        for (const Line& l : lines) t.Line(l);
        cairo_surface_flush(t.surface);
    });
}

void Draw_Lines_Cairo(benchmark::State& state)
{
    CairoLines(state, "10,000 lines, width 1", 1, 1, false);
}

void Draw_DashedWide_Cairo(benchmark::State& state)
{
    CairoLines(state, "10,000 dashed lines, width 3", 2, 3, true);
}

void Draw_FarLines_Cairo(benchmark::State& state)
{
    CairoLines(state, "10,000 lines to far outside, width 1", 9, 1, false, true);
}

void Draw_Circles_Cairo(benchmark::State& state)
{
    CairoTarget t;
    const auto centres = Lines(1000, 3);
    Run(state, "1,000 filled circles, diameter 40", "cairo", [&] {
        for (const Line& c : centres) t.Disc(c.x0, c.y0, 40);
        cairo_surface_flush(t.surface);
    });
}

void Draw_Polygons_Cairo(benchmark::State& state)
{
    CairoTarget t;
    cairo_set_fill_rule(t.cr, CAIRO_FILL_RULE_EVEN_ODD);
    const auto polygons = Polygons(1000, 4);
    Run(state, "1,000 filled 12-gons", "cairo", [&] {
        for (const auto& p : polygons) t.Polygon(p);
        cairo_surface_flush(t.surface);
    });
}

void Draw_ScaledBlit_Cairo(benchmark::State& state)
{
    CairoTarget t;
    auto picture = Picture(64, 64);
    cairo_surface_t* source = cairo_image_surface_create_for_data(picture.data(), CAIRO_FORMAT_ARGB32, 64, 64, 64 * 4);
    const auto places = Lines(1000, 5, kSize - 100);
    Run(state, "1,000 bilinear blits 64x64 to 100x100", "cairo", [&] {
        for (const Line& p : places) {
            cairo_save(t.cr);
            cairo_translate(t.cr, p.x0, p.y0);
            cairo_scale(t.cr, 100.0 / 64, 100.0 / 64);
            cairo_set_source_surface(t.cr, source, 0, 0);
            cairo_pattern_set_filter(cairo_get_source(t.cr), CAIRO_FILTER_BILINEAR);
            cairo_rectangle(t.cr, 0, 0, 64, 64);
            cairo_fill(t.cr);
            cairo_restore(t.cr);
        }
        cairo_surface_flush(t.surface);
    });
    cairo_surface_destroy(source);
}

void Draw_Labels_Cairo(benchmark::State& state)
{
    CairoTarget t;
    cairo_set_antialias(t.cr, CAIRO_ANTIALIAS_DEFAULT);
    cairo_select_font_face(t.cr, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(t.cr, 12);
    cairo_font_extents_t extents;
    cairo_font_extents(t.cr, &extents);
    const auto places = Lines(1000, 6, kSize - 100);
    cairo_move_to(t.cr, 0, extents.ascent);
    cairo_show_text(t.cr, "W 400 L 40");  // the glyph cache is warm
    Run(state, "1,000 labels \"W 400 L 40\", 12 px", "cairo", [&] {
        for (const Line& p : places) {
            cairo_move_to(t.cr, p.x0, p.y0 + extents.ascent);
            cairo_show_text(t.cr, "W 400 L 40");
        }
        cairo_surface_flush(t.surface);
    });
}

BENCHMARK(Draw_Lines_Cairo)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_DashedWide_Cairo)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_FarLines_Cairo)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_Circles_Cairo)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_Polygons_Cairo)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_ScaledBlit_Cairo)->Unit(benchmark::kMillisecond);
BENCHMARK(Draw_Labels_Cairo)->Unit(benchmark::kMillisecond);

// Pixels that differ between the two, one shape at a time on a 256 x 256
// target, over 1,000 shapes of each kind.
template <class Ours, class Theirs>
std::string CountDifferences(const char* what, Ours ours, Theirs theirs)
{
    constexpr int size = 256;
    long differ = 0, lit = 0;
    for (int i = 0; i < 1000; ++i) {
        OurTarget a(size);
        CairoTarget b(size);
        ours(a.engine, i);
        theirs(b, i);
        cairo_surface_flush(b.surface);
        const unsigned char* pa = a.engine.GetImagePtr();
        const unsigned char* pb = cairo_image_surface_get_data(b.surface);
        const int sb = cairo_image_surface_get_stride(b.surface);
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const bool la = pa[y * size * 4 + 4 * x + 1] != 0, lb = pb[y * sb + 4 * x + 1] != 0;
                differ += la != lb;
                lit += la;
            }
        }
    }
    char line[200];
    std::snprintf(line, sizeof line, "| %s | %ld | %ld | %.2f %% |", what, lit, differ,
                  100.0 * differ / std::max(1L, lit));
    return line;
}

void Draw_Differences(benchmark::State& state)
{
    for (auto _ : state) {
    }
    const auto lines = Lines(1000, 7, 256);
    const auto polygons = Polygons(1000, 8, 256);
    auto& d = Results().differences;
    d.clear();
    d.push_back(CountDifferences(
        "line, width 1",
        [&](ZelImageDrawEngine& e, int i) { e.DrawLine(lines[i].x0, lines[i].y0, lines[i].x1, lines[i].y1, true); },
        [&](CairoTarget& t, int i) { t.Line(lines[i]); }));
    d.push_back(CountDifferences(
        "filled circle, diameter 40", [&](ZelImageDrawEngine& e, int i) { e.FillCircle(lines[i].x0, lines[i].y0, 40); },
        [&](CairoTarget& t, int i) { t.Disc(lines[i].x0, lines[i].y0, 40); }));
    d.push_back(CountDifferences(
        "filled 12-gon",
        [&](ZelImageDrawEngine& e, int i) {
            int xs[12], ys[12];
            for (int v = 0; v < 12; ++v) xs[v] = polygons[i][2 * v], ys[v] = polygons[i][2 * v + 1];
            e.FillPolygon(xs, ys, 12);
        },
        [&](CairoTarget& t, int i) {
            cairo_set_fill_rule(t.cr, CAIRO_FILL_RULE_EVEN_ODD);
            t.Polygon(polygons[i]);
        }));
}
BENCHMARK(Draw_Differences)->Iterations(1);
#endif

DrawResults::~DrawResults()
{
    if (order.empty()) return;
    std::printf("\nDrawing engine against Cairo (ms per batch, one thread; x_cairo = Cairo / ours)\n\n");
    std::printf("| case | ours | Cairo | x_cairo |\n|---|---:|---:|---:|\n");
    for (const std::string& what : order) {
        const double o = ms.count(what + "/ours") ? ms.at(what + "/ours") : 0;
        const double c = ms.count(what + "/cairo") ? ms.at(what + "/cairo") : 0;
        std::printf("| %s | %.3f | %.3f | %.2f |\n", what.c_str(), o, c, o > 0 && c > 0 ? c / o : 0.0);
    }
    if (!differences.empty()) {
        std::printf("\nPixels that differ from Cairo's (aliased, one shape at a time, 1,000 shapes)\n\n");
        std::printf("| shape | our pixels | differing | share |\n|---|---:|---:|---:|\n");
        for (const std::string& line : differences) std::printf("%s\n", line.c_str());
    }
}

}  // namespace
