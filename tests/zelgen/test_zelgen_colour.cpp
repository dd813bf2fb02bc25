// End-to-end runs of zelgen's colour: palettes and colour tables, label
// overlays and fused scans on grids other than the volume's, and the
// refusals of what cannot be shown.
#include <map>
#include <set>

#include "cli_support.h"

namespace {

using namespace zelgen_test;

const double kRas1mm[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

// 16x16x3 RAS voxels whose middle slice holds the values 0..255 (16 y + x):
// with the window 256,128 each value is its own display level.
TestVolume Ramp()
{
    TestVolume v = MakeVolume(16, 16, 3, kRas1mm);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) v.At(x, y, 1) = 16 * y + x;
    return v;
}

// Where a value of Ramp shows in its 256x256 picture (radiological: x runs
// right to left and y bottom to top).
long ColourOf(const Picture& p, int value)
{
    return p.Rgb(255 - 16 * (value % 16) - 8, 255 - 16 * (value / 16) - 8);
}

bool Grey(long rgb)
{
    return (rgb >> 16) == (rgb & 255) && ((rgb >> 8) & 255) == (rgb & 255);
}

TEST_F(Zelgen, PalettesAndColourTablesGiveTheirColours)
{
    // The same values held as they are and with a stored offset: colour
    // tables are keyed by the real value.
    WriteNifti(Path("ramp.nii"), Ramp(), 1, DT_UINT8);
    WriteNifti(Path("shifted.nii"), Ramp(), 1, DT_UINT16, -200);
    WriteBytes(Path("t.txt"), "# value  red green blue opacity\n10 1 0 0\n20..30  0 0 1 0.5  # half blue\n25 0 1 0 1\n",
               false);
    struct Case {
        const char* args;
        int value;
        long rgb;
    };
    const Case cases[] = {
        {"--palette hot", 0, 0x000000},
        {"--palette hot", 85, 0xff0000},
        {"--palette hot", 170, 0xffff00},
        {"--palette hot", 255, 0xffffff},
        {"--palette cool", 0, 0x00ffff},
        {"--palette cool", 255, 0xff00ff},
        {"--palette jet", 0, 0x000080},
        {"--palette rainbow", 255, 0x800000},
        {"--palette viridis", 0, 0x440154},
        {"--palette viridis", 128, 0x21918c},
        {"--palette viridis", 255, 0xfde725},
        {"--palette gray", 77, 0x4d4d4d},
        {"--palette hot --invert", 0, 0xffffff},
        // Over the grey level g with opacity 0.5: blue 127.5 + g / 2, the others g / 2.
        {"--colour-table t.txt", 10, 0xff0000},
        {"--colour-table t.txt", 20, 0x0a0a89},
        {"--colour-table t.txt", 25, 0x00ff00},  // the last line that names a value wins
        {"--colour-table t.txt", 30, 0x0f0f8e},
        {"--colour-table t.txt", 40, 0x282828},
    };
    for (const char* file : {"ramp.nii", "shifted.nii"}) {
        std::map<std::string, Picture> pictures;
        for (const Case& c : cases) {
            if (!pictures.count(c.args))
                pictures[c.args] = Render(std::string(file) + " --window 256,128 --nearest " + c.args);
            EXPECT_EQ(ColourOf(pictures[c.args], c.value), c.rgb) << file << " " << c.args << " value " << c.value;
        }
    }
    // Two levels take the palette's two ends.
    const Picture threshold = Render("ramp.nii --threshold 100 --nearest --palette hot");
    EXPECT_EQ(ColourOf(threshold, 99), 0x000000);
    EXPECT_EQ(ColourOf(threshold, 100), 0xffffff);
}

// A label grid of the geometry tests: voxel axes (columns, mm), size, and
// where its centre lies in the patient.
struct LabelGrid {
    const char* name;
    double axes[3][3];
    int n[3];
    double centre[3];
    int datatype;
    int labels[2];
};

bool InBox(const double p[3], const double lo[3], const double hi[3])
{
    return p[0] > lo[0] && p[0] < hi[0] && p[1] > lo[1] && p[1] < hi[1] && p[2] > lo[2] && p[2] < hi[2];
}

const double kBoxA[2][3] = {{3, -9, -3}, {11, -1, 5}}, kBoxB[2][3] = {{-12, 2, -3}, {-4, 10, 5}};

TEST_F(Zelgen, OverlayLabelsLandOnTheirPatientPoints)
{
    // Two label boxes at known patient coordinates, in label volumes whose
    // grids differ from the scan's in spacing, origin, axis order and
    // direction, over a scan that holds the first box too. On the axial
    // plane z = 0 of the scan, pixel (x, y) lies at the patient point
    // (15.5 - x, 15.5 - y, 0), and must show the label of the label voxel
    // nearest to that point, nothing else.
    TestVolume scan = MakeVolume(32, 32, 21, kRas1mm);
    for (int k = 0; k < 21; ++k)
        for (int j = 0; j < 32; ++j)
            for (int i = 0; i < 32; ++i) {
                const double p[3] = {i - 15.5, j - 15.5, k - 10.0};
                scan.At(i, j, k) = InBox(p, kBoxA[0], kBoxA[1]) ? 1000 : 0;
            }
    WriteNifti(Path("scan.nii"), scan, 1, DT_INT16);
    const double c = std::cos(0.5236), s = std::sin(0.5236);
    const LabelGrid grids[] = {
        {"2 mm LPS, shifted", {{-2, 0, 0}, {0, -2, 0}, {0, 0, 2}}, {17, 19, 9}, {1, -1, 0.5}, DT_UINT8, {7, 200}},
        {"1.5 mm PIL", {{0, 0, -1.5}, {-1.5, 0, 0}, {0, -1.5, 0}}, {15, 20, 22}, {0.2, 0, 0.4}, DT_INT16, {3, 1000}},
        {"1.7 mm, turned 30 deg",
         {{1.7 * c, -1.7 * s, 0}, {1.7 * s, 1.7 * c, 0}, {0, 0, 1.7}},
         {20, 20, 12},
         {0.3, 0.2, 0.3},
         DT_UINT16,
         {5, 40000}},
    };
    for (const LabelGrid& g : grids) {
        TestVolume labels = MakeVolume(g.n[0], g.n[1], g.n[2], g.axes);
        for (int r = 0; r < 3; ++r) labels.m[r][3] += g.centre[r];
        for (int k = 0; k < g.n[2]; ++k)
            for (int j = 0; j < g.n[1]; ++j)
                for (int i = 0; i < g.n[0]; ++i) {
                    double p[3];
                    for (int r = 0; r < 3; ++r)
                        p[r] = labels.m[r][0] * i + labels.m[r][1] * j + labels.m[r][2] * k + labels.m[r][3];
                    labels.At(i, j, k) = InBox(p, kBoxA[0], kBoxA[1])   ? g.labels[0]
                                         : InBox(p, kBoxB[0], kBoxB[1]) ? g.labels[1]
                                                                        : 0;
                }
        WriteNifti(Path("labels.nii"), labels, 1, g.datatype);
        const Picture p = Render(
            "scan.nii --position 0 --nearest --window 2000,500 --size 32 --overlay labels.nii --overlay-opacity 1");
        ASSERT_EQ(p.width, 32) << g.name;
        std::map<int, std::set<long>> colours;  // by expected label
        std::map<int, int> counts;
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 32; ++x) {
                const double point[3] = {15.5 - x, 15.5 - y, 0};
                // The label voxel nearest to the point (the axes are
                // orthogonal: the inverse is the transpose over squared lengths).
                int nearest[3];
                bool ambiguous = false, inside = true;
                for (int a = 0; a < 3; ++a) {
                    double v = 0, length2 = 0;
                    for (int r = 0; r < 3; ++r) {
                        v += g.axes[r][a] * (point[r] - labels.m[r][3]);
                        length2 += g.axes[r][a] * g.axes[r][a];
                    }
                    v /= length2;
                    ambiguous = ambiguous || std::fabs(v - std::floor(v) - 0.5) < 1e-3;
                    nearest[a] = static_cast<int>(std::floor(v + 0.5));
                    inside = inside && nearest[a] >= 0 && nearest[a] < g.n[a];
                }
                if (ambiguous) continue;
                const int expected = inside ? labels.At(nearest[0], nearest[1], nearest[2]) : 0;
                const long rgb = p.Rgb(x, y);
                // Unlabelled pixels show the scan: its box bright, the rest dark.
                if (expected == 0)
                    EXPECT_EQ(rgb, InBox(point, kBoxA[0], kBoxA[1]) ? 0xbfbfbf : 0x3f3f3f)
                        << g.name << " " << x << "," << y;
                else
                    EXPECT_FALSE(Grey(rgb)) << g.name << " " << x << "," << y;
                colours[expected].insert(rgb);
                ++counts[expected];
            }
        // One colour per label, a different one for each.
        EXPECT_EQ(colours[g.labels[0]].size(), 1u) << g.name;
        EXPECT_EQ(colours[g.labels[1]].size(), 1u) << g.name;
        EXPECT_NE(*colours[g.labels[0]].begin(), *colours[g.labels[1]].begin()) << g.name;
        EXPECT_GT(counts[g.labels[0]], 20) << g.name;
        EXPECT_GT(counts[g.labels[1]], 20) << g.name;

        // However the plane cuts the labels, each pixel shows one label or
        // none, never a blend: an even scan under labels at full opacity
        // shows three colours at most.
        WriteNifti(Path("even.nii"), MakeVolume(32, 32, 21, kRas1mm), 1, DT_INT16);
        const Picture oblique = Render(
            "even.nii --tilt 25,15 --zoom 2.7 --size 60 --window 2000,500 --overlay labels.nii --overlay-opacity 1");
        std::set<long> seen;
        for (int y = 0; y < oblique.height; ++y)
            for (int x = 0; x < oblique.width; ++x) seen.insert(oblique.Rgb(x, y));
        EXPECT_EQ(seen.size(), 3u) << g.name;
    }
}

