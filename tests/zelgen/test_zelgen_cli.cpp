// End-to-end runs of the zelgen program on small volumes written here:
// NIfTI-1 and NIfTI-2 (plain and gzip), raw files, bad input, orientation,
// series, layouts and golden pictures of the phantom.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
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
    std::string out;
    std::string err;
};

std::string ReadText(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
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
        const std::string command = std::string("'") + ZELGEN_PATH + "' " + args + " >" + out + " 2>" + err;
        const int raw = std::system(command.c_str());
        Result r;
        r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        r.out = ReadText(out);
        r.err = ReadText(err);
        fs::remove(out);
        fs::remove(err);
        return r;
    }

    // Files in the test directory, hidden ones left out.
    std::vector<std::string> Files() const
    {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(m_dir)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string m_dir;
};

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

// A test volume: int values, index x fastest, and its patient transform.
struct TestVolume {
    int nx, ny, nz;
    std::vector<int> values;
    double m[3][4];  // ijk -> RAS
    float spacing[3];
    int& At(int x, int y, int z) { return values[static_cast<std::size_t>((z * ny + y) * nx + x)]; }
};

TestVolume MakeVolume(int nx, int ny, int nz, const double m[3][3])
{
    TestVolume v{nx, ny, nz, std::vector<int>(static_cast<std::size_t>(nx * ny * nz), 0), {}, {}};
    // The patient origin lies at the volume's centre.
    for (int r = 0; r < 3; ++r) {
        v.m[r][3] = 0;
        for (int c = 0; c < 3; ++c) {
            v.m[r][c] = m[r][c];
            v.m[r][3] -= m[r][c] * 0.5 * ((c == 0 ? nx : c == 1 ? ny : nz) - 1);
        }
    }
    for (int c = 0; c < 3; ++c)
        v.spacing[c] = static_cast<float>(std::sqrt(m[0][c] * m[0][c] + m[1][c] * m[1][c] + m[2][c] * m[2][c]));
    return v;
}

// Voxel bytes of the volume in a NIfTI type.
std::vector<unsigned char> Encode(const TestVolume& v, int datatype, double slope = 1, double intercept = 0)
{
    std::vector<unsigned char> out;
    for (int value : v.values) {
        const double stored = (value - intercept) / slope;
        unsigned char bytes[8];
        int size = 0;
        switch (datatype) {
        case DT_UINT8: bytes[0] = static_cast<unsigned char>(stored), size = 1; break;
        case DT_INT16: {
            const std::int16_t s = static_cast<std::int16_t>(stored);
            std::memcpy(bytes, &s, size = 2);
            break;
        }
        case DT_UINT16: {
            const std::uint16_t s = static_cast<std::uint16_t>(stored);
            std::memcpy(bytes, &s, size = 2);
            break;
        }
        case DT_INT32: {
            const std::int32_t s = static_cast<std::int32_t>(stored);
            std::memcpy(bytes, &s, size = 4);
            break;
        }
        case DT_FLOAT32: {
            const float s = static_cast<float>(stored);
            std::memcpy(bytes, &s, size = 4);
            break;
        }
        case DT_FLOAT64: std::memcpy(bytes, &stored, size = 8); break;
        default: break;
        }
        out.insert(out.end(), bytes, bytes + size);
    }
    return out;
}

