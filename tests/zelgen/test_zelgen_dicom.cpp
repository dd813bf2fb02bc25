// DICOM series written here with GDCM's writer from the phantom, in many
// forms (orientations, compressions, pixel formats, gaps, gantry tilt):
// every voxel read back must be where the phantom has it, with its value,
// and the pictures must be those of the same phantom read as raw voxels.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ZelVoxelIndex.h"
#include "dicom.h"
#include "phantom.h"
#include "phantom_dicom.h"
#include "readers.h"

namespace fs = std::filesystem;

namespace {

const char* kJpegLossless = "1.2.840.10008.1.2.4.70";
const char* kJpegLs = "1.2.840.10008.1.2.4.80";
const char* kJpeg2000 = "1.2.840.10008.1.2.4.90";
const char* kRle = "1.2.840.10008.1.2.5";
const char* kDeflate = "1.2.840.10008.1.2.1.99";
const char* kImplicit = "1.2.840.10008.1.2";

// The phantom, small, with unequal sizes and spacings so that a swapped
// axis cannot pass; odd sizes, so that the middle slice is the same one
// whichever way an axis runs. Voxel (a, b, c) lies at DICOM patient position
// (a * sx, b * sy, c * sz).
const int kSize[3] = {41, 35, 19};
const double kSpacing[3] = {5.6, 6.0, 9.0};

const ZelImage<short>& Phantom()
{
    static ZelImage<short>* phantom = [] {
        ZelPhantomOptions o;
        o.sizeX = kSize[0], o.sizeY = kSize[1], o.sizeZ = kSize[2];
        o.spacingX = static_cast<float>(kSpacing[0]);
        o.spacingY = static_cast<float>(kSpacing[1]);
        o.spacingZ = static_cast<float>(kSpacing[2]);
        return ZelMakeHeadPhantom(o);
    }();
    return *phantom;
}

// The phantom's value at a patient position, if the position is one of its
// voxel centres.
bool PhantomAt(const double p[3], short& value)
{
    int index[3];
    for (int a = 0; a < 3; ++a) {
        const double i = p[a] / kSpacing[a];
        index[a] = static_cast<int>(std::lround(i));
        if (std::fabs(i - index[a]) > 1e-3 || index[a] < 0 || index[a] >= kSize[a]) return false;
    }
    value = Phantom().GetDataPtr()[(static_cast<std::size_t>(index[2]) * kSize[1] + index[1]) * kSize[0] + index[0]];
    return true;
}

// An acquisition of the phantom: each voxel axis of the slices runs along
// one phantom axis (a signed permutation), and slice k may be shifted by
// `tiltRows` rows per slice (gantry tilt).
struct Acquisition {
    int axis[3];  // phantom axis of columns, rows, slices
    int sign[3];
    int tiltRows = 0;
};

// The slices of an acquisition as a volume for the writer, with the
// geometry that places them in the phantom; air beyond the phantom.
ZelImage<short>* Acquire(const Acquisition& q, ZelDicomSeriesOptions& o)
{
    int n[3];
    for (int a = 0; a < 3; ++a) n[a] = kSize[q.axis[a]];
    auto* v = new ZelImage<short>();
    v->Allocate(ZEL_ALIGNMENT_LINEAR, n[0], n[1], n[2]);
    double dir[3][3] = {{0}};
    for (int a = 0; a < 3; ++a) dir[a][q.axis[a]] = q.sign[a];
    for (int a = 0; a < 3; ++a) {
        const int p = q.axis[a];
        o.origin[p] = q.sign[a] > 0 ? 0 : (kSize[p] - 1) * kSpacing[p];
        o.row[p] = dir[0][p];
        o.column[p] = dir[1][p];
        o.step[p] = dir[2][p] * kSpacing[p] + q.tiltRows * dir[1][p] * kSpacing[p];
    }
    o.pixelSpacing[0] = kSpacing[q.axis[1]];
    o.pixelSpacing[1] = kSpacing[q.axis[0]];
    short* out = v->GetDataPtr();
    for (int k = 0; k < n[2]; ++k)
        for (int j = 0; j < n[1]; ++j)
            for (int i = 0; i < n[0]; ++i) {
                double p[3];
                for (int a = 0; a < 3; ++a)
                    p[a] = o.origin[a] + i * o.pixelSpacing[1] * o.row[a] + j * o.pixelSpacing[0] * o.column[a] +
                           k * o.step[a];
                short value = -1000;
                PhantomAt(p, value);
                *out++ = value;
            }
    return v;
}

class ZelgenDicom : public ::testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/zelgen-dicom-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_dir = pattern;
    }
    void TearDown() override { fs::remove_all(m_dir); }
    std::string Path(const std::string& name) const { return m_dir + "/" + name; }

    void Write(const Acquisition& q, ZelDicomSeriesOptions o, const std::string& name)
    {
        o.directory = Path(name);
        std::unique_ptr<ZelImage<short>> slices(Acquire(q, o));
        std::string error;
        ASSERT_TRUE(ZelWriteDicomSeries(*slices, o, error)) << error;
    }

    // The series in directory `name`, read as zelgen reads it.
    ::testing::AssertionResult Load(const std::string& name, Volume& volume) const
    {
        InputOptions input;
        input.path = Path(name);
        std::string error;
        if (LoadVolume(input, volume, error)) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << name << ": " << error;
    }

    // Runs zelgen; the exit status and what it printed.
    int Run(const std::string& args, std::string* out = nullptr) const
    {
        const std::string log = Path(".log");
        const int raw = std::system(("cd '" + m_dir + "' && '" ZELGEN_PATH "' " + args + " >" + log + " 2>&1").c_str());
        std::ifstream in(log);
        std::stringstream s;
        s << in.rdbuf();
        if (out) *out = s.str();
        fs::remove(log);
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    }

    std::string Bytes(const std::string& name) const
    {
        std::ifstream in(Path(name), std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }

    std::string m_dir;
};

