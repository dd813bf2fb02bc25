// Pieces of zelgen that need no generator: option parsing, NIfTI header
// checks, series names, the orientation solver and the PNG writer.
#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "nifti1.h"
#include "nifti2.h"
#include "options.h"
#include "orientation.h"
#include "png_writer.h"
#include "readers.h"

namespace {

std::vector<std::string> Split(const std::string& line)
{
    std::vector<std::string> out;
    std::size_t start = 0;
    while (start < line.size()) {
        const std::size_t space = line.find(' ', start);
        out.push_back(line.substr(start, space == std::string::npos ? std::string::npos : space - start));
        if (space == std::string::npos) break;
        start = space + 1;
    }
    return out;
}

TEST(ZelgenOptions, RejectsBadArgumentsWithAMessageNamingThem)
{
    struct Case {
        const char* args;
        const char* mentions;
    };
    const Case cases[] = {
        {"--phantom", "-o"},
        {"-o x.png", "no input"},
        {"--phantom in.nii -o x.png", "not both"},
        {"--phantom -o x.png --zoom abc", "--zoom"},
        {"--phantom -o x.png --zoom 0", "out of range"},
        {"--phantom -o x.png --zoom 1e999", "--zoom"},
        {"--phantom -o x.png --zoom 2x", "--zoom"},
        {"--phantom -o x.png --slice 1.5", "--slice"},
        {"--phantom -o x.png --plane oblique", "--plane"},
        {"--phantom -o x.png --window 80", "--window"},
        {"--phantom -o x.png --window 0,40", "at least 1"},
        {"--phantom -o x.png --window nosuch", "brain"},
        {"--phantom -o x.png --center 1,2", "3 comma-separated"},
        {"--phantom -o x.png --normal 0,0,0", "zero"},
        {"--phantom -o x.png --slices 5:3", "before the first"},
        {"--phantom -o x.png --slices 1:3:0", "step"},
        {"--phantom -o x.png --slice 3 --position 4", "not both"},
        {"--phantom -o x.png --tilt 10 --slice 3", "oblique"},
        {"--phantom -o x.png --tilt 10 --normal 0,0,1", "not both"},
        {"--phantom -o x.png --bogus", "unknown option"},
        {"--phantom -o x.png --zoom", "needs a value"},
        {"--phantom -o x.png --flip-h=1", "takes no value"},
        {"in.raw -o x.png --raw-size 2,2,2", "--raw-type"},
        {"in.raw -o x.png --raw-type int16", "--raw-size"},
        {"in.raw -o x.png --raw-size 2,2,0 --raw-type int16", "out of range"},
        {"in.raw -o x.png --raw-size 2,2,2.5 --raw-type int16", "whole numbers"},
        {"in.raw -o x.png --raw-size 2,2,2 --raw-type float", "--raw-type"},
        {"in.nii -o x.png --spacing 1,1,1", "raw volumes"},
        {"--phantom -o x.png --threshold 100 --window brain", "no --window"},
        {"--phantom -o x.png --size 0", "out of range"},
    };
    for (const Case& c : cases) {
        RenderOptions options;
        bool help = false;
        std::string error;
        EXPECT_FALSE(ParseRenderOptions(Split(c.args), options, help, error)) << c.args;
        EXPECT_NE(error.find(c.mentions), std::string::npos) << c.args << " -> " << error;
    }
}

TEST(ZelgenOptions, ParsesValuesInBothSpellings)
{
    RenderOptions o;
    bool help = false;
    std::string error;
    ASSERT_TRUE(ParseRenderOptions(Split("--phantom --zoom=2.5 --window lung --rotate -90 --plane=sagittal "
                                         "--slab 12 --mip --size 300 --slices 2:10:4 -o out.png --flip-v"),
                                   o, help, error))
        << error;
    EXPECT_DOUBLE_EQ(o.zoom, 2.5);
    EXPECT_EQ(o.windowWidth, 1500);
    EXPECT_EQ(o.windowCentre, -600);
    EXPECT_EQ(o.rotateDegrees, -90);
    EXPECT_EQ(o.plane, PlaneKind::Sagittal);
    EXPECT_EQ(o.slabMode, SlabMode::Maximum);
    EXPECT_EQ(o.width, 300);
    EXPECT_EQ(o.height, 0);
    EXPECT_EQ(o.seriesFirst, 2);
    EXPECT_EQ(o.seriesLast, 10);
    EXPECT_EQ(o.seriesStep, 4);
    EXPECT_TRUE(o.flipV);
    EXPECT_EQ(o.output, "out.png");

    RenderOptions h;
    EXPECT_TRUE(ParseRenderOptions(Split("--zoom 2 --help"), h, help, error));
    EXPECT_TRUE(help);
}

TEST(ZelgenOptions, EveryPresetIsFoundByItsName)
{
    for (const WindowPreset& p : WindowPresets()) {
        const WindowPreset* found = FindWindowPreset(p.name);
        ASSERT_NE(found, nullptr) << p.name;
        EXPECT_EQ(found->width, p.width);
    }
    EXPECT_NE(FindWindowPreset("soft_tissue"), nullptr);
    EXPECT_EQ(FindWindowPreset("brian"), nullptr);
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
        const bool ok = SeriesFileName(c.output, c.index, name, error);
        EXPECT_EQ(ok, c.expected != nullptr) << c.output;
        if (ok && c.expected) {
            EXPECT_EQ(name, c.expected);
        }
    }
}