TEST_F(Zelgen, FusionOnTheSamePlane)
{
    // A scan fused with itself at full opacity in its own window is the scan
    // in colour; a checkerboard alternates the picture and the fused scan.
    TestVolume v = MakeVolume(24, 20, 12, kRas1mm);
    for (int k = 0; k < 12; ++k)
        for (int j = 0; j < 20; ++j)
            for (int i = 0; i < 24; ++i) v.At(i, j, k) = 9 * i - 5 * j + 17 * k + (i > 14 && j < 6 ? 200 : 0);
    WriteNifti(Path("v.nii"), v, 1, DT_INT16);
    const double lps2[3][3] = {{-2, 0, 0}, {0, -2, 0}, {0, 0, 2.5}};
    TestVolume other = MakeVolume(14, 12, 8, lps2);
    for (std::size_t n = 0; n < other.values.size(); ++n) other.values[n] = static_cast<int>(n % 97) * 3;
    WriteNifti(Path("other.nii.gz"), other, 1, DT_INT16);
    for (const char* view : {"--plane coronal", "--plane sagittal --rotate 90 --flip-h", "--tilt 20,10"}) {
        const std::string common = std::string("v.nii --nearest --window 300,80 --size 48 ") + view;
        const Picture plain = Render(common + " --rgb", "plain.png");
        const Picture itself =
            Render(common + " --fuse v.nii --fuse-palette grey --fuse-window 300,80 --alpha 1", "itself.png");
        ASSERT_EQ(itself.pixels.size(), plain.pixels.size()) << view;
        int differ = 0;
        for (std::size_t n = 0; n < plain.pixels.size(); ++n) differ += plain.pixels[n] != itself.pixels[n];
        // Oblique positions pass through the patient and back in float.
        EXPECT_LE(differ, std::strstr(view, "tilt") ? 20 : 0) << view;

        const Picture fused = Render(common + " --fuse other.nii.gz --alpha 1", "fused.png");
        const Picture checker = Render(common + " --fuse other.nii.gz --checker 5", "checker.png");
        for (int y = 0; y < plain.height; ++y)
            for (int x = 0; x < plain.width; ++x)
                ASSERT_EQ(checker.Rgb(x, y), ((x / 5 + y / 5) % 2 ? fused : plain).Rgb(x, y))
                    << view << " " << x << "," << y;
    }
}