const Acquisition kAxial{{0, 1, 2}, {1, 1, 1}};
const Acquisition kCoronal{{0, 2, 1}, {1, -1, 1}};    // rows run to the feet, slices to the back
const Acquisition kSagittal{{1, 2, 0}, {-1, -1, 1}};  // rows to the front, columns to the feet

// Every voxel of the volume read back has the phantom's value at its
// patient position, except those of slices made by interpolation (within
// half a step of their neighbours' mean) and those beyond the slices.
void ExpectPhantom(const Volume& volume, const std::string& what, int interpolatedSlice = -1)
{
    const ZelVoxelAddressing at(*volume.image);
    const short* data = volume.image->GetDataPtr();
    long long checked = 0, wrong = 0;
    for (int k = 0; k < volume.size[2]; ++k)
        for (int j = 0; j < volume.size[1]; ++j)
            for (int i = 0; i < volume.size[0]; ++i) {
                double p[3];
                for (int r = 0; r < 3; ++r) {
                    const double* m = volume.ijkToPatient[r];
                    p[r] = (r < 2 ? -1 : 1) * (m[0] * i + m[1] * j + m[2] * k + m[3]);
                }
                const short stored = data[at(i, j, k)];
                if (volume.hasNoValue && stored == Volume::kNoValue) continue;
                // Air beyond the phantom.
                short expected = -1000;
                PhantomAt(p, expected);
                double tolerance = 0;
                if (k == interpolatedSlice) {
                    // The mean of the slices on either side.
                    short before = -1000, after = -1000;
                    double q[2][3];
                    for (int r = 0; r < 3; ++r) {
                        const double along = (r < 2 ? -1 : 1) * volume.ijkToPatient[r][2];
                        q[0][r] = p[r] - along;
                        q[1][r] = p[r] + along;
                    }
                    PhantomAt(q[0], before);
                    PhantomAt(q[1], after);
                    expected = static_cast<short>(std::lround(0.5 * (before + after)));
                    tolerance = 0.5;
                }
                ++checked;
                const double real = volume.scale.ToReal(stored);
                if (std::fabs(real - expected) > tolerance && wrong++ < 3)
                    ADD_FAILURE() << what << ": voxel " << i << "," << j << "," << k << " is " << real << ", not "
                                  << expected;
            }
    EXPECT_GE(checked, static_cast<long long>(kSize[0]) * kSize[1] * kSize[2] / 2) << what;
}