// A valid single-file NIfTI-1 header of a 4x3x2 int16 volume.
std::vector<unsigned char> Nifti1Header()
{
    nifti_1_header h;
    std::memset(&h, 0, sizeof(h));
    h.sizeof_hdr = 348;
    h.dim[0] = 3;
    h.dim[1] = 4;
    h.dim[2] = 3;
    h.dim[3] = 2;
    h.datatype = DT_INT16;
    h.bitpix = 16;
    h.pixdim[1] = h.pixdim[2] = h.pixdim[3] = 1;
    h.vox_offset = 352;
    std::memcpy(h.magic, "n+1", 4);
    std::vector<unsigned char> bytes(sizeof(h));
    std::memcpy(bytes.data(), &h, sizeof(h));
    return bytes;
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
        {"bigger file", [](nifti_1_header&) {}, full + 100, nullptr},
        {"truncated data", [](nifti_1_header&) {}, full - 1, "truncated"},
        {"header size", [](nifti_1_header& h) { h.sizeof_hdr = 349; }, full, "not a NIfTI"},
        {"magic", [](nifti_1_header& h) { h.magic[1] = 'x'; }, full, "magic"},
        {"pair", [](nifti_1_header& h) { h.magic[1] = 'i'; }, full, "two-file"},
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
        std::vector<unsigned char> bytes = Nifti1Header();
        nifti_1_header h;
        std::memcpy(&h, bytes.data(), sizeof(h));
        c.mutate(h);
        std::memcpy(bytes.data(), &h, sizeof(h));
        NiftiHeaderInfo info;
        std::string error;
        const bool ok = CheckNiftiHeaderBytes(bytes.data(), bytes.size(), c.fileBytes, info, error);
        EXPECT_EQ(ok, c.mentions == nullptr) << c.name << ": " << error;
        if (c.mentions) {
            EXPECT_NE(error.find(c.mentions), std::string::npos) << c.name << ": " << error;
        }
    }
}

