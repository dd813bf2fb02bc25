// End-to-end runs of the zelgen program on small volumes written here:
// NIfTI-1 and NIfTI-2 (plain and gzip), raw files, bad input, orientation,
// series, layouts and golden pictures of the phantom.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "nifti1.h"
#include "nifti2.h"

namespace fs = std::filesystem;

namespace {

struct Result {
    int status = -1;
    std::string out, err;
};

std::string ReadText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteBytes(const std::string& path, const std::string& bytes, bool gzip)
{
    if (gzip) {
        gzFile gz = gzopen(path.c_str(), "wb");
        gzwrite(gz, bytes.data(), static_cast<unsigned>(bytes.size()));
        gzclose(gz);
    } else {
        std::ofstream(path, std::ios::binary) << bytes;
    }
}

// Pixels of a PNG with a hash over size, channels and bytes.
struct Picture {
    int width = 0, height = 0, channels = 0;
    std::vector<unsigned char> pixels;
    std::uint64_t Hash() const
    {
        std::uint64_t h = 1469598103934665603ull;
        auto mix = [&h](unsigned char b) { h = (h ^ b) * 1099511628211ull; };
        for (int v : {width, height, channels})
            for (int k = 0; k < 4; ++k) mix(static_cast<unsigned char>(v >> (8 * k)));
        for (unsigned char b : pixels) mix(b);
        return h;
    }
    int At(int x, int y) const { return pixels[static_cast<std::size_t>((y * width + x) * channels)]; }
};

bool ReadPng(const std::string& path, Picture& picture)
{
    png_image image;
    std::memset(&image, 0, sizeof(image));
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
    const bool grey = (image.format & PNG_FORMAT_FLAG_COLOR) == 0;
    image.format = grey ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
    picture.width = static_cast<int>(image.width);
    picture.height = static_cast<int>(image.height);
    picture.channels = grey ? 1 : 3;
    picture.pixels.resize(PNG_IMAGE_SIZE(image));
    return png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr) != 0;
}

class Zelgen : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/zelgen-cli-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_dir = pattern;
    }
    void TearDown() override { fs::remove_all(m_dir); }

    std::string Path(const std::string& name) const { return m_dir + "/" + name; }

    Result Run(const std::string& args) const
    {
        const std::string out = Path(".stdout"), err = Path(".stderr");
        const int raw =
            std::system(("cd '" + m_dir + "' && '" ZELGEN_PATH "' " + args + " >" + out + " 2>" + err).c_str());
        Result r{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, ReadText(out), ReadText(err)};
        fs::remove(out);
        fs::remove(err);
        return r;
    }

    // `render args -o name`, which must succeed, and the picture it wrote.
    Picture Render(const std::string& args, const std::string& name = "out.png", Result* result = nullptr) const
    {
        const Result r = Run("render " + args + " -o " + name);
        Picture p;
        EXPECT_EQ(r.status, 0) << args << ": " << r.err;
        EXPECT_TRUE(ReadPng(Path(name), p)) << args;
        if (result) *result = r;
        return p;
    }

    std::vector<std::string> Files() const
    {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(m_dir)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string m_dir;
};

// A test volume: int values, index i fastest, and its ijk -> RAS transform
// with the patient origin at the volume's centre.
struct TestVolume {
    int n[3];
    std::vector<int> values;
    double m[3][4];
    int& At(int i, int j, int k) { return values[static_cast<std::size_t>((k * n[1] + j) * n[0] + i)]; }
};

TestVolume MakeVolume(int nx, int ny, int nz, const double m[3][3])
{
    TestVolume v{{nx, ny, nz}, std::vector<int>(static_cast<std::size_t>(nx * ny * nz), 0), {}};
    for (int r = 0; r < 3; ++r) {
        v.m[r][3] = 0;
        for (int c = 0; c < 3; ++c) {
            v.m[r][c] = m[r][c];
            v.m[r][3] -= m[r][c] * 0.5 * (v.n[c] - 1);
        }
    }
    return v;
}

template <class T>
void Append(std::string& out, double value)
{
    const T stored = static_cast<T>(value);
    out.append(reinterpret_cast<const char*>(&stored), sizeof(T));
}