TEST_F(ZelgenDicom, EveryFormOfTheSeriesReadsBackAsThePhantom)
{
    struct Case {
        const char* name;
        Acquisition acquisition;
        std::string syntax;
        int bitsStored;
        bool isSigned;
        double intercept;
        bool multiFrame;
        bool dirty;
        bool perSliceIntercepts;
    };
    const Case cases[] = {
        {"axial int16", kAxial, "", 16, true, 0, false, false, false},
        {"coronal uint12 jpeg", kCoronal, kJpegLossless, 12, false, -1024, false, false, false},
        {"sagittal int12 jpeg-ls", kSagittal, kJpegLs, 12, true, 0, false, false, false},
        {"axial jpeg 2000", kAxial, kJpeg2000, 16, true, 0, false, false, false},
        {"coronal rle multi-frame", kCoronal, kRle, 16, true, 0, true, false, false},
        {"axial deflate", kAxial, kDeflate, 12, false, -1024, false, false, false},
        {"sagittal implicit multi-frame", kSagittal, kImplicit, 16, false, -2000, true, false, false},
        {"axial int12 with overlay bits", kAxial, "", 12, true, 0, false, true, false},
        {"axial intercept per slice", kAxial, kJpegLs, 13, true, 0, false, false, true},
    };
    for (const Case& c : cases) {
        ZelDicomSeriesOptions o;
        o.transferSyntax = c.syntax;
        o.bitsStored = c.bitsStored;
        o.isSigned = c.isSigned;
        o.intercept = c.intercept;
        o.multiFrame = c.multiFrame;
        o.dirtyHighBits = c.dirty;
        o.shuffleNames = true;
        if (c.perSliceIntercepts)
            for (int k = 0; k < kSize[2]; ++k) o.sliceIntercepts.push_back(k % 2 ? -1024 : 512);
        Write(c.acquisition, o, c.name);
        Volume volume;
        ASSERT_TRUE(Load(c.name, volume));
        EXPECT_TRUE(volume.exact) << c.name << ": " << volume.storage;
        ExpectPhantom(volume, c.name);
    }
}

TEST_F(ZelgenDicom, UnevenStacksAreResampledOntoTheirPositions)
{
    // A tilted gantry shifts every slice a row further: the grid widens to
    // hold them and each voxel is still where the phantom has it. A missing
    // slice is filled between its neighbours.
    struct Case {
        const char* name;
        Acquisition acquisition;
        std::vector<int> skip;
        const char* note;
        int rows;    // of the grid
        int filled;  // the slice made by interpolation, or -1
    };
    Acquisition tilted = kAxial;
    tilted.tiltRows = 1;
    const Case cases[] = {
        {"tilt", tilted, {}, "gantry tilt of 33.7 deg", kSize[1] + kSize[2] - 1, -1},
        {"missing", kAxial, {7}, "1 slice is missing", kSize[1], 7},
    };
    for (const Case& c : cases) {
        ZelDicomSeriesOptions o;
        o.skip = c.skip;
        Write(c.acquisition, o, c.name);
        Volume volume;
        ASSERT_TRUE(Load(c.name, volume));
        EXPECT_EQ(volume.size[1], c.rows) << c.name;
        EXPECT_EQ(volume.size[2], kSize[2]) << c.name;
        std::string notes;
        for (const std::string& n : volume.notes) notes += n + "\n";
        EXPECT_NE(notes.find(c.note), std::string::npos) << c.name << ": " << notes;
        ExpectPhantom(volume, c.name, c.filled);
    }
}

// Slices at the given distances along z, for the grid planner alone.
DicomSeries Stack(const std::vector<double>& z, double shiftPerSlice = 0)
{
    DicomSeries s;
    s.rows = 4;
    s.columns = 5;
    s.hasPixelSpacing = true;
    for (std::size_t k = 0; k < z.size(); ++k) {
        DicomSlice slice;
        slice.hasPosition = slice.hasOrientation = true;
        slice.position[1] = shiftPerSlice * static_cast<double>(k);
        slice.position[2] = z[k];
        slice.instance = static_cast<long long>(z.size() - k);
        s.slices.push_back(slice);
    }
    return s;
}

