// Pieces of zelgen on their own: option parsing, NIfTI header checks,
// series names, the orientation solver, the PNG writer, colours, and what
// the annotations say about a picture.
#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "annotate.h"
#include "colour.h"
#include "nifti1.h"
#include "options.h"
#include "orientation.h"
#include "output.h"
#include "png_writer.h"
#include "readers.h"
#include "text.h"
#include "voxel_import.h"

namespace {

bool Parse(const std::string& line, RenderOptions& options, bool& help, std::string& error)
{
    std::istringstream in(line);
    std::vector<std::string> args;
    for (std::string word; in >> word;) args.push_back(word);
    return ParseRenderOptions(args, options, help, error);
}

TEST(ZelgenOptions, ParsesValuesInBothSpellings)
{
    RenderOptions o, h, soft;
    bool help = false;
    std::string error;
    ASSERT_TRUE(
        Parse("--phantom --zoom=2.5 --window lung --rotate -90 --plane=sagittal --slab 12 --mip --size 300 "
              "--slices 2:10:4 -o out.png --flip-v",
              o, help, error))
        << error;
    const PlaneOptions& p = o.plane;
    EXPECT_EQ(
        std::make_tuple(p.zoom, o.picture.windowWidth, o.picture.windowCentre, p.rotateDegrees, p.width, p.height),
        std::make_tuple(2.5, 1500.0, -600.0, -90.0, 300, 0));
    EXPECT_EQ(std::make_tuple(p.seriesFirst, p.seriesLast, p.seriesStep, p.flipV, o.output.path),
              std::make_tuple(2, 10, 4, true, std::string("out.png")));
    EXPECT_TRUE(p.plane == PlaneKind::Sagittal && p.slabMode == SlabMode::Maximum);
    // Preset names are forgiving about the spelling of soft tissue.
    ASSERT_TRUE(Parse("--phantom -o x.png --window soft_tissue", soft, help, error)) << error;
    EXPECT_EQ(soft.picture.windowWidth, FindWindowPreset("soft-tissue")->width);
    EXPECT_TRUE(Parse("--zoom 2 --help", h, help, error));
    EXPECT_TRUE(help);
}

TEST(ZelgenColour, TablesTakeRealValuesToStoredOnes)
{
    // Real = stored / 2 - 10; a falling scale turns ranges round.
    const std::vector<ColourTableEntry> entries = {
        {0, 0, {1, 0, 0, 1}},        // stored 20
        {1, 2, {0, 1, 0, 0.5f}},     // stored 22..24
        {0.3, 0.3, {0, 0, 1, 1}},    // no stored value is 0.3: the nearest, 21
        {1.5, 1.5, {1, 1, 1, 1}},    // a later line wins
        {-1e9, -1e8, {1, 1, 1, 1}},  // below everything the file can hold
    };
    struct Case {
        double slope, intercept;
        int stored;
        float bgra[4];
    };
    const Case cases[] = {
        {0.5, -10, 19, {0, 0, 0, 0}},    {0.5, -10, 20, {0, 0, 1, 1}},     {0.5, -10, 21, {1, 0, 0, 1}},
        {0.5, -10, 22, {0, 1, 0, 0.5f}}, {0.5, -10, 23, {1, 1, 1, 1}},     {0.5, -10, 24, {0, 1, 0, 0.5f}},
        {0.5, -10, 25, {0, 0, 0, 0}},    {0.5, -10, -32768, {0, 0, 0, 0}}, {-1, 0, -1, {0, 1, 0, 0.5f}},
        {-1, 0, -2, {1, 1, 1, 1}},       {-1, 0, -3, {0, 0, 0, 0}},        {-1, 0, 0, {1, 0, 0, 1}},
    };
    for (const Case& c : cases) {
        const std::vector<ZelRGBABase<float>> table =
            ColourTableByStoredValue(entries, ValueScale{c.slope, c.intercept});
        const ZelRGBABase<float>& e = table[static_cast<std::size_t>(c.stored + kColourTableZero)];
        EXPECT_EQ(std::make_tuple(e.r, e.g, e.b, e.a), std::make_tuple(c.bgra[0], c.bgra[1], c.bgra[2], c.bgra[3]))
            << c.slope << " " << c.stored;
    }
}

TEST(ZelgenColour, LabelColoursAreDistinctAndNeverGrey)
{
    std::vector<std::tuple<int, int, int>> seen;
    for (int rank = 0; rank < 400; ++rank) {
        float rgb[3];
        LabelColour(rank, rgb);
        const auto bytes = std::make_tuple(static_cast<int>(rgb[0] * 255), static_cast<int>(rgb[1] * 255),
                                           static_cast<int>(rgb[2] * 255));
        EXPECT_EQ(std::find(seen.begin(), seen.end(), bytes), seen.end()) << rank;
        EXPECT_GT(*std::max_element(rgb, rgb + 3) - *std::min_element(rgb, rgb + 3), 0.4f) << rank;
        seen.push_back(bytes);
    }
    for (const char* name : {"grey", "gray", "hot", "cool", "jet", "rainbow", "viridis"})
        EXPECT_NE(FindPalette(name), nullptr) << name;
    EXPECT_EQ(FindPalette("Hot"), nullptr);
}

TEST(ZelgenSeries, FileNames)
{
    struct Case {
        const char* output;
        int index;
        const char* expected;  // null: rejected
    };
    const Case cases[] = {
        {"out.png", 7, "out_0007.png"},      {"dir.v2/out", 12, "dir.v2/out_0012"},
        {"s_%03d.png", 5, "s_005.png"},      {"s_%d.png", 123, "s_123.png"},
        {"a/%04d_x.png", 9, "a/0009_x.png"}, {"s_%s.png", 1, nullptr},
        {"s_%d_%d.png", 1, nullptr},         {"s_%.png", 1, nullptr},
    };
    for (const Case& c : cases) {
        std::string name, error;
        EXPECT_EQ(SeriesFileName(c.output, c.index, name, error), c.expected != nullptr) << c.output;
        EXPECT_EQ(name, c.expected ? c.expected : name);
    }
}

// A valid single-file NIfTI-1 header of a 4x3x2 int16 volume.
nifti_1_header Nifti1Header()
{
    nifti_1_header h;
    std::memset(&h, 0, sizeof(h));
    h.sizeof_hdr = 348;
    h.dim[0] = 3, h.dim[1] = 4, h.dim[2] = 3, h.dim[3] = 2;
    h.datatype = DT_INT16;
    h.bitpix = 16;
    h.pixdim[1] = h.pixdim[2] = h.pixdim[3] = 1;
    h.vox_offset = 352;
    std::memcpy(h.magic, "n+1", 4);
    return h;
}

// The same header in the other byte order (the fields the check reads).
void SwapFields(nifti_1_header& h)
{
    const int fields[][2] = {{0, 4},  {40, 2}, {42, 2}, {44, 2}, {46, 2}, {48, 2},
                             {50, 2}, {52, 2}, {54, 2}, {70, 2}, {72, 2}, {108, 4}};
    auto* bytes = reinterpret_cast<unsigned char*>(&h);
    for (const auto& f : fields) std::reverse(bytes + f[0], bytes + f[0] + f[1]);
}

template <class Header>
bool Check(const Header& h, std::int64_t fileBytes, NiftiHeaderInfo& info, std::string& error)
{
    return CheckNiftiHeaderBytes(reinterpret_cast<const unsigned char*>(&h), sizeof(h), fileBytes, info, error);
}

TEST(ZelgenNiftiHeader, CorruptHeadersAreNamed)
{
    using Mutate = void (*)(nifti_1_header&);
    struct Case {
        const char* name;
        Mutate mutate;
        std::int64_t fileBytes;
        const char* mentions;  // null: accepted
    };
    const std::int64_t full = 352 + 4 * 3 * 2 * 2;
    const Case cases[] = {
        {"valid", [](nifti_1_header&) {}, full, nullptr},
        {"other byte order", SwapFields, full, nullptr},
        {"bigger file", [](nifti_1_header&) {}, full + 100, nullptr},
        {"truncated data", [](nifti_1_header&) {}, full - 1, "truncated"},
        {"header size", [](nifti_1_header& h) { h.sizeof_hdr = 349; }, full, "not a NIfTI"},
        {"magic", [](nifti_1_header& h) { h.magic[1] = 'x'; }, full, "magic"},
        {"pair", [](nifti_1_header& h) { h.magic[1] = 'i'; }, full, nullptr},
        {"analyze", [](nifti_1_header& h) { std::memset(h.magic, 0, 4); }, full, nullptr},
        {"surface", [](nifti_1_header& h) { h.intent_code = NIFTI_INTENT_POINTSET; }, full, "not a volume"},
        {"no dims", [](nifti_1_header& h) { h.dim[0] = 0; }, full, "dimensions"},
        {"eight dims", [](nifti_1_header& h) { h.dim[0] = 8; }, full, "dimensions"},
        {"zero size", [](nifti_1_header& h) { h.dim[2] = 0; }, full, "dimension 2"},
        {"negative size", [](nifti_1_header& h) { h.dim[1] = -4; }, full, "dimension 1"},
        {"unknown type", [](nifti_1_header& h) { h.datatype = 3; }, full, "unknown data type"},
        {"rgb", [](nifti_1_header& h) { h.datatype = DT_RGB24, h.bitpix = 24; }, full, "unsupported voxel type rgb24"},
        {"complex", [](nifti_1_header& h) { h.datatype = DT_COMPLEX64, h.bitpix = 64; }, full, "unsupported"},
        {"bitpix", [](nifti_1_header& h) { h.bitpix = 8; }, full, "bits per voxel"},
        {"offset in header", [](nifti_1_header& h) { h.vox_offset = 100; }, full, "inside the header"},
        {"fractional offset", [](nifti_1_header& h) { h.vox_offset = 352.5f; }, full, "data offset"},
        {"nan offset", [](nifti_1_header& h) { h.vox_offset = NAN; }, full, "data offset"},
        {"float data", [](nifti_1_header& h) { h.datatype = DT_FLOAT32, h.bitpix = 32; }, 352 + 96, nullptr},
        {"float data short", [](nifti_1_header& h) { h.datatype = DT_FLOAT32, h.bitpix = 32; }, full, "truncated"},
        {"2-D", [](nifti_1_header& h) { h.dim[0] = 2; }, 352 + 24, nullptr},
        {"4-D", [](nifti_1_header& h) { h.dim[0] = 4, h.dim[4] = 3; }, 352 + 144, nullptr},
    };
    for (const Case& c : cases) {
        nifti_1_header h = Nifti1Header();
        c.mutate(h);
        NiftiHeaderInfo info;
        std::string error;
        EXPECT_EQ(Check(h, c.fileBytes, info, error), c.mentions == nullptr) << c.name << ": " << error;
        EXPECT_TRUE(c.mentions || info.dims[1] == 4) << c.name;
        EXPECT_NE(error.find(c.mentions ? c.mentions : ""), std::string::npos) << c.name << ": " << error;
    }
}

template <class T>
void Append(std::string& out, double value)
{
    const T stored = static_cast<T>(value);
    out.append(reinterpret_cast<const char*>(&stored), sizeof(T));
}

void AppendSample(SampleType type, double v, std::string& out)
{
    switch (type) {
    case SampleType::Int8: return Append<std::int8_t>(out, v);
    case SampleType::Uint8: return Append<std::uint8_t>(out, v);
    case SampleType::Int16: return Append<std::int16_t>(out, v);
    case SampleType::Uint16: return Append<std::uint16_t>(out, v);
    case SampleType::Int32: return Append<std::int32_t>(out, v);
    case SampleType::Uint32: return Append<std::uint32_t>(out, v);
    case SampleType::Int64: return Append<std::int64_t>(out, v);
    case SampleType::Uint64: return Append<std::uint64_t>(out, v);
    case SampleType::Float32: return Append<float>(out, v);
    case SampleType::Float64: return Append<double>(out, v);
    }
}

TEST(ZelgenImport, SamplesComeBackWithinHalfAStep)
{
    // Every sample type goes to signed 16-bit and back through the value
    // scale: exactly for whole numbers that fit 65536 steps, else within
    // half a step; NaN and infinities are stored as "no value".
    const double inf = HUGE_VAL;
    struct Case {
        SampleType type;
        std::vector<double> values;
        bool exact;
    };
    const Case cases[] = {
        {SampleType::Int8, {-128, 0, 127}, true},          {SampleType::Uint8, {0, 17, 255}, true},
        {SampleType::Int16, {-32768, -1, 32767}, true},    {SampleType::Uint16, {0, 1, 65535}, true},
        {SampleType::Uint16, {40000, 40001, 41000}, true}, {SampleType::Int32, {-70000, 0, 70000}, false},
        {SampleType::Int32, {1000000, 1065535}, true},     {SampleType::Uint32, {0, 4000000000.0}, false},
        {SampleType::Int64, {-5, 3, 9000000000.0}, false}, {SampleType::Float32, {0, 0.00012, 0.003, NAN}, false},
        {SampleType::Float32, {-2, 7, inf}, true},         {SampleType::Float64, {-1e300, 1e300}, false},
        {SampleType::Float64, {NAN, NAN}, true},
    };
    for (const Case& c : cases) {
        SampleLayout layout;
        layout.type = c.type;
        std::string bytes;
        SampleSurvey survey;
        survey.lo = HUGE_VAL;
        survey.hi = -HUGE_VAL;
        for (double v : c.values) {
            AppendSample(c.type, v, bytes);
            if (!std::isfinite(v)) {
                survey.nonFinite = true;
                continue;
            }
            survey.anyFinite = true;
            survey.lo = std::min(survey.lo, v);
            survey.hi = std::max(survey.hi, v);
            survey.integral = survey.integral && v == std::floor(v);
        }
        const SampleMapping mapping = ChooseMapping(c.type, survey);
        EXPECT_EQ(mapping.exact, c.exact) << SampleTypeName(c.type) << " " << c.values[0];
        std::vector<short> stored(c.values.size());
        ConvertSamples(reinterpret_cast<const unsigned char*>(bytes.data()), layout, c.values.size(), mapping,
                       stored.data());
        for (std::size_t n = 0; n < c.values.size(); ++n) {
            const double v = c.type == SampleType::Float32 ? static_cast<float>(c.values[n]) : c.values[n];
            if (!std::isfinite(v)) {
                EXPECT_EQ(stored[n], Volume::kNoValue);
                continue;
            }
            EXPECT_TRUE(!mapping.noValue || stored[n] != Volume::kNoValue) << v;
            const double back = stored[n] * mapping.step + mapping.offset;
            EXPECT_LE(std::fabs(back - v), c.exact ? 0.0 : 0.5 * mapping.step * (1 + 1e-9))
                << SampleTypeName(c.type) << " " << v;
        }
    }
}

double Distance(const Frame& a, const Frame& b)
{
    const Vec3 r = a.right - b.right, d = a.down - b.down;
    return std::sqrt(Dot(r, r) + Dot(d, d));
}

TEST(ZelgenOrientation, SolverFindsEveryGeneratorFrame)
{
    // Whatever frame the generator can make, the solver finds parameters
    // that make it again, with right angles kept exact; free angles agree to
    // the generator's single precision.
    for (int plane = 0; plane < 3; ++plane)
        for (double angle : {0.0, 0.3, 1.0, 2.5, -0.7})
            for (int rotation = angle == 0 ? 0 : 4; rotation < (angle == 0 ? 4 : 5); ++rotation)
                for (int flips = 0; flips < 4; ++flips) {
                    const Frame f = MprFrame(plane, rotation, angle, flips & 1, flips & 2);
                    const MprOrientation o = SolveMprOrientation(plane, f);
                    const double d = Distance(MprFrame(plane, o.rotation, o.angle, o.flipH, o.flipV), f);
                    // Right angles stay exact.
                    EXPECT_TRUE(angle != 0 || o.rotation < 4) << plane << " " << rotation << " " << flips;
                    EXPECT_LE(d, angle == 0 ? 0.0 : 1e-6) << plane << " " << angle << " " << flips;
                }
}

TEST(ZelgenPng, WritesWhatItIsGivenAndNothingElse)
{
    char dir[] = "/tmp/zelgen-png-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    for (int depth : {1, 3}) {
        ZelImageBuffer buffer;
        ASSERT_TRUE(buffer.CreateImage(5, 3, depth));  // rows padded to 8 or 16 bytes
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 5 * depth; ++x)
                buffer.GetDataPtr()[y * buffer.GetSizePerLine() + x] = static_cast<unsigned char>(17 * y + x);
        const std::string path = std::string(dir) + "/p.png";
        std::string error;
        ASSERT_TRUE(WritePng(path, buffer, error)) << error;
        png_image image;
        std::memset(&image, 0, sizeof(image));
        image.version = PNG_IMAGE_VERSION;
        ASSERT_TRUE(png_image_begin_read_from_file(&image, path.c_str()));
        EXPECT_TRUE(image.width == 5 && image.height == 3);
        image.format = depth == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_BGR;
        std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
        ASSERT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr));
        for (std::size_t i = 0; i < pixels.size(); ++i)
            EXPECT_EQ(pixels[i], 17 * (i / (5 * depth)) + i % (5 * depth)) << depth << " " << i;
        unlink(path.c_str());
    }
    EXPECT_EQ(rmdir(dir), 0);  // nothing left behind
}

