// End-to-end runs of the zelgen program on small volumes written here:
// NIfTI-1 and NIfTI-2 (plain and gzip), raw files, bad input, orientation,
// series, layouts, curved reformations and golden pictures of the phantom.
#include "cli_support.h"

#include <set>

namespace {

using namespace zelgen_test;

// A 20x16x10 LPS volume with a gradient and a bright block, so that
// pictures differ when anything goes wrong.
TestVolume Pattern()
{
    const double lps[3][3] = {{-0.8, 0, 0}, {0, -0.8, 0}, {0, 0, 2.0}};
    TestVolume v = MakeVolume(20, 16, 10, lps);
    for (int z = 0; z < 10; ++z)
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 20; ++x) v.At(x, y, z) = 10 * x - 7 * y + 13 * z + (x > 12 && y < 5 ? 150 : 0);
    return v;
}

TEST_F(Zelgen, EveryFileFormatGivesTheSamePicture)
{
    // Within a group every file gives one picture; group 1 holds values that
    // 8-bit files can hold too. Whole values of any type are held exactly, so
    // no file needs a note.
    struct Case {
        const char* file;
        int version;  // 0: raw, in DICOM order as the sform of the others
        int datatype;
        double intercept;
        int group;
        bool note;
    };
    const Case cases[] = {
        {"a.nii", 1, DT_INT16, 0, 0, false},      {"b.nii.gz", 1, DT_INT16, 0, 0, false},
        {"c.nii", 2, DT_INT16, 0, 0, false},      {"d.nii.gz", 2, DT_INT16, 0, 0, false},
        {"e.nii", 1, DT_INT32, 0, 0, false},      {"f.nii", 1, DT_FLOAT32, 0, 0, false},
        {"g.nii.gz", 2, DT_FLOAT64, 0, 0, false}, {"h.nii", 1, DT_UINT16, -200, 0, false},
        {"v.raw", 0, DT_INT16, 0, 0, false},      {"s8.nii", 1, DT_UINT8, 0, 1, false},
        {"s16.nii", 1, DT_UINT16, 0, 1, false},   {"ss16.nii", 1, DT_INT16, 0, 1, false},
    };
    TestVolume volumes[2] = {Pattern(), Pattern()};
    for (int& value : volumes[1].values) value = (value + 105) / 3;
    std::uint64_t first[2] = {0, 0};
    for (const Case& c : cases) {
        std::string args = std::string(c.file) + " --plane coronal --window 400,100 --nearest --size 20";
        if (c.version == 0) {
            WriteBytes(Path(c.file), Encode(volumes[c.group], c.datatype), false);
            args += " --raw-size 20,16,10 --raw-type int16 --spacing 0.8,0.8,2";
        } else {
            WriteNifti(Path(c.file), volumes[c.group], c.version, c.datatype, c.intercept);
        }
        Result r;
        const Picture p = Render(args, "out.png", &r);
        EXPECT_EQ(p.width, 20) << c.file;
        EXPECT_EQ(p.height, 25) << c.file;  // 10 slices of 2 mm in pixels of 0.8 mm
        if (first[c.group] == 0) first[c.group] = p.Hash();
        EXPECT_EQ(p.Hash(), first[c.group]) << c.file;
        EXPECT_EQ(r.err.find("note:") != std::string::npos, c.note) << c.file << ": " << r.err;
    }
}

TEST_F(Zelgen, SuccessfulRunsSayWhatTheyDid)
{
    WriteNifti(Path("v.nii.gz"), Pattern(), 2, DT_UINT16, -200);
    const double coarse[3][3] = {{-4, 0, 0}, {0, 4, 0}, {0, 0, 8}};
    WriteNifti(Path("small.nii"), MakeVolume(17, 21, 3, coarse), 1, DT_INT16);
    struct Case {
        std::string args;
        std::vector<const char*> mentions;  // on standard output or error
    };
    const Case cases[] = {
        {"--help", {"usage: zelgen"}},
        {"render --help",
         {"usage: zelgen", "radiological", "--raw-size", "--raw-type", "--raw-offset", "--spacing", "--volume",
          "DICOM convention"}},
        {"--version", {"zelgen 0."}},
        {"info --help", {"usage: zelgen"}},
        {"demo --help", {"usage: zelgen"}},
        {"cpr --help", {"usage: zelgen cpr", "--path-units", "--uniform", "--mip"}},
        {"info v.nii.gz",
         {"NIfTI-2 (gzip)", "20 x 16 x 10 voxels", "uint16 (held as signed 16-bit", "0.8 x 0.8 x 2 mm",
          "value range:  -105 to 457", "LPS from sform"}},
        {"info --phantom", {"256 x 256 x 112", "world:        voxel 0,0,0 at"}},
        // CT-like values get a CT window; others the range of the values.
        {"render --phantom -o p.png", {"brain window 80/40"}},
        {"render v.nii.gz -o m.png", {"auto"}},
        // A 4 mm map is enlarged to a readable size.
        {"render small.nii -o s.png", {"(207x256,"}},
    };
    for (const Case& c : cases) {
        const Result r = Run(c.args);
        EXPECT_EQ(r.status, 0) << c.args << ": " << r.err;
        for (const char* expected : c.mentions)
            EXPECT_NE((r.out + r.err).find(expected), std::string::npos) << c.args << " -> " << r.out << r.err;
    }
}