void WriteBytes(const std::string& path, const std::vector<unsigned char>& bytes, bool gzip)
{
    if (gzip) {
        gzFile gz = gzopen(path.c_str(), "wb");
        gzwrite(gz, bytes.data(), static_cast<unsigned>(bytes.size()));
        gzclose(gz);
    } else {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
}

int Bits(int datatype)
{
    switch (datatype) {
    case DT_UINT8: return 8;
    case DT_INT16:
    case DT_UINT16: return 16;
    case DT_INT32:
    case DT_FLOAT32: return 32;
    default: return 64;
    }
}

// A single-file NIfTI of either version, with an sform.
void WriteNifti(const std::string& path, const TestVolume& v, int version, int datatype, double slope = 1,
                double intercept = 0)
{
    std::vector<unsigned char> file;
    const std::vector<unsigned char> data = Encode(v, datatype, slope, intercept);
    if (version == 1) {
        nifti_1_header h;
        std::memset(&h, 0, sizeof(h));
        h.sizeof_hdr = 348;
        h.dim[0] = 3, h.dim[1] = static_cast<short>(v.nx), h.dim[2] = static_cast<short>(v.ny),
        h.dim[3] = static_cast<short>(v.nz);
        h.datatype = static_cast<short>(datatype);
        h.bitpix = static_cast<short>(Bits(datatype));
        h.pixdim[0] = 1;
        for (int a = 0; a < 3; ++a) h.pixdim[a + 1] = v.spacing[a];
        h.vox_offset = 352;
        h.scl_slope = static_cast<float>(slope);
        h.scl_inter = static_cast<float>(intercept);
        h.sform_code = 1;
        for (int c = 0; c < 4; ++c) {
            h.srow_x[c] = static_cast<float>(v.m[0][c]);
            h.srow_y[c] = static_cast<float>(v.m[1][c]);
            h.srow_z[c] = static_cast<float>(v.m[2][c]);
        }
        std::memcpy(h.magic, "n+1", 4);
        file.resize(352, 0);
        std::memcpy(file.data(), &h, sizeof(h));
    } else {
        nifti_2_header h;
        std::memset(&h, 0, sizeof(h));
        h.sizeof_hdr = 540;
        std::memcpy(h.magic, "n+2\0\r\n\032\n", 8);
        h.dim[0] = 3, h.dim[1] = v.nx, h.dim[2] = v.ny, h.dim[3] = v.nz;
        h.datatype = static_cast<short>(datatype);
        h.bitpix = static_cast<short>(Bits(datatype));
        h.pixdim[0] = 1;
        for (int a = 0; a < 3; ++a) h.pixdim[a + 1] = v.spacing[a];
        h.vox_offset = 544;
        h.scl_slope = slope;
        h.scl_inter = intercept;
        h.sform_code = 1;
        for (int c = 0; c < 4; ++c) {
            h.srow_x[c] = v.m[0][c];
            h.srow_y[c] = v.m[1][c];
            h.srow_z[c] = v.m[2][c];
        }
        file.resize(544, 0);
        std::memcpy(file.data(), &h, sizeof(h));
    }
    file.insert(file.end(), data.begin(), data.end());
    WriteBytes(path, file, path.size() > 3 && path.substr(path.size() - 3) == ".gz");
}

const double kLps[3][3] = {{-0.8, 0, 0}, {0, -0.8, 0}, {0, 0, 2.0}};

// A small volume with a gradient and a bright block, so that pictures differ
// when anything goes wrong.
TestVolume Pattern()
{
    TestVolume v = MakeVolume(20, 16, 10, kLps);
    for (int z = 0; z < v.nz; ++z)
        for (int y = 0; y < v.ny; ++y)
            for (int x = 0; x < v.nx; ++x) v.At(x, y, z) = 10 * x - 7 * y + 13 * z + (x > 12 && y < 5 ? 150 : 0);
    return v;
}

TEST_F(Zelgen, EveryFileFormatGivesTheSamePicture)
{
    const TestVolume v = Pattern();
    const std::string view = " --plane coronal --window 400,100 --nearest -o ";
    struct Case {
        const char* file;
        int version;
        int datatype;
        double slope, intercept;
    };
    const Case cases[] = {
        {"a.nii", 1, DT_INT16, 1, 0},      {"b.nii.gz", 1, DT_INT16, 1, 0},  {"c.nii", 2, DT_INT16, 1, 0},
        {"d.nii.gz", 2, DT_INT16, 1, 0},   {"e.nii", 1, DT_INT32, 1, 0},     {"f.nii", 1, DT_FLOAT32, 1, 0},
        {"g.nii.gz", 2, DT_FLOAT64, 1, 0}, {"h.nii", 1, DT_UINT16, 1, -200},
    };
    std::uint64_t first = 0;
    for (const Case& c : cases) {
        WriteNifti(Path(c.file), v, c.version, c.datatype, c.slope, c.intercept);
        const Result r = Run("render " + Path(c.file) + view + Path("out.png"));
        ASSERT_EQ(r.status, 0) << c.file << ": " << r.err;
        Picture p;
        ASSERT_TRUE(ReadPng(Path("out.png"), p));
        EXPECT_EQ(p.width, 20);
        EXPECT_EQ(p.height, 25);  // 10 slices of 2 mm in pixels of 0.8 mm
        if (first == 0) first = p.Hash();
        EXPECT_EQ(p.Hash(), first) << c.file;
        const bool converted = c.datatype == DT_INT32 || c.datatype == DT_FLOAT32 || c.datatype == DT_FLOAT64;
        EXPECT_EQ(r.err.find("note:") != std::string::npos, converted) << c.file << ": " << r.err;
    }
    // 8-bit data: the same picture from unsigned 8-bit, unsigned 16-bit and
    // signed 16-bit files of values that all three can hold.
    TestVolume small = v;
    for (int& value : small.values) value = (value + 105) / 3;
    std::uint64_t small8 = 0;
    for (int type : {DT_UINT8, DT_UINT16, DT_INT16}) {
        WriteNifti(Path("s.nii"), small, 1, type);
        const Result r = Run("render " + Path("s.nii") + view + Path("s.png"));
        ASSERT_EQ(r.status, 0) << r.err;
        Picture p;
        ASSERT_TRUE(ReadPng(Path("s.png"), p));
        if (small8 == 0) small8 = p.Hash();
        EXPECT_EQ(p.Hash(), small8) << type;
    }
    // The same voxels as a raw file (taken in DICOM order, as the sform above).
    std::vector<unsigned char> raw = Encode(v, DT_INT16);
    WriteBytes(Path("v.raw"), raw, false);
    const Result r = Run("render " + Path("v.raw") + " --raw-size 20,16,10 --raw-type int16 --spacing 0.8,0.8,2" +
                         view + Path("raw.png"));
    ASSERT_EQ(r.status, 0) << r.err;
    Picture p;
    ASSERT_TRUE(ReadPng(Path("raw.png"), p));
    EXPECT_EQ(p.Hash(), first);
}

TEST_F(Zelgen, InfoDescribesTheVolume)
{
    TestVolume v = Pattern();
    WriteNifti(Path("v.nii.gz"), v, 2, DT_UINT16, 1, -200);
    const Result r = Run("info " + Path("v.nii.gz"));
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* expected : {"NIfTI-2 (gzip)", "20 x 16 x 10 voxels", "uint16 (held as signed 16-bit)",
                                 "0.8 x 0.8 x 2 mm", "value range:  -105 to 457", "LPS from sform"})
        EXPECT_NE(r.out.find(expected), std::string::npos) << expected << "\n" << r.out;
    const Result phantom = Run("info --phantom");
    EXPECT_NE(phantom.out.find("256 x 256 x 112"), std::string::npos) << phantom.out;
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
    // three different orders; each standard plane must show it where a
    // radiologist expects it.
    struct Storage {
        const char* name;
        double m[3][3];
    };
    const Storage storages[] = {
        {"LPS", {{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}},
        {"RAS", {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
        {"sagittal PIL", {{0, 0, -1}, {-1, 0, 0}, {0, -1, 0}}},
    };
    struct View {
        const char* args;
        const char* quadrant;
    };
    const View views[] = {
        {"--plane axial", "top-right"},    // left on the right, anterior at the top
        {"--plane coronal", "top-right"},  // left on the right, head at the top
        {"--plane sagittal", "top-left"},  // anterior on the left, head at the top
        {"--plane axial --flip-h", "top-left"},
        {"--plane coronal --rotate 90", "bottom-right"},
        {"--plane coronal --rotate 180", "bottom-left"},
        // The oblique generator agrees (through the patient point named).
        {"--plane axial --tilt 0 @0,0,3", "top-right"},
        {"--plane coronal --tilt 0 @0,3,0", "top-right"},
        {"--plane sagittal --normal 1,0,0 @-3,0,0", "top-left"},
    };
    for (const Storage& s : storages) {
        TestVolume v = MakeVolume(12, 12, 12, s.m);
        // Patient point (left = -x, anterior = +y, superior = +z) of each voxel.
        for (int k = 0; k < 12; ++k)
            for (int j = 0; j < 12; ++j)
                for (int i = 0; i < 12; ++i) {
                    double p[3];
                    for (int r = 0; r < 3; ++r)
                        p[r] = s.m[r][0] * (i - 5.5) + s.m[r][1] * (j - 5.5) + s.m[r][2] * (k - 5.5);
                    v.At(i, j, k) = (p[0] < -1 && p[1] > 1 && p[2] > 1) ? 1000 : 0;
                }
        WriteNifti(Path("m.nii"), v, 1, DT_INT16);
        for (const View& view : views) {
            // Cut through the marker: the slice nearest patient (-3, 3, 3)
            // mm, or an oblique plane through the point after '@'.
            std::string args = view.args;
            const std::size_t at = args.find('@');
            if (at == std::string::npos) {
                const char* axis = std::strstr(view.args, "sagittal") ? "-3" : "3";
                args += std::string(" --position ") + axis;
            } else {
                double p[3];
                ASSERT_EQ(std::sscanf(args.c_str() + at + 1, "%lf,%lf,%lf", &p[0], &p[1], &p[2]), 3);
                // The transform is a signed permutation: its inverse is its transpose.
                double index[3] = {0, 0, 0};
                for (int c = 0; c < 3; ++c)
                    for (int r = 0; r < 3; ++r) index[c] += v.m[r][c] * (p[r] - v.m[r][3]);
                char centre[96];
                std::snprintf(centre, sizeof(centre), "--center %g,%g,%g", index[0], index[1], index[2]);
                args = args.substr(0, at) + centre;
            }
            const Result r =
                Run("render " + Path("m.nii") + " " + args + " --window 100,500 --nearest -o " + Path("q.png"));
            ASSERT_EQ(r.status, 0) << r.err;
            Picture p;
            ASSERT_TRUE(ReadPng(Path("q.png"), p));
            EXPECT_EQ(Quadrant(p), view.quadrant) << s.name << " " << args;
        }
    }
}

TEST_F(Zelgen, BadInputEndsWithOneMessageAndNoPicture)
{
    const TestVolume v = Pattern();
    WriteNifti(Path("good.nii"), v, 1, DT_INT16);
    WriteNifti(Path("good2.nii.gz"), v, 2, DT_INT16);
    std::vector<unsigned char> bytes;
    {
        std::ifstream in(Path("good.nii"), std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), {});
    }
    WriteBytes(Path("short-header.nii"), std::vector<unsigned char>(bytes.begin(), bytes.begin() + 200), false);
    WriteBytes(Path("short-data.nii"), std::vector<unsigned char>(bytes.begin(), bytes.end() - 10), false);
    WriteBytes(Path("short-data.nii.gz"), std::vector<unsigned char>(bytes.begin(), bytes.end() - 10), true);
    std::vector<unsigned char> gz;
    {
        std::ifstream in(Path("good2.nii.gz"), std::ios::binary);
        gz.assign(std::istreambuf_iterator<char>(in), {});
    }
    WriteBytes(Path("cut.nii.gz"),
               std::vector<unsigned char>(gz.begin(), gz.begin() + static_cast<long>(gz.size() / 2)), false);
    std::vector<unsigned char> garbage(gz.begin(), gz.end());
    for (std::size_t i = 40; i < garbage.size() - 8; i += 7) garbage[i] ^= 0x5a;
    WriteBytes(Path("garbage.nii.gz"), garbage, false);
    std::vector<unsigned char> rgb = bytes;
    const short rgbType = DT_RGB24, rgbBits = 24;
    std::memcpy(rgb.data() + 70, &rgbType, 2);
    std::memcpy(rgb.data() + 72, &rgbBits, 2);
    WriteBytes(Path("rgb.nii"), rgb, false);
    WriteBytes(Path("text.nii"), std::vector<unsigned char>(400, 'x'), false);
    WriteBytes(Path("v.raw"), std::vector<unsigned char>(20 * 16 * 10 * 2, 0), false);
    fs::create_directory(Path("dir.nii"));

    struct Case {
        std::string args;
        const char* mentions;
    };
    const std::string out = " -o " + Path("out.png");
    const Case cases[] = {
        {"render " + Path("missing.nii") + out, "missing.nii"},
        {"render " + Path("dir.nii") + out, "directory"},
        {"render " + Path("short-header.nii") + out, "truncated NIfTI header"},
        {"render " + Path("short-data.nii") + out, "truncated"},
        {"render " + Path("short-data.nii.gz") + out, "truncated"},
        {"render " + Path("cut.nii.gz") + out, "compressed"},
        {"render " + Path("garbage.nii.gz") + out, "garbage.nii.gz"},
        {"render " + Path("rgb.nii") + out, "unsupported voxel type rgb24"},
        {"render " + Path("text.nii") + out, "not a NIfTI"},
        {"info " + Path("short-data.nii"), "truncated"},
        {"render " + Path("v.raw") + " --raw-size 20,16,11 --raw-type int16" + out, "need 7040"},
        {"render " + Path("v.raw") + " --raw-size 20,16,10 --raw-type uint8" + out, "holds 6400 bytes"},
        {"render " + Path("good.nii") + " --slice 10" + out, "slice 10 is outside the volume"},
        {"render " + Path("good.nii") + " --slice -1" + out, "outside the volume"},
        {"render " + Path("good.nii") + " --plane sagittal --slice 20" + out, "sagittal slices 0 to 19"},
        {"render " + Path("good.nii") + " --position 500" + out, "position 500 mm is outside"},
        {"render " + Path("good.nii") + " --slices 0:12" + out, "goes beyond"},
        {"render " + Path("good.nii") + " --zoom fast" + out, "--zoom needs a number"},
        {"render " + Path("good.nii") + " --size 100000" + out, "out of range"},
        {"render " + Path("good.nii") + " --window brain" + " -o " + Path("no/such/dir/out.png"), "cannot write"},
        {"render --phantom", "-o"},
        {"frobnicate", "unknown command"},
        {"demo", "output directory"},
    };
    const std::vector<std::string> before = Files();
    for (const Case& c : cases) {
        const Result r = Run(c.args);
        EXPECT_EQ(r.status, 2) << c.args << "\n" << r.err;
        EXPECT_EQ(r.err.rfind("zelgen: error: ", 0), 0u) << c.args << "\n" << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << c.args << "\n" << r.err;
        EXPECT_NE(r.err.find(c.mentions), std::string::npos) << c.args << "\n" << r.err;
        EXPECT_EQ(Files(), before) << c.args;
    }
}

TEST_F(Zelgen, HelpForEveryCommand)
{
    for (const char* command : {"--help", "render --help", "info --help", "demo --help"}) {
        const Result r = Run(command);
        EXPECT_EQ(r.status, 0) << command;
        EXPECT_NE(r.out.find("usage: zelgen"), std::string::npos) << command;
    }
    EXPECT_NE(Run("render --help").out.find("radiological"), std::string::npos);
}

TEST_F(Zelgen, SeriesEqualsSinglePicturesAndLayoutsAgree)
{
    const TestVolume v = Pattern();
    WriteNifti(Path("v.nii"), v, 1, DT_INT16);
    const Result series = Run("render " + Path("v.nii") +
                              " --plane sagittal --slices 2:17:5 --threads 2 --window 300,80 -o " + Path("s_%02d.png"));
    ASSERT_EQ(series.status, 0) << series.err;
    for (int slice : {2, 7, 12, 17}) {
        Picture a, b;
        char name[32];
        std::snprintf(name, sizeof(name), "s_%02d.png", slice);
        ASSERT_TRUE(ReadPng(Path(name), a)) << name;
        for (const char* layout : {"linear", "tiled"}) {
            const Result one = Run("render " + Path("v.nii") + " --plane sagittal --window 300,80 --layout " + layout +
                                   " --slice " + std::to_string(slice) + " -o " + Path("one.png"));
            ASSERT_EQ(one.status, 0) << one.err;
            ASSERT_TRUE(ReadPng(Path("one.png"), b));
            EXPECT_EQ(a.Hash(), b.Hash()) << name << " " << layout;
        }
    }
    EXPECT_FALSE(fs::exists(Path("s_03.png")));
    // Oblique and slab pictures read tiled volumes the same.
    for (const char* view : {"--tilt 20,10", "--normal 1,1,3 --slab 4 --mip", "--plane coronal --slab 6 --mode min"}) {
        Picture a, b;
        ASSERT_EQ(Run("render " + Path("v.nii") + " " + view + " --layout linear -o " + Path("l.png")).status, 0);
        ASSERT_EQ(Run("render " + Path("v.nii") + " " + view + " --layout tiled -o " + Path("t.png")).status, 0);
        ASSERT_TRUE(ReadPng(Path("l.png"), a));
        ASSERT_TRUE(ReadPng(Path("t.png"), b));
        EXPECT_EQ(a.Hash(), b.Hash()) << view;
    }
}

TEST_F(Zelgen, DefaultWindowSuitsTheData)
{
    // CT-like values get a CT window; others the range of the values.
    const Result ct = Run("render --phantom -o " + Path("p.png"));
    ASSERT_EQ(ct.status, 0) << ct.err;
    EXPECT_NE(ct.err.find("brain window 80/40"), std::string::npos) << ct.err;
    Picture p;
    ASSERT_TRUE(ReadPng(Path("p.png"), p));
    EXPECT_EQ(p.width, 256);
    EXPECT_EQ(p.height, 256);

    TestVolume v = Pattern();
    WriteNifti(Path("mr.nii"), v, 1, DT_UINT16, 1, 200);
    const Result mr = Run("render " + Path("mr.nii") + " -o " + Path("m.png"));
    ASSERT_EQ(mr.status, 0) << mr.err;
    EXPECT_NE(mr.err.find("auto"), std::string::npos) << mr.err;
}

TEST_F(Zelgen, GoldenPhantomPictures)
{
    // Pixel hashes of a few phantom pictures; ZELGEN_UPDATE_GOLDEN=1 rewrites them.
    const std::string golden = std::string(ZELGEN_GOLDEN_DIR) + "/zelgen_phantom.txt";
    const bool update = std::getenv("ZELGEN_UPDATE_GOLDEN") != nullptr;
    const std::vector<std::string> views = {
        "--window brain --nearest",
        "--plane coronal --window bone --nearest",
        "--plane sagittal --window 400,40 --nearest --flip-h",
        "--slab 15 --mip --window angio --nearest --size 128",
        "--window brain --gamma 2.2 --nearest --rotate 90",
        "--window subdural --sigmoid --nearest --size 96x64",
        "--threshold 300 --nearest --plane coronal --size 100",
    };
    std::string table;
    std::istringstream stored(ReadText(golden));
    for (const std::string& view : views) {
        const Result r = Run("render --phantom " + view + " -o " + Path("g.png"));
        ASSERT_EQ(r.status, 0) << view << ": " << r.err;
        Picture p;
        ASSERT_TRUE(ReadPng(Path("g.png"), p));
        char line[256];
        std::snprintf(line, sizeof(line), "%016llx %s\n", static_cast<unsigned long long>(p.Hash()), view.c_str());
        table += line;
        if (update) continue;
        std::string expected;
        std::getline(stored, expected);
        EXPECT_EQ(std::string(line), expected + "\n") << view;
    }
    if (update) std::ofstream(golden) << table;
}

TEST_F(Zelgen, DemoWritesAGalleryAndSaysWhere)
{
    const Result r = Run("demo " + Path("gallery"));
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string index = Path("gallery/index.html");
    EXPECT_NE(r.out.find(index), std::string::npos) << r.out;
    const std::string html = ReadText(index);
    std::size_t pictures = 0;
    for (std::size_t at = html.find("<img src=\""); at != std::string::npos; at = html.find("<img src=\"", at + 1)) {
        const std::size_t start = at + 10, end = html.find('"', start);
        Picture p;
        EXPECT_TRUE(ReadPng(Path("gallery/" + html.substr(start, end - start)), p));
        ++pictures;
    }
    EXPECT_GE(pictures, 8u);
    Picture sheet;
    EXPECT_TRUE(ReadPng(Path("gallery/gallery.png"), sheet));
}

}  // namespace