TEST(ZelgenDicomGrid, SpacingComesFromThePositions)
{
    struct Case {
        const char* name;
        DicomSeries series;
        bool ok;
        bool resample;
        int slices;
        double spacing;
        const char* mentions;  // in the notes or the error
    };
    DicomSeries turned = Stack({0, 1, 2});
    turned.slices[1].orientation[1] = 0.1;
    turned.slices[1].orientation[0] = std::sqrt(0.99);
    const Case cases[] = {
        {"even, shuffled", Stack({2.5, 0, 5, 1.25, 3.75}), true, false, 5, 1.25, ""},
        {"rounded positions", Stack({0, 0.63, 1.25, 1.88, 2.5}), true, false, 5, 0.625, ""},
        {"one missing", Stack({0, 2, 4, 8, 10}), true, true, 6, 2, "1 slice is missing"},
        {"uneven", Stack({0, 1, 2.5, 3.5, 5}), true, true, 6, 1, "unevenly spaced (1 to 1.5 mm"},
        {"sheared", Stack({0, 1, 2}, 0.5), true, true, 3, 1, "gantry tilt of 26.6 deg"},
        {"one slice", Stack({7}), true, false, 1, 1, "1 mm thick is assumed"},
        {"two at one place", Stack({0, 1, 1, 2}), false, false, 0, 0, "same place"},
        {"turned slice", turned, false, false, 0, 0, "different orientations"},
    };
    for (const Case& c : cases) {
        DicomGrid grid;
        std::string error;
        ASSERT_EQ(PlanDicomGrid(c.series, grid, error), c.ok) << c.name << ": " << error;
        std::string text = error;
        for (const std::string& n : grid.notes) text += n + "\n";
        EXPECT_NE(text.find(c.mentions), std::string::npos) << c.name << ": " << text;
        if (!c.ok) continue;
        EXPECT_EQ(grid.resample, c.resample) << c.name;
        EXPECT_EQ(grid.size[2], c.slices) << c.name;
        EXPECT_NEAR(grid.spacing[2], c.spacing, 1e-3) << c.name;
        // Sorted along the normal, whatever the files' order.
        for (std::size_t k = 1; k < grid.along.size(); ++k) EXPECT_GT(grid.along[k], grid.along[k - 1]) << c.name;
    }
}

// The phantom as a raw file, and the arguments that read it.
std::string RawPhantom(const std::string& path)
{
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(Phantom().GetDataPtr()),
               static_cast<std::streamsize>(sizeof(short) * kSize[0] * kSize[1] * kSize[2]));
    return path + " --raw-size 41,35,19 --raw-type int16 --spacing 5.6,6,9";
}

TEST_F(ZelgenDicom, PicturesAreThoseOfThePhantomReadRaw)
{
    // The same plane of the same patient gives the same picture from a
    // DICOM series, however it was acquired and stored, and from raw voxels.
    const std::string raw = RawPhantom(Path("phantom.raw"));
    ZelDicomSeriesOptions jpeg, multi, plain;
    jpeg.transferSyntax = kJpegLs, jpeg.bitsStored = 12, jpeg.isSigned = false, jpeg.intercept = -1024;
    multi.multiFrame = true, multi.transferSyntax = kRle;
    plain.shuffleNames = true;
    Write(kAxial, jpeg, "axial");
    Write(kCoronal, multi, "coronal");
    Write(kSagittal, plain, "sagittal");
    for (const char* plane : {"axial", "coronal", "sagittal"}) {
        const std::string view = std::string(" --window 400,40 --nearest --plane ") + plane;
        ASSERT_EQ(Run("render " + raw + view + " -o raw.png"), 0);
        for (const char* series : {"axial", "coronal", "sagittal"}) {
            std::string out;
            ASSERT_EQ(Run(std::string("render ") + series + view + " -o dicom.png", &out), 0) << out;
            EXPECT_TRUE(Bytes("dicom.png") == Bytes("raw.png")) << series << " series, " << plane << " plane";
        }
    }
}

TEST_F(ZelgenDicom, TheFilesOwnWindowAndPolarity)
{
    // The default window is the file's; MONOCHROME1 shows low values white.
    const std::string raw = RawPhantom(Path("phantom.raw"));
    ZelDicomSeriesOptions o;
    o.windowWidth = 80, o.windowCentre = 40, o.monochrome1 = true;
    Write(kAxial, o, "series");
    std::string out;
    ASSERT_EQ(Run("info series", &out), 0);
    EXPECT_NE(out.find("window:       80/40 (the file's own"), std::string::npos) << out;
    ASSERT_EQ(Run("render series --nearest -o dicom.png", &out), 0);
    EXPECT_NE(out.find("file window 80/40"), std::string::npos) << out;
    EXPECT_NE(out.find("MONOCHROME1"), std::string::npos) << out;
    ASSERT_EQ(Run("render " + raw + " --nearest --window 80,40 --invert -o raw.png"), 0);
    EXPECT_TRUE(Bytes("dicom.png") == Bytes("raw.png"));
}