// The picture's quadrant where a bright marker shows.
std::string Quadrant(const Picture& p)
{
    long sx = 0, sy = 0, n = 0;
    for (int y = 0; y < p.height; ++y)
        for (int x = 0; x < p.width; ++x)
            if (p.At(x, y) > 128) sx += x, sy += y, ++n;
    if (n == 0) return "none";
    return std::string(sy / n < p.height / 2 ? "top" : "bottom") + (sx / n < p.width / 2 ? "-left" : "-right");
}

TEST_F(Zelgen, PicturesAreRadiological)
{
    // A marker at the patient's left, front and top, in volumes stored in
    // three orders (LPS, RAS, a sagittal PIL); each view must show it where
    // a radiologist expects it.
    const double storages[3][3][3] = {
        {{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 0, -1}, {-1, 0, 0}, {0, -1, 0}}};
    struct View {
        const char* args;
        double through[3];  // oblique views: the patient point (mm) the plane passes
        const char* quadrant;
    };
    const View views[] = {
        {"--plane axial --position 3", {}, "top-right"},     // left on the right, anterior at the top
        {"--plane coronal --position 3", {}, "top-right"},   // left on the right, head at the top
        {"--plane sagittal --position -3", {}, "top-left"},  // anterior on the left, head at the top
        {"--plane axial --position 3 --flip-h", {}, "top-left"},
        {"--plane coronal --position 3 --rotate 90", {}, "bottom-right"},
        {"--plane coronal --position 3 --rotate 180", {}, "bottom-left"},
        {"--plane axial --tilt 0", {0, 0, 3}, "top-right"},
        {"--plane coronal --tilt 0", {0, 3, 0}, "top-right"},
        {"--plane sagittal --normal 1,0,0", {-3, 0, 0}, "top-left"},
    };
    for (int s = 0; s < 3; ++s) {
        TestVolume v = MakeVolume(12, 12, 12, storages[s]);
        for (int k = 0; k < 12; ++k)
            for (int j = 0; j < 12; ++j)
                for (int i = 0; i < 12; ++i) {
                    double p[3];  // RAS: left = -x, anterior = +y, superior = +z
                    for (int r = 0; r < 3; ++r) p[r] = v.m[r][0] * i + v.m[r][1] * j + v.m[r][2] * k + v.m[r][3];
                    v.At(i, j, k) = (p[0] < -1 && p[1] > 1 && p[2] > 1) ? 1000 : 0;
                }
        WriteNifti(Path("m.nii"), v, 1, DT_INT16);
        for (const View& view : views) {
            std::string args = view.args;
            if (!std::strstr(view.args, "--position")) {
                // A signed permutation: its inverse is its transpose.
                double index[3] = {0, 0, 0};
                for (int c = 0; c < 3; ++c)
                    for (int r = 0; r < 3; ++r) index[c] += v.m[r][c] * (view.through[r] - v.m[r][3]);
                char centre[96];
                std::snprintf(centre, sizeof(centre), " --center %g,%g,%g", index[0], index[1], index[2]);
                args += centre;
            }
            const Picture p = Render("m.nii " + args + " --window 100,500 --nearest");
            EXPECT_EQ(Quadrant(p), view.quadrant) << "storage " << s << ": " << args;
        }
    }
}