TEST(ZelgenNiftiHeader, OtherByteOrderAndNifti2)
{
    // The same header byte-swapped is read as such.
    std::vector<unsigned char> bytes = Nifti1Header();
    auto swap = [&bytes](std::size_t offset, std::size_t size) {
        std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                     bytes.begin() + static_cast<std::ptrdiff_t>(offset + size));
    };
    swap(0, 4);
    for (int i = 0; i < 8; ++i) swap(40 + 2 * i, 2);
    swap(70, 2);
    swap(72, 2);
    swap(108, 4);
    NiftiHeaderInfo info;
    std::string error;
    ASSERT_TRUE(CheckNiftiHeaderBytes(bytes.data(), bytes.size(), 400, info, error)) << error;
    EXPECT_TRUE(info.swapped);
    EXPECT_EQ(info.dims[1], 4);
    EXPECT_EQ(info.dataBytes, 48);

    nifti_2_header h2;
    std::memset(&h2, 0, sizeof(h2));
    h2.sizeof_hdr = 540;
    std::memcpy(h2.magic, "n+2\0\r\n\032\n", 8);
    h2.dim[0] = 3;
    h2.dim[1] = 70000;  // beyond what a slice walk can address
    h2.dim[2] = h2.dim[3] = 1;
    h2.datatype = DT_UINT8;
    h2.bitpix = 8;
    h2.vox_offset = 544;
    std::vector<unsigned char> b2(sizeof(h2));
    std::memcpy(b2.data(), &h2, sizeof(h2));
    EXPECT_FALSE(CheckNiftiHeaderBytes(b2.data(), b2.size(), -1, info, error));
    EXPECT_NE(error.find("too large"), std::string::npos) << error;
    h2.dim[1] = 7;
    std::memcpy(b2.data(), &h2, sizeof(h2));
    EXPECT_TRUE(CheckNiftiHeaderBytes(b2.data(), b2.size(), 551, info, error)) << error;
    EXPECT_EQ(info.version, 2);
    EXPECT_FALSE(CheckNiftiHeaderBytes(b2.data(), 400, -1, info, error));
}

double Distance(const Frame& a, const Frame& b)
{
    const Vec3 r = a.right - b.right, d = a.down - b.down;
    return std::sqrt(Dot(r, r) + Dot(d, d));
}

TEST(ZelgenOrientation, SolverFindsEveryGeneratorFrame)
{
    // Whatever frame the generator can make, the solver finds parameters
    // that make it again, with right angles kept exact.
    for (int plane = 0; plane < 3; ++plane) {
        for (int rotation = 0; rotation < 4; ++rotation)
            for (int flips = 0; flips < 4; ++flips) {
                const Frame f = MprFrame(plane, rotation, 0, flips & 1, flips & 2);
                const MprOrientation o = SolveMprOrientation(plane, f);
                EXPECT_LT(o.rotation, 4);
                EXPECT_EQ(Distance(MprFrame(plane, o.rotation, o.angle, o.flipH, o.flipV), f), 0.0);
            }
        for (double angle : {0.3, 1.0, 2.5, -0.7})
            for (int flips = 0; flips < 4; ++flips) {
                const Frame f = MprFrame(plane, 4, angle, flips & 1, flips & 2);
                const MprOrientation o = SolveMprOrientation(plane, f);
                EXPECT_LT(Distance(MprFrame(plane, o.rotation, o.angle, o.flipH, o.flipV), f), 1e-9);
            }
    }
}

TEST(ZelgenOrientation, TurnsAndFlipsComposeLikeTheScreen)
{
    const Frame f{{{1, 0, 0}}, {{0, 1, 0}}};
    // Four quarter turns, and two half turns, are no turn; flipping twice is nothing.
    Frame g = f;
    for (int i = 0; i < 4; ++i) g = TurnAndFlip(g, 90, false, false);
    EXPECT_EQ(Distance(g, f), 0.0);
    EXPECT_LT(Distance(TurnAndFlip(TurnAndFlip(f, 33, false, false), -33, false, false), f), 1e-12);
    EXPECT_EQ(Distance(TurnAndFlip(TurnAndFlip(f, 0, true, true), 0, true, true), f), 0.0);
    EXPECT_EQ(Distance(TurnAndFlip(f, 180, false, false), TurnAndFlip(f, 0, true, true)), 0.0);
    // Clockwise on screen: what was on top comes to the right, so the new
    // right axis points where "up" pointed.
    const Frame q = TurnAndFlip(f, 90, false, false);
    EXPECT_EQ(Distance(q, Frame{{{0, -1, 0}}, {{1, 0, 0}}}), 0.0);
}