// An empty 12-cube volume with the given transform columns (mm per index
// step), centred on the patient origin.
Volume VolumeWith(const double columns[3][3])
{
    Volume volume;
    TransformCandidate t;
    t.name = "test";
    t.present = true;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) t.m[r][c] = columns[r][c];
        t.m[r][3] = -5.5 * (columns[r][0] + columns[r][1] + columns[r][2]);
    }
    for (int& n : volume.size) n = 12;
    std::string error;
    EXPECT_TRUE(SetTransform(volume, {t}, nullptr, error)) << error;
    volume.image = std::make_unique<ZelImage<short>>();
    EXPECT_EQ(volume.image->Allocate(ZEL_ALIGNMENT_LINEAR, 12, 12, 12), 0);
    volume.image->SetImageScale({static_cast<float>(volume.spacing[0]), static_cast<float>(volume.spacing[1]),
                                 static_cast<float>(volume.spacing[2])});
    return volume;
}

// The letters at the left, right, top and bottom of the picture the options
// give, found through the plane choice as the annotations find them.
std::string LettersOf(const Volume& volume, const std::string& args)
{
    RenderOptions options;
    bool help = false;
    std::string error;
    EXPECT_TRUE(Parse("--phantom -o x.png " + args, options, help, error)) << args << ": " << error;
    std::unique_ptr<PlaneChoice> planes = ChoosePlanes(volume, options.plane, 0, error);
    PixelPlane plane;
    if (!planes || !planes->Locate(volume.image.get(), 0, plane)) return "no plane: " + error;
    const EdgeLetters e = EdgeLettersOf(GeometryOf(volume, plane, planes->Width(), planes->Height()));
    return e.left + " " + e.right + " " + e.top + " " + e.bottom;
}