TEST_F(Zelgen, BadInputEndsWithOneMessageAndNoPicture)
{
    const double identity[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    // Rows longer than a slice walk can address.
    WriteNifti(Path("wide.nii"), MakeVolume(70000, 1, 1, identity), 2, DT_UINT8);
    WriteNifti(Path("good.nii"), Pattern(), 1, DT_INT16);
    WriteNifti(Path("good2.nii"), Pattern(), 2, DT_INT16);
    const std::string nii = ReadText(Path("good.nii")), nii2 = ReadText(Path("good2.nii"));
    WriteBytes(Path("good2.nii.gz"), nii2, true);
    const std::string gz = ReadText(Path("good2.nii.gz"));
    WriteBytes(Path("short-header.nii"), nii2.substr(0, 400), false);  // a whole NIfTI-1 header, not a NIfTI-2 one
    WriteBytes(Path("short-data.nii"), nii.substr(0, nii.size() - 10), false);
    WriteBytes(Path("short-data.nii.gz"), nii.substr(0, nii.size() - 10), true);
    WriteBytes(Path("cut.nii.gz"), gz.substr(0, gz.size() / 2), false);
    std::string garbage = gz;
    for (std::size_t i = 40; i < garbage.size() - 8; i += 7) garbage[i] ^= 0x5a;
    WriteBytes(Path("garbage.nii.gz"), garbage, false);
    // Stored (uncompressed) deflate blocks: a changed byte decodes without
    // complaint, and only the CRC at the end of the stream tells.
    WriteBytes(Path("stored.nii.gz"), nii, true, "wb0");
    std::string damaged = ReadText(Path("stored.nii.gz"));
    damaged[damaged.size() / 2] ^= 0x10;
    WriteBytes(Path("damaged.nii.gz"), damaged, false);
    WriteBytes(Path("trailing.nii.gz"), ReadText(Path("stored.nii.gz")) + "junk", false);
    fs::remove(Path("stored.nii.gz"));
    WriteBytes(Path("cifti.nii"), Patched<std::int16_t>(nii, 68, {3001}), false);
    WriteBytes(Path("quaternion.nii"), Patched<float>(Patched<std::int16_t>(nii, 252, {1}), 256, {0.9f, 0.9f, 0.9f}),
               false);
    WriteBytes(Path("nopixdim.nii"), Patched<float>(Patched<std::int16_t>(nii, 254, {0}), 80, {0, 1, 1}), false);
    WriteBytes(Path("flat.nii"), Patched<float>(nii, 312, {0, 0, 0.001f}), false);
    std::string rgb = nii;
    rgb.replace(70, 4, "\x80\0\x18\0", 4);  // datatype rgb24 (128) and bitpix 24, little-endian
    WriteBytes(Path("rgb.nii"), rgb, false);
    WriteBytes(Path("text.nii"), std::string(400, 'x'), false);
    WriteBytes(Path("v.raw"), std::string(20 * 16 * 10 * 2, '\0'), false);
    fs::create_directory(Path("dir.nii"));
    WriteBytes(Path("bad.txt"), "1 2 3\n4 five 6\n", false);
    WriteBytes(Path("one.txt"), "# a single point\n3 4 5\n", false);
    WriteBytes(Path("same.txt"), "3 4 5\n3 4 5\n", false);
    WriteBytes(Path("outside.txt"), "3 4 5\n3 4 10\n", false);
    WriteBytes(Path("along.txt"), "128 128 20\n128 128 90\n", false);

    // Each run starts in the test directory.
    const char* cases[][2] = {
        // Files
        {"render missing.nii -o x.png", "missing.nii"},
        {"render dir.nii -o x.png", "directory"},
        {"render short-header.nii -o x.png", "truncated NIfTI header"},
        {"render short-data.nii -o x.png", "truncated"},
        {"render short-data.nii.gz -o x.png", "truncated"},
        {"render cut.nii.gz -o x.png", "compressed"},
        {"render garbage.nii.gz -o x.png", "garbage.nii.gz"},
        {"render rgb.nii -o x.png", "unsupported voxel type rgb24"},
        {"render text.nii -o x.png", "not a NIfTI"},
        {"info short-data.nii", "truncated"},
        {"render wide.nii -o x.png", "too large"},
        {"render v.raw --raw-size 20,16,11 --raw-type int16 -o x.png", "need 7040"},
        {"render v.raw --raw-size 20,16,10 --raw-type uint8 -o x.png", "holds 6400 bytes"},
        {"render good.nii --window brain -o no/such/dir/x.png", "cannot write"},
        // What the volume cannot give
        {"render good.nii --slice 10 -o x.png", "slice 10 is outside the volume"},
        {"render good.nii --slice -1 -o x.png", "outside the volume"},
        {"render good.nii --plane sagittal --slice 20 -o x.png", "sagittal slices 0 to 19"},
        {"render good.nii --position 500 -o x.png", "position 500 mm is outside"},
        {"render good.nii --slices 0:12 -o x.png", "goes beyond"},
        // Arguments
        {"frobnicate", "unknown command"},
        {"demo", "output directory"},
        {"render --phantom", "-o"},
        {"render -o x.png", "no input"},
        {"render --phantom good.nii -o x.png", "not both"},
        {"render --phantom -o x.png --zoom abc", "--zoom needs a number"},
        {"render --phantom -o x.png --zoom 0", "out of range"},
        {"render --phantom -o x.png --zoom 1e999", "--zoom"},
        {"render --phantom -o x.png --zoom 2x", "--zoom"},
        {"render --phantom -o x.png --slice 1.5", "--slice"},
        {"render --phantom -o x.png --plane oblique", "--plane"},
        {"render --phantom -o x.png --window 80", "--window"},
        {"render --phantom -o x.png --window 0,40", "above 0"},
        {"render --phantom -o x.png --window brian", "brain"},
        {"render --phantom -o x.png --center 1,2", "3 comma-separated"},
        {"render --phantom -o x.png --normal 0,0,0", "zero"},
        {"render --phantom -o x.png --slices 5:3", "before the first"},
        {"render --phantom -o x.png --slices 1:3:0", "step"},
        {"render --phantom -o x.png --slice 3 --position 4", "not both"},
        {"render --phantom -o x.png --tilt 10 --slice 3", "oblique"},
        {"render --phantom -o x.png --tilt 10 --normal 0,0,1", "one of"},
        {"render --phantom -o x.png --bogus", "unknown option"},
        {"render --phantom -o x.png --zoom", "needs a value"},
        {"render --phantom -o x.png --flip-h=1", "takes no value"},
        {"render --phantom -o x.png --threshold 100 --window brain", "no --window"},
        {"render --phantom -o x.png --size 0", "out of range"},
        {"render --phantom -o x.png --size 100000", "out of range"},
        {"render v.raw -o x.png --raw-size 2,2,2", "--raw-type"},
        {"render v.raw -o x.png --raw-type int16", "--raw-size"},
        {"render v.raw -o x.png --raw-size 2,2,0 --raw-type int16", "out of range"},
        {"render v.raw -o x.png --raw-size 2,2,2.5 --raw-type int16", "whole numbers"},
        {"render v.raw -o x.png --raw-size 2,2,2 --raw-type float", "--raw-type"},
        {"render good.nii -o x.png --spacing 1,1,1", "raw volumes"},
        // Damaged downloads and headers that do not describe a volume
        {"render damaged.nii.gz -o x.png", "damaged compressed data"},
        {"info trailing.nii.gz", "after the end of the compressed stream"},
        {"render cifti.nii -o x.png", "not a volume"},
        {"render quaternion.nii -o x.png", "not a rotation"},
        {"render nopixdim.nii -o x.png", "not a positive number"},
        {"render flat.nii -o x.png", "too unequal"},
        {"render v.raw -o x.png", "--raw-size X,Y,Z and --raw-type"},
        {"render good.nii -o x.jpg", "ending in .png"},
        {"render good.nii --center 4,4,10 -o x.png", "outside the volume"},
        {"render good.nii --volume 1 -o x.png", "does not have"},
        {"render good.nii --mosaic 2x2 --slices 0:9 -o x.png", "more than"},
        // Curved reformations: the path file and what it asks for
        {"cpr good.nii --path missing.txt -o x.png", "missing.txt"},
        {"cpr good.nii --path bad.txt -o x.png", "bad.txt:2"},
        {"cpr good.nii --path one.txt -o x.png", "two distinct points"},
        {"cpr good.nii --path same.txt -o x.png", "two distinct points"},
        {"cpr good.nii --path outside.txt -o x.png", "outside.txt:2: point lies outside the volume"},
        {"cpr good.nii --path outside.txt --path-units mm -o x.png", "outside.txt:2: point lies outside"},
        {"cpr good.nii -o x.png", "--path"},
        {"cpr --phantom --path along.txt --mode stretch --direction 0,0,1 -o x.png", "no length"},
        {"cpr --phantom --mode stretch --uniform -o x.png", "--mode straight"},
        {"cpr --phantom --mode bend -o x.png", "--mode"},
        {"cpr --phantom --direction 0,0,0 -o x.png", "zero"},
        {"cpr --phantom --path-units inch -o x.png", "--path-units"},
        {"cpr --phantom -o x.jpg", "ending in .png"},
    };
    for (const auto& c : cases) ExpectRefused(c[0], c[1]);
}

TEST_F(Zelgen, SoundFilesInOddWrappingsGiveTheSamePicture)
{
    // However a sound volume is wrapped or described, the picture is that of
    // the plain file: geometry from the transform in use, compression from
    // the content, and a value scale of any size.
    WriteNifti(Path("plain.nii"), Pattern(), 1, DT_INT16);
    const std::string nii = ReadText(Path("plain.nii"));
    const std::string header = nii.substr(0, 348), data = nii.substr(352);
    struct Case {
        const char* file;
        std::string bytes;
        bool gzip;
        const char* info;  // what `info` must say
    };
    const Case cases[] = {
        {"gzip-named-plain.nii", nii, true, "NIfTI-1 (gzip)"},
        {"plain-named-gzip.nii.gz", nii, false, "from sform"},
        {"two-members.nii.gz", "", false, "(gzip)"},
        // pixdim says 2 mm squares; the sform's 0.8 mm holds.
        {"pixdim.nii", Patched<float>(nii, 80, {2, 2, 2}), false, "disagrees with the sform"},
        // An empty sform gives way to the same geometry as a qform: a
        // half turn about z, with the sform's origin.
        {"qform.nii",
         Patched<float>(Patched<float>(Patched<std::int16_t>(nii, 252, {1}), 256, {0, 0, 1}), 280,
                        {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
         false, "from qform"},
        {"tiny-slope.nii", Patched<float>(nii, 112, {1e-30f}), false, "stored value x 1e-30"},
        {"pair.hdr", Patched<float>(Patched<char>(header, 344, {'n', 'i', '1'}), 108, {0}), false, "pair (.hdr/.img)"},
    };
    WriteBytes(Path("pair.img"), data, false);
    const std::uint64_t expected = Render("plain.nii").Hash();
    for (const Case& c : cases) {
        if (std::string(c.file) == "two-members.nii.gz") {
            WriteBytes(Path("a.gz"), nii.substr(0, 3000), true);
            WriteBytes(Path("b.gz"), nii.substr(3000), true);
            WriteBytes(Path(c.file), ReadText(Path("a.gz")) + ReadText(Path("b.gz")), false);
        } else {
            WriteBytes(Path(c.file), c.bytes, c.gzip);
        }
        EXPECT_EQ(Render(c.file).Hash(), expected) << c.file;
        const Result info = Run(std::string("info ") + c.file);
        EXPECT_NE(info.out.find(c.info), std::string::npos) << c.file << ": " << info.out << info.err;
    }
}

TEST_F(Zelgen, EveryTypeIsInterpolatedAlike)
{
    // The same whole values in 8, 16 and 32 bits and in floats are held
    // alike, so zoomed, turned and oblique pictures are smooth for all.
    TestVolume v = Pattern();
    for (int& value : v.values) value = (value + 105) / 3;
    const int types[] = {DT_UINT8, DT_INT16, DT_UINT16, DT_INT32, DT_FLOAT32};
    for (const char* view : {"--zoom 3.3", "--plane sagittal --rotate 30", "--tilt 20,10"}) {
        std::uint64_t first = 0;
        for (int type : types) {
            WriteNifti(Path("t.nii"), v, 1, type);
            const std::uint64_t hash = Render(std::string("t.nii --window 150,80 ") + view).Hash();
            if (!first) first = hash;
            EXPECT_EQ(hash, first) << view << " type " << type;
        }
    }
}

TEST_F(Zelgen, FloatMapsInSmallUnits)
{
    // Values of a few thousandths with a NaN block: windows in the data's
    // units, NaN left out of the range and shown as background.
    TestVolume v = Pattern();
    WriteNifti(Path("f.nii"), v, 1, DT_FLOAT32);
    std::string bytes = ReadText(Path("f.nii"));
    const float nan = std::nanf("");
    for (std::size_t n = 0; n < v.values.size(); ++n) {
        const float value = n % 20 < 4 ? nan : static_cast<float>(v.values[n] * 1e-5);
        std::memcpy(&bytes[352 + 4 * n], &value, 4);
    }
    WriteBytes(Path("f.nii"), bytes, false);
    const Result info = Run("info f.nii");
    EXPECT_NE(info.out.find("value range:  -0.00065 to 0.00457"), std::string::npos) << info.out;

    Result r;
    const Picture window = Render("f.nii --window 0.003,0.0015 --nearest --size 20", "w.png", &r);
    EXPECT_NE(r.err.find("NaN"), std::string::npos) << r.err;
    std::set<int> greys;
    const Picture automatic = Render("f.nii --nearest --size 20", "a.png");
    for (int y = 0; y < automatic.height; ++y)
        for (int x = 0; x < automatic.width; ++x) {
            greys.insert(automatic.At(x, y));
            // The NaN columns (i < 4 runs to the patient's right: the picture's left) are background.
            EXPECT_TRUE(x >= 4 || window.At(x, y) == 0) << x << "," << y;
        }
    EXPECT_GT(greys.size(), 50u);
    EXPECT_EQ(Render("f.nii --window minmax").Hash(), Render("f.nii --window p0,p100").Hash());
}

TEST_F(Zelgen, WindowsFollowTheDicomConvention)
{
    // Width 256, centre 128 shows values 0..255 unchanged, and is what
    // minmax picks for data spanning 0..255.
    const double ras[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    TestVolume v = MakeVolume(16, 16, 3, ras);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) v.At(x, y, 1) = 16 * y + x;
    WriteNifti(Path("g.nii"), v, 1, DT_UINT8);
    const Picture p = Render("g.nii --window 256,128 --nearest");
    ASSERT_EQ(p.width, 256);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x)  // radiological: x runs right to left, y bottom to top
            EXPECT_EQ(p.At(255 - 16 * x - 8, 255 - 16 * y - 8), 16 * y + x) << x << "," << y;
    EXPECT_EQ(Render("g.nii --window minmax --nearest").Hash(), p.Hash());
}

TEST_F(Zelgen, CenterIsThePictureCentre)
{
    // The voxel named by --center is at the picture's centre on every plane.
    const double ras[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    TestVolume v = MakeVolume(12, 12, 12, ras);
    v.At(3, 4, 9) = 1000;
    WriteNifti(Path("m.nii"), v, 1, DT_INT16);
    for (const char* plane : {"axial", "coronal", "sagittal"}) {
        const Picture p =
            Render(std::string("m.nii --center 3,4,9 --zoom 3 --size 41 --nearest --window 100,50 --plane ") + plane);
        EXPECT_EQ(p.At(20, 20), 255) << plane;
    }
}

TEST_F(Zelgen, MosaicIsTheSeriesInAGrid)
{
    WriteNifti(Path("v.nii"), Pattern(), 1, DT_INT16);
    const std::string view = "v.nii --plane coronal --window 300,80 --size 20x25 ";
    const Picture mosaic = Render(view + "--slices 2:14:4 --mosaic 2x2", "mosaic.png");
    ASSERT_EQ(std::make_pair(mosaic.width, mosaic.height), std::make_pair(40, 50));
    for (int k = 0; k < 4; ++k) {
        const Picture slice = Render(view + "--slice " + std::to_string(2 + 4 * k));
        for (int y = 0; y < 25; ++y)
            for (int x = 0; x < 20; ++x)
                ASSERT_EQ(mosaic.At(20 * (k % 2) + x, 25 * (k / 2) + y), slice.At(x, y)) << k << " " << x << "," << y;
    }
    // Without --slices the cells take slices spread through the volume.
    Result r;
    Render(view + "--mosaic 4x1", "spread.png", &r);
    EXPECT_NE(r.err.find("coronal slice 2 to coronal slice 14"), std::string::npos) << r.err;
}

TEST_F(Zelgen, VolumesOfAFourDimensionalFile)
{
    TestVolume second = Pattern();
    for (int& value : second.values) value = 300 - value;
    WriteNifti(Path("second.nii"), second, 1, DT_INT16);
    WriteNifti(Path("first.nii"), Pattern(), 1, DT_INT16);
    const std::string first = ReadText(Path("first.nii"));
    std::string four = Patched<std::int16_t>(first, 40, {4, 20, 16, 10, 2});
    WriteBytes(Path("four.nii.gz"), four + ReadText(Path("second.nii")).substr(352), true);
    const std::string view = " --window 400,100 --plane sagittal";
    EXPECT_EQ(Render("four.nii.gz --volume 1" + view).Hash(), Render("second.nii" + view).Hash());
    EXPECT_EQ(Render("four.nii.gz" + view).Hash(), Render("first.nii" + view).Hash());
    EXPECT_NE(Run("info four.nii.gz").out.find("volumes:      2"), std::string::npos);
    EXPECT_NE(Run("render four.nii.gz --volume 2 -o x.png").err.find("holds 2"), std::string::npos);
}

TEST_F(Zelgen, WorldPlanesFollowThePatientAxes)
{
    // An acquisition tilted 30 degrees about x, holding a bright layer that
    // is level in the patient: the world axial plane through it is bright
    // wherever it meets the volume; the voxel plane cuts it in a band.
    const double c = std::cos(0.5236), s = std::sin(0.5236);
    const double tilted[3][3] = {{1, 0, 0}, {0, c, -s}, {0, s, c}};
    TestVolume v = MakeVolume(24, 24, 24, tilted);
    for (int k = 0; k < 24; ++k)
        for (int j = 0; j < 24; ++j)
            for (int i = 0; i < 24; ++i)
                v.At(i, j, k) = std::fabs(v.m[2][1] * j + v.m[2][2] * k + v.m[2][3]) < 2.5 ? 1000 : 0;
    WriteNifti(Path("tilted.nii"), v, 1, DT_INT16);
    EXPECT_NE(Run("info tilted.nii").out.find("30.0 deg off the patient axes"), std::string::npos);
    // Share of bright pixels in the middle of the picture (away from the
    // tilted volume's edges) or in all of it.
    auto brightShare = [](const Picture& p, int margin) {
        int bright = 0, all = 0;
        for (int y = p.height / margin; y < p.height - p.height / margin; ++y)
            for (int x = p.width / margin; x < p.width - p.width / margin; ++x) all++, bright += p.At(x, y) > 128;
        return static_cast<double>(bright) / all;
    };
    const std::string window = " --window 200,500 --background 0";
    EXPECT_EQ(brightShare(Render("tilted.nii --world --position 0" + window), 4), 1.0);
    EXPECT_LT(brightShare(Render("tilted.nii" + window), 1000), 0.5);
}

TEST_F(Zelgen, SeriesEqualsSinglePicturesAndLayoutsAgree)
{
    WriteNifti(Path("v.nii"), Pattern(), 1, DT_INT16);
    const std::string volume = "v.nii --window 300,80 ";
    const Result series = Run("render " + volume + "--plane sagittal --slices 2:17:5 --threads 2 -o s_%02d.png");
    ASSERT_EQ(series.status, 0) << series.err;
    for (int slice : {2, 7, 12, 17}) {
        char name[32];
        std::snprintf(name, sizeof(name), "s_%02d.png", slice);
        Picture a;
        ASSERT_TRUE(ReadPng(Path(name), a)) << name;
        for (const char* layout : {"linear", "tiled"})
            EXPECT_EQ(
                Render(volume + "--plane sagittal --slice " + std::to_string(slice) + " --layout " + layout).Hash(),
                a.Hash())
                << name << " " << layout;
    }
    EXPECT_FALSE(fs::exists(Path("s_03.png")));
    // Oblique and slab pictures read tiled volumes the same.
    for (const char* view : {"--tilt 20,10", "--normal 1,1,3 --slab 4 --mip", "--plane coronal --slab 6 --mode min"})
        EXPECT_EQ(Render(volume + view + " --layout linear").Hash(), Render(volume + view + " --layout tiled").Hash())
            << view;
}

TEST_F(Zelgen, GoldenPhantomPictures)
{
    // Pixel hashes of a few phantom pictures; ZELGEN_UPDATE_GOLDEN=1 rewrites them.
    const std::string golden = std::string(ZELGEN_GOLDEN_DIR) + "/zelgen_phantom.txt";
    const bool update = std::getenv("ZELGEN_UPDATE_GOLDEN") != nullptr;
    const char* views[] = {
        "--window brain --nearest",
        "--plane coronal --window bone --nearest",
        "--plane sagittal --window 400,40 --nearest --flip-h",
        "--slab 15 --mip --window angio --nearest --size 128",
        "--window brain --gamma 2.2 --nearest --rotate 90",
        "--window subdural --sigmoid --nearest --size 96x64",
        "--threshold 300 --nearest --plane coronal --size 100",
        "--window bone --palette viridis --nearest --size 96",
        "--window brain --nearest --phantom-labels --size 128",
        "--plane sagittal --window brain --phantom-labels --outline --phantom-pet --alpha 0.4 --size 128",
    };
    std::string table;
    for (const char* view : views) {
        char line[256];
        std::snprintf(line, sizeof(line), "%016llx %s\n",
                      static_cast<unsigned long long>(Render(std::string("--phantom ") + view).Hash()), view);
        table += line;
    }
    if (update) std::ofstream(golden) << table;
    EXPECT_EQ(table, ReadText(golden));
}

// A bright tube winding along z: a reformation along its centre shows it
// straight down the middle column, whether the path is given in voxels or in
// millimetres; the phantom's vessel reformations keep their pixels.
TEST_F(Zelgen, CprFollowsThePath)
{
    const double lps[3][3] = {{-0.9, 0, 0}, {0, -0.9, 0}, {0, 0, 1.2}};
    TestVolume v = MakeVolume(40, 36, 30, lps);
    auto centre = [](double z) { return 20 + 8 * std::sin(z / 5); };
    for (int z = 0; z < 30; ++z)
        for (int y = 0; y < 36; ++y)
            for (int x = 0; x < 40; ++x) v.At(x, y, z) = std::hypot(x - centre(z), y - 18.0) < 2.5 ? 1000 : 0;
    WriteNifti(Path("tube.nii"), v, 1, DT_INT16);
    std::string voxels, mm;
    for (double z = 2; z <= 27; z += 2.5) {
        const double p[3] = {centre(z), 18.0, z};
        char line[128];
        std::snprintf(line, sizeof(line), "%.9g %.9g %.9g\n", p[0], p[1], p[2]);
        voxels += line;
        double w[3];
        for (int r = 0; r < 3; ++r) w[r] = v.m[r][3] + v.m[r][0] * p[0] + v.m[r][1] * p[1] + v.m[r][2] * p[2];
        std::snprintf(line, sizeof(line), "%.9g, %.9g, %.9g  # mm\n", w[0], w[1], w[2]);
        mm += line;
    }
    WriteBytes(Path("tube.txt"), voxels, false);
    WriteBytes(Path("tube-mm.txt"), mm, false);
    auto cpr = [this](const std::string& args) {
        const Result r = Run("cpr " + args + " -o cpr.png");
        Picture p;
        EXPECT_EQ(r.status, 0) << args << ": " << r.err;
        EXPECT_TRUE(ReadPng(Path("cpr.png"), p)) << args;
        return p;
    };
    for (const char* mode : {"straight", "fixed", "stretch"}) {
        const Picture picture =
            cpr(std::string("tube.nii --path tube.txt --window 1000,500 --width 20 --mode ") + mode);
        // The points in mm come back as voxels to within rounding, which may
        // move a stretched row by a fifth of a pixel.
        const Picture fromMm =
            cpr(std::string("tube.nii --path tube-mm.txt --path-units mm --window 1000,500 --width 20 --mode ") + mode);
        ASSERT_EQ(fromMm.pixels.size(), picture.pixels.size()) << mode;
        double difference = 0;
        for (std::size_t i = 0; i < picture.pixels.size(); ++i)
            difference += std::abs(fromMm.pixels[i] - picture.pixels[i]);
        EXPECT_LT(difference / picture.pixels.size(), 0.1) << mode;
        if (std::string(mode) == "stretch") continue;  // the tube keeps its depth there
        for (int y = picture.height / 4; y < picture.height * 3 / 4; ++y)
            EXPECT_GT(picture.At((picture.width - 1) / 2, y), 200) << mode << " row " << y;
    }

    const std::string golden = std::string(ZELGEN_GOLDEN_DIR) + "/zelgen_cpr.txt";
    const bool update = std::getenv("ZELGEN_UPDATE_GOLDEN") != nullptr;
    const char* views[] = {
        "--window angio --nearest",
        "--mode stretch --slab 6 --mip --window angio --size 100",
        "--mode fixed --horizontal --rotate 30 --window brain --size 120x80",
        "--width 40 --slab 4 --minip --window brain --nearest",
    };
    std::string table;
    for (const char* view : views) {
        char line[256];
        std::snprintf(line, sizeof(line), "%016llx %s\n",
                      static_cast<unsigned long long>(cpr(std::string("--phantom ") + view).Hash()), view);
        table += line;
    }
    if (update) std::ofstream(golden) << table;
    EXPECT_EQ(table, ReadText(golden));
}

TEST_F(Zelgen, DemoWritesAGalleryAndSaysWhere)
{
    const Result r = Run("demo gallery");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string html = ReadText(Path("gallery/index.html"));
    EXPECT_NE(r.out.find("gallery/index.html"), std::string::npos) << r.out;
    std::size_t pictures = 0;
    for (std::size_t at = html.find("<img src=\""); at != std::string::npos; at = html.find("<img src=\"", at + 1)) {
        Picture p;
        EXPECT_TRUE(ReadPng(Path("gallery/" + html.substr(at + 10, html.find('"', at + 10) - at - 10)), p));
        ++pictures;
    }
    EXPECT_GE(pictures, 8u);
    Picture sheet;
    EXPECT_TRUE(ReadPng(Path("gallery/gallery.png"), sheet));
}

}  // namespace