TEST_F(Zelgen, LayersThatCannotBeShownAreRefused)
{
    const TestVolume ramp = Ramp();
    WriteNifti(Path("ramp.nii"), ramp, 1, DT_UINT8);
    TestVolume far = Ramp();
    for (int r = 0; r < 3; ++r) far.m[r][3] += 500;
    WriteNifti(Path("far.nii"), far, 1, DT_UINT8);
    TestVolume fractions = Ramp();
    WriteNifti(Path("fractions.nii"), fractions, 1, DT_FLOAT32);
    std::string bytes = ReadText(Path("fractions.nii"));
    const float half = 0.5f;
    std::memcpy(&bytes[352 + 4 * 300], &half, 4);
    WriteBytes(Path("fractions.nii"), bytes, false);
    WriteBytes(Path("bad-line.txt"), "10 1 0 0\n20 red 0 0\n", false);
    WriteBytes(Path("bright.txt"), "10 1.5 0 0\n", false);
    WriteBytes(Path("empty.txt"), "# nothing\n\n", false);
    WriteBytes(Path("range.txt"), "30..20 1 0 0\n", false);
    const char* cases[][2] = {
        {"--overlay far.nii", "does not meet the volume"},
        {"--fuse far.nii", "does not meet the volume"},
        {"--overlay fractions.nii", "not all whole numbers"},
        {"--overlay missing.nii", "missing.nii"},
        {"--colour-table bad-line.txt", "line 2"},
        {"--colour-table bright.txt", "from 0 to 1"},
        {"--colour-table empty.txt", "holds no colours"},
        {"--colour-table range.txt", "LOW at most HIGH"},
        {"--colour-table none.txt", "cannot read"},
        {"--palette heat", "unknown palette 'heat'"},
        {"--fuse ramp.nii --fuse-palette x", "unknown palette 'x'"},
        {"--palette hot --colour-table bright.txt", "not both"},
        {"--colour-table empty.txt --sigmoid", "not --sigmoid"},
        {"--outline", "need --overlay"},
        {"--alpha 0.3", "need --fuse"},
        {"--fuse ramp.nii --alpha 1.5", "--alpha"},
        {"--fuse ramp.nii --checker 8 --alpha 0.3", "no --alpha"},
        {"--overlay ramp.nii --phantom-labels", "not both"},
    };
    for (const auto& c : cases) ExpectRefused(std::string("render ramp.nii -o x.png ") + c[0], c[1]);
}

}  // namespace