TEST_F(ZelgenDicom, SeveralSeriesAreListedAndOnePicked)
{
    ZelDicomSeriesOptions large, small;
    large.description = "large", large.seriesNumber = 2, large.seriesUid = "1.2.3.4.2";
    small.description = "small", small.seriesNumber = 1, small.seriesUid = "1.2.3.4.1";
    small.skip = {0, 1, 2, 3, 4, 5};
    Write(kAxial, large, "cd/a/large");
    Write(kAxial, small, "cd/b/small");
    std::string out;
    ASSERT_EQ(Run("info cd", &out), 0) << out;
    for (const char* expected : {"series:       2 in cd", "'small' #1", "'large' #2", "1.2.3.4.2  <-", "x 13 "})
        EXPECT_NE(out.find(expected), std::string::npos) << expected << "\n" << out;
    ASSERT_EQ(Run("render cd -o largest.png --nearest --window 400,40", &out), 0);
    EXPECT_NE(out.find("showing the largest, series 2"), std::string::npos) << out;
    for (const char* pick : {"2", "1.2.3.4.2"}) {
        ASSERT_EQ(Run(std::string("render cd --series ") + pick + " -o picked.png --nearest --window 400,40"), 0);
        EXPECT_TRUE(Bytes("picked.png") == Bytes("largest.png")) << pick;
    }
    ASSERT_EQ(Run("info cd --series 1", &out), 0);
    EXPECT_NE(out.find("41 x 35 x 13 voxels"), std::string::npos) << out;
}

TEST_F(ZelgenDicom, BadInputEndsWithOneMessageAndNoPicture)
{
    ZelDicomSeriesOptions o;
    o.seriesUid = "1.2.3.9";
    Write(kAxial, o, "mixed-sizes");
    Write(kCoronal, o, "mixed-sizes/more");
    o.transferSyntax = kJpegLossless;
    Write(kAxial, o, "jpip");
    o.transferSyntax.clear();
    Write(kAxial, o, "good");
    fs::create_directories(Path("empty"));
    fs::create_directories(Path("text"));
    std::ofstream(Path("text/readme.txt")) << "no images here";
    std::string bytes = Bytes("good/IM00003");
    std::ofstream(Path("truncated.dcm"), std::ios::binary) << bytes.substr(0, bytes.size() - 100);
    fs::copy(Path("good"), Path("one-cut"));
    std::ofstream(Path("one-cut/IM00007"), std::ios::binary) << bytes.substr(0, bytes.size() / 2);
    std::string garbage = bytes;
    for (std::size_t i = 140; i < 600; i += 5) garbage[i] = static_cast<char>(garbage[i] ^ 0x5a);
    std::ofstream(Path("garbage.dcm"), std::ios::binary) << garbage;
    // The JPEG lossless syntax UID turned into JPIP, a syntax of the same
    // length that holds no pixels.
    for (const auto& e : fs::directory_iterator(Path("jpip"))) {
        std::string file = Bytes("jpip/" + e.path().filename().string());
        const std::size_t at = file.find("1.2.840.10008.1.2.4.70");
        if (at != std::string::npos) file.replace(at, 22, "1.2.840.10008.1.2.4.94");
        std::ofstream(e.path(), std::ios::binary) << file;
    }
    const char* cases[][2] = {
        {"render empty -o x.png", "no DICOM image"},
        {"render text -o x.png", "no DICOM image"},
        {"render truncated.dcm -o x.png", "truncated"},
        {"info garbage.dcm", "garbage.dcm"},
        {"render one-cut -o x.png", "one-cut/IM00007': damaged or truncated"},
        {"render mixed-sizes -o x.png", "mixes slice sizes"},
        {"render jpip -o x.png", "unsupported transfer syntax"},
        {"render good --series 3 -o x.png", "holds 1 series"},
        {"render good --volume 1 -o x.png", "--series"},
        {"render --phantom --series 1 -o x.png", "--series picks a series of a DICOM input"},
    };
    for (const auto& c : cases) {
        std::string out;
        EXPECT_EQ(Run(c[0], &out), 2) << c[0] << "\n" << out;
        EXPECT_EQ(out.rfind("zelgen: error: ", 0), 0u) << c[0] << "\n" << out;
        EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1) << c[0] << "\n" << out;
        EXPECT_NE(out.find(c[1]), std::string::npos) << c[0] << "\n" << out;
        EXPECT_FALSE(fs::exists(Path("x.png"))) << c[0];
    }
    // Orientations that differ within one series are refused as well.
    o.seriesUid = "1.2.3.10";
    Write(kAxial, o, "turned");
    std::unique_ptr<ZelImage<short>> slices(Acquire(kAxial, o));
    o.directory = Path("turned/more");
    o.column[1] = std::cos(0.1), o.column[2] = std::sin(0.1);
    std::string error;
    ASSERT_TRUE(ZelWriteDicomSeries(*slices, o, error)) << error;
    std::string out;
    EXPECT_EQ(Run("info turned", &out), 2);
    EXPECT_NE(out.find("different orientations"), std::string::npos) << out;
}

}  // namespace