// Voxel bytes of the volume in a NIfTI type, stored as value - intercept.
std::string Encode(const TestVolume& v, int datatype, double intercept = 0)
{
    std::string out;
    for (int value : v.values) {
        const double stored = value - intercept;
        switch (datatype) {
        case DT_UINT8: Append<std::uint8_t>(out, stored); break;
        case DT_INT16: Append<std::int16_t>(out, stored); break;
        case DT_UINT16: Append<std::uint16_t>(out, stored); break;
        case DT_INT32: Append<std::int32_t>(out, stored); break;
        case DT_FLOAT32: Append<float>(out, stored); break;
        default: Append<double>(out, stored); break;
        }
    }
    return out;
}

// A single-file NIfTI with an sform; both versions name their fields alike.
template <class Header>
std::string NiftiBytes(Header h, const TestVolume& v, int datatype, double intercept)
{
    const std::string data = Encode(v, datatype, intercept);
    h.dim[0] = 3;
    h.pixdim[0] = 1;
    for (int a = 0; a < 3; ++a) {
        h.dim[a + 1] = v.n[a];
        h.pixdim[a + 1] = std::hypot(v.m[0][a], v.m[1][a], v.m[2][a]);
    }
    h.datatype = datatype;
    h.bitpix = 8 * data.size() / v.values.size();
    h.vox_offset = sizeof(h) + 4;
    h.scl_slope = 1;
    h.scl_inter = intercept;
    h.sform_code = 1;
    for (int c = 0; c < 4; ++c) {
        h.srow_x[c] = v.m[0][c];
        h.srow_y[c] = v.m[1][c];
        h.srow_z[c] = v.m[2][c];
    }
    return std::string(reinterpret_cast<const char*>(&h), sizeof(h)) + std::string(4, '\0') + data;
}

void WriteNifti(const std::string& path, const TestVolume& v, int version, int datatype, double intercept = 0)
{
    nifti_1_header h1{};
    nifti_2_header h2{};
    h1.sizeof_hdr = 348;
    std::memcpy(h1.magic, "n+1", 4);
    h2.sizeof_hdr = 540;
    std::memcpy(h2.magic, "n+2\0\r\n\032\n", 8);
    WriteBytes(path, version == 1 ? NiftiBytes(h1, v, datatype, intercept) : NiftiBytes(h2, v, datatype, intercept),
               path.size() > 3 && path.substr(path.size() - 3) == ".gz");
}

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
    struct Case {
        std::string args;
        std::vector<const char*> mentions;  // on standard output or error
    };
    const Case cases[] = {
        {"--help", {"usage: zelgen"}},
        {"render --help", {"usage: zelgen", "radiological"}},
        {"info --help", {"usage: zelgen"}},
        {"demo --help", {"usage: zelgen"}},
        {"info v.nii.gz",
         {"NIfTI-2 (gzip)", "20 x 16 x 10 voxels", "uint16 (held as signed 16-bit", "0.8 x 0.8 x 2 mm",
          "value range:  -105 to 457", "LPS from sform"}},
        {"info --phantom", {"256 x 256 x 112"}},
        // CT-like values get a CT window; others the range of the values.
        {"render --phantom -o p.png", {"brain window 80/40"}},
        {"render v.nii.gz -o m.png", {"auto"}},
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
    std::string rgb = nii;
    rgb.replace(70, 4, "\x80\0\x18\0", 4);  // datatype rgb24 (128) and bitpix 24, little-endian
    WriteBytes(Path("rgb.nii"), rgb, false);
    WriteBytes(Path("text.nii"), std::string(400, 'x'), false);
    WriteBytes(Path("v.raw"), std::string(20 * 16 * 10 * 2, '\0'), false);
    fs::create_directory(Path("dir.nii"));

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
    };
    const std::vector<std::string> before = Files();
    for (const auto& c : cases) {
        const Result r = Run(c[0]);
        EXPECT_EQ(r.status, 2) << c[0] << "\n" << r.err;
        EXPECT_EQ(r.err.rfind("zelgen: error: ", 0), 0u) << c[0] << "\n" << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << c[0] << "\n" << r.err;
        EXPECT_NE(r.err.find(c[1]), std::string::npos) << c[0] << "\n" << r.err;
        EXPECT_EQ(Files(), before) << c[0];
    }
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