TEST(ZelgenAnnotate, EdgeLettersNameWhereThePatientIs)
{
    // However the file is stored (LPS with thick slices, RAS, sagittal
    // slices stored PIL), a view shows the same letters.
    const double storages[3][3][3] = {{{-0.8, 0, 0}, {0, -0.8, 0}, {0, 0, 2}},
                                      {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
                                      {{0, 0, -1}, {-1, 0, 0}, {0, -1, 0}}};
    const char* views[][2] = {
        {"", "R L A P"},
        {"--plane coronal", "R L S I"},
        {"--plane sagittal", "A P S I"},
        {"--rotate 90", "P A R L"},
        {"--plane coronal --flip-h", "L R S I"},
        {"--plane sagittal --rotate 180 --flip-v", "P A S I"},
        {"--rotate 30", "RP LA AR PL"},
        {"--tilt 30", "R L AI PS"},
        {"--normal 1,1,0", "RP LA S I"},
        {"--plane coronal --world", "R L S I"},
    };
    for (const auto& storage : storages) {
        const Volume volume = VolumeWith(storage);
        for (const auto& view : views) EXPECT_EQ(LettersOf(volume, view[0]), view[1]) << view[0];
    }
    // An acquisition tilted 30 degrees about x: its voxel planes lean, the
    // world planes do not.
    const double c = std::cos(0.5236), s = std::sin(0.5236);
    const double tilted[3][3] = {{1, 0, 0}, {0, c, -s}, {0, s, c}};
    const Volume volume = VolumeWith(tilted);
    EXPECT_EQ(LettersOf(volume, ""), "R L AS PI");
    EXPECT_EQ(LettersOf(volume, "--world"), "R L A P");
}

TEST(ZelgenAnnotate, DirectionsPositionsAndScaleBars)
{
    // Two letters from some 15 degrees off an axis; a tie goes to x, then y.
    const std::pair<Vec3, const char*> directions[] = {
        {{{0, 0.2, -0.97}}, "I"}, {{{0.6, -0.8, 0}}, "PR"}, {{{-0.5, 0.5, 0.7}}, "SL"}, {{{0, 0, 0}}, ""}};
    for (const auto& d : directions) EXPECT_EQ(DirectionLetters(d.first), d.second) << d.second;

    // The position is signed along the axis whatever way the picture faces.
    const double r = std::sqrt(0.5);
    const std::pair<PictureGeometry, const char*> positions[] = {
        {{{{-1, 0, 0}}, {{0, -1, 0}}, {{5, 6, -12.5}}}, "z -12.5 mm"},
        {{{{-1, 0, 0}}, {{0, 1, 0}}, {{5, 6, -12.5}}}, "z -12.5 mm"},
        {{{{0, 0, 1}}, {{0, 1, 0}}, {{-0.04, 6, 0}}}, "x 0.0 mm"},
        {{{{r, -r, 0}}, {{0, 0, -1}}, {{2, 1, 7}}}, "2.1 mm along normal"},
    };
    for (const auto& p : positions) EXPECT_EQ(PositionText(p.first), p.second);

    // Round lengths (1, 2 or 5 times a power of ten mm) between a tenth and
    // a quarter of the width, in whole pixels, whatever the spacing.
    for (double mmPerPixel = 0.013; mmPerPixel < 40; mmPerPixel *= 1.37) {
        const ScaleBar bar = ChooseScaleBar(mmPerPixel, 300);
        const double leading = bar.mm / std::pow(10.0, std::floor(std::log10(bar.mm) + 1e-9));
        EXPECT_TRUE(std::fabs(leading - 1) < 1e-9 || std::fabs(leading - 2) < 1e-9 || std::fabs(leading - 5) < 1e-9)
            << bar.mm;
        EXPECT_TRUE(bar.pixels >= 30 && bar.pixels <= 75) << mmPerPixel;
        EXPECT_LE(std::fabs(bar.pixels - bar.mm / mmPerPixel), 0.5) << mmPerPixel;
    }
}

TEST(ZelgenText, WidenDecodesUtf8)
{
    // Overlong forms, surrogates, stray and cut-short bytes are not characters.
    const std::pair<std::string, std::wstring> cases[] = {
        {"S\xc3\xa9rif \xe2\x82\xac\xf0\x9f\x98\x80", L"S\u00e9rif \u20ac\U0001F600"},
        {"\xff\xc0\xaf", L"\ufffd\ufffd\ufffd"},
        {"\xed\xa0\x80\xe2\x82", L"\ufffd\ufffd\ufffd\ufffd\ufffd"},
    };
    for (const auto& c : cases) EXPECT_TRUE(Widen(c.first) == c.second) << c.first;
}

}  // namespace