TEST(ZelgenOrientation, RadiologicalFramesForCommonStorageOrders)
{
    // (axis code of the index axes, plane, MPR plane expected, display right and down as index axis and sign)
    struct Case {
        double m[3][3];  // ijk -> patient (RAS)
        PlaneKind kind;
        int plane;
        Vec3 right, down;
    };
    const Case cases[] = {
        // LPS storage (DICOM order): axial as stored, coronal and sagittal head up.
        {{{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}, PlaneKind::Axial, 2, {{1, 0, 0}}, {{0, 1, 0}}},
        {{{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}, PlaneKind::Coronal, 1, {{1, 0, 0}}, {{0, 0, -1}}},
        {{{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}}, PlaneKind::Sagittal, 0, {{0, 1, 0}}, {{0, 0, -1}}},
        // RAS storage: the patient's left is towards -i, posterior towards -j.
        {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, PlaneKind::Axial, 2, {{-1, 0, 0}}, {{0, -1, 0}}},
        // Sagittal acquisition: i runs A->P, j S->I, k R->L.
        {{{0, 0, -1}, {-1, 0, 0}, {0, -1, 0}}, PlaneKind::Sagittal, 2, {{1, 0, 0}}, {{0, 1, 0}}},
        {{{0, 0, -1}, {-1, 0, 0}, {0, -1, 0}}, PlaneKind::Axial, 1, {{0, 0, 1}}, {{1, 0, 0}}},
    };
    for (const Case& c : cases) {
        double m[3][4] = {};
        for (int r = 0; r < 3; ++r)
            for (int k = 0; k < 3; ++k) m[r][k] = c.m[r][k];
        const AxisMap map = MapAxes(m);
        EXPECT_EQ(MprPlaneOf(c.kind, map), c.plane);
        const Frame f = SnappedFrame(c.kind, map);
        EXPECT_EQ(Distance(f, Frame{c.right, c.down}), 0.0) << OrientationCode(map);
        // And the generator can show it without a free angle.
        const MprOrientation o = SolveMprOrientation(c.plane, f);
        EXPECT_LT(o.rotation, 4);
        EXPECT_EQ(o.residual, 0.0);
    }
}

TEST(ZelgenPng, WritesWhatItIsGivenAndNothingOnFailure)
{
    char dir[] = "/tmp/zelgen-png-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    for (int depth : {1, 3}) {
        ZelImageBuffer buffer;
        ASSERT_TRUE(buffer.CreateImage(5, 3, depth));  // rows padded to 8 or 16 bytes
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 5 * depth; ++x)
                buffer.GetDataPtr()[y * buffer.GetSizePerLine() + x] = static_cast<unsigned char>(17 * y + x);
        const std::string path = std::string(dir) + "/p" + std::to_string(depth) + ".png";
        std::string error;
        ASSERT_TRUE(WritePng(path, buffer, error)) << error;
        png_image image;
        std::memset(&image, 0, sizeof(image));
        image.version = PNG_IMAGE_VERSION;
        ASSERT_TRUE(png_image_begin_read_from_file(&image, path.c_str()));
        EXPECT_EQ(image.width, 5u);
        EXPECT_EQ(image.height, 3u);
        image.format = depth == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_BGR;
        std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
        ASSERT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr));
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < 5 * depth; ++x)
                EXPECT_EQ(pixels[static_cast<std::size_t>(y * 5 * depth + x)], 17 * y + x);
        unlink(path.c_str());
    }
    ZelImageBuffer buffer;
    ASSERT_TRUE(buffer.CreateImage(2, 2, 1));
    std::string error;
    const std::string missing = std::string(dir) + "/no/such/dir/x.png";
    EXPECT_FALSE(WritePng(missing, buffer, error));
    EXPECT_NE(error.find(missing), std::string::npos);
    EXPECT_EQ(rmdir(dir), 0);  // nothing left behind
}

}  // namespace
