// Oblique generator: the coordinate mappings and the fixed-point walk that
// follows them; every kernel (nearest, plane, slab; vector and scalar; linear
// and tiled) against a plain per-pixel reference; and the failure cases.
#include <gtest/gtest.h>

#include "generators/dispatch.h"
#include "test_allocators.h"
#include "test_oblique_helpers.h"
#include "test_refusal.h"

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

using namespace oblique_test;

namespace {

constexpr int kW = 41;
constexpr int kH = 36;

// Runs with the vector kernels allowed or not and restores the default.
struct VectorKernels : ZelSimdCapScope {
    explicit VectorKernels(bool allowed) : ZelSimdCapScope(allowed ? ZelSimd::kAvx2 : ZelSimd::kScalar) {}
};

std::unique_ptr<ZelImageBase> Generate(ZelImageBase& volume, int w, int h, const ZelObliqueImageGeneratorParam& p)
{
    ZelObliqueImageGenerator generator;
    generator.SetImage(&volume);
    return std::unique_ptr<ZelImageBase>(generator.GenerateImage(w, h, p));
}

// The centre pixel shows the centre; display -> voxel -> display is the
// identity in the single and the list form; the 17.15 walk follows
// DisplayToVoxel, a slab of n = floor(thickness / m) steps starting n / 2
// steps behind the plane.
TEST(ObliqueMapping, CentreRoundTripAndWalk)
{
    std::mt19937 rng(11);
    for (const Zel3DVector<float> spacing : {Zel3DVector<float>{1, 1, 1}, {0.5f, 0.5f, 2.0f}, {0.6f, 0.9f, 1.5f}}) {
        auto volume = MakeVolume<short>(33, 27, 21, spacing, 1);
        ZelObliqueImageGenerator g;
        g.SetImage(volume.get());
        const float m = std::min(spacing.x, std::min(spacing.y, spacing.z));
        const float s[3] = {spacing.x / m, spacing.y / m, spacing.z / m};
        for (int trial = 0; trial < 40; ++trial) {
            ZelObliqueImageGeneratorParam p = RandomParam(rng, *volume);
            p.thickness = m * static_cast<float>(trial % 5) + 0.01f * m;
            const int w = 10 + trial, h = 60 - trial;
            Zel3DVector<float> v;
            g.DisplayToVoxel(w, h, {(w - 1) * 0.5f, (h - 1) * 0.5f}, v, p);
            EXPECT_NEAR(v.x, p.center.x, 1e-4f);
            EXPECT_NEAR(v.y, p.center.y, 1e-4f);
            EXPECT_NEAR(v.z, p.center.z, 1e-4f);
            std::vector<Zel2DVector<float>> displays(5), back(5), list;
            std::vector<Zel3DVector<float>> voxels(5);
            for (int k = 0; k < 5; ++k) {
                displays[k] = {static_cast<float>(rng() % 200) * 0.37f - 20.0f,
                               static_cast<float>(rng() % 200) * 0.29f - 20.0f};
                g.DisplayToVoxel(w, h, displays[k], voxels[k], p);
                g.VoxelToDisplay(w, h, voxels[k], back[k], p);
            }
            ASSERT_TRUE(g.VoxelToDisplay(w, h, voxels, list, p) && list.size() == 5u);
            for (int k = 0; k < 5; ++k)
                for (const auto& d : {back[k], list[k]}) {
                    EXPECT_NEAR(d.x, displays[k].x, 2e-3f);
                    EXPECT_NEAR(d.y, displays[k].y, 2e-3f);
                }
            const zel_oblique::ObliqueSetup setup = SetupFor(*volume, w, h, p);
            ASSERT_EQ(setup.steps, trial % 5);
            for (int j : {0, h - 1})
                for (int i : {0, w / 2, w - 1}) {
                    g.DisplayToVoxel(w, h, {static_cast<float>(i), static_cast<float>(j)}, v, p);
                    const float plane[3] = {v.x, v.y, v.z};
                    std::int64_t q[3];
                    SamplePosition(setup, i, j, 0, q);
                    for (int a = 0; a < 3; ++a)
                        EXPECT_NEAR(q[a] / 32768.0f, plane[a] - p.orientation.m[a][2] * setup.steps * 0.5f / s[a],
                                    4e-3f);
                }
        }
    }
}

// Inside is 0 <= voxel <= size - 1 and 0 <= display <= W - 1, both ends
// included; the position is written either way. Without a volume nothing is.
TEST(ObliqueMapping, InsideRanges)
{
    auto volume = MakeVolume<short>(33, 27, 21, {1, 1, 1}, 1);
    ZelObliqueImageGenerator g;
    ZelObliqueImageGeneratorParam p;  // identity plane through voxel (0, 0, 0)
    Zel3DVector<float> v{7, 7, 7};
    Zel2DVector<float> d{7, 7};
    std::vector<Zel2DVector<float>> list(3, d);
    EXPECT_FALSE(g.DisplayToVoxel(100, 100, {0, 0}, v, p));
    EXPECT_FALSE(g.VoxelToDisplay(100, 100, {0, 0, 0}, d, p));
    EXPECT_FALSE(g.VoxelToDisplay(100, 100, std::vector<Zel3DVector<float>>(1), list, p));
    EXPECT_TRUE(v.x == 7.0f && list.size() == 3u);
    g.SetImage(volume.get());
    // Display (49.5, 49.5) of a 100 x 100 output is voxel (0, 0, 0).
    const struct {
        float x, y;
        bool inside;
    } rows[] = {{49.5f, 49.5f, true},
                {81.5f, 75.5f, true},
                {82.5f, 49.5f, false},
                {49.5f, 49.49f, false},
                {48.5f, 49.5f, false}};
    for (const auto& r : rows) EXPECT_EQ(g.DisplayToVoxel(100, 100, {r.x, r.y}, v, p), r.inside) << r.x << " " << r.y;
    EXPECT_FLOAT_EQ(v.x, -1.0f);
    p.center = {10, 10, 5};
    EXPECT_TRUE(g.VoxelToDisplay(21, 21, {20, 20, 3}, d, p));
    EXPECT_FLOAT_EQ(d.x, 20.0f);
    EXPECT_FALSE(g.VoxelToDisplay(21, 21, {20.5f, 20, 3}, d, p));
}

// The image of a volume and of its tiled copy, with the vector kernels and
// without, against the reference; returns the reference.
template <class T>
std::vector<T> CheckAgainstReference(ZelImage<T>& volume, const ZelObliqueImageGeneratorParam& p, bool interpolated,
                                     int w = kW, int h = kH)
{
    std::unique_ptr<ZelImageBase> tiled(volume.Clone(ZEL_ALIGNMENT_TILED));
    const auto expected = Reference(volume, SetupFor(volume, w, h, p), interpolated);
    for (ZelImageBase* v : {static_cast<ZelImageBase*>(&volume), tiled.get()})
        for (bool vector : {true, false}) {
            VectorKernels allow(vector);
            auto image = Generate(*v, w, h, p);
            EXPECT_TRUE(image && Pixels<T>(*image) == expected) << "tiled " << v->IsTiled() << " vector " << vector
                                                                << " steps " << p.thickness << " mode " << p.slabMode;
            EXPECT_TRUE(image && image->GetImageScale().z == volume.GetImageScale().x / p.zoom);
        }
    return expected;
}

// Nearest for types 1, 3 and 4 (unsigned volumes whatever the interpolation
// and slab), interpolated planes and slabs of every mode; planes through the
// edges exercise the checked slab pixels.
TEST(ObliqueKernels, MatchReference)
{
    auto bytes = MakeVolume<unsigned char>(33, 27, 21, {0.8f, 0.8f, 1.1f}, 21);
    auto words = MakeVolume<unsigned short>(33, 27, 21, {0.8f, 0.8f, 1.1f}, 22);
    auto shorts = MakeVolume<short>(33, 27, 21, {0.8f, 0.8f, 1.1f}, 23);
    const struct {
        int type, interpolation, steps, mode;
    } rows[] = {{1, 0, 0, 0}, {1, 1, 2, 1}, {3, 1, 0, 0}, {3, 0, 1, 2}, {4, 0, 0, 0}, {4, 1, 0, 0},
                {4, 1, 1, 0}, {4, 1, 4, 0}, {4, 1, 3, 1}, {4, 1, 6, 1}, {4, 1, 2, 2}, {4, 1, 5, 2}};
    std::mt19937 rng(24);
    for (const auto& r : rows)
        for (int trial = 0; trial < 10; ++trial) {
            ZelObliqueImageGeneratorParam p = RandomParam(rng, *shorts);
            p.interpolation = r.interpolation;
            p.thickness = 0.8f * (r.steps + 0.5f);
            p.slabMode = r.mode;
            if (r.type == 1) CheckAgainstReference(*bytes, p, false);
            if (r.type == 3) CheckAgainstReference(*words, p, false);
            if (r.type == 4) CheckAgainstReference(*shorts, p, r.interpolation == 1);
        }
}

// The reference itself against exact trilinear, which reproduces multilinear
// data: off by at most the final rounding, 1/8 and the steepest neighbour
// difference G times the position rounding (2^-15 in x, 2^-13 in y and z).
TEST(ObliqueInterpolated, ReferenceCloseToExactTrilinear)
{
    const auto f = [](double x, double y, double z) {
        return 40 * x + 300 * y - 50 * z + 9 * x * y - 70 * x * z + 11 * y * z - 3 * x * y * z;
    };
    auto volume = MakeVolume<short>(9, 8, 7, {1, 1, 1}, 51);
    double steepest = 0;  // a step along an axis does not depend on that axis' coordinate
    for (int i = 0; i < 9 * 8 * 7; ++i) {
        const int x = i % 9, y = i / 9 % 8, z = i / 72;
        volume->GetDataPtr()[i] = static_cast<short>(f(x, y, z));
        for (int a = 0; a < 3; ++a)
            steepest = std::max(steepest, std::abs(f(x + (a == 0), y + (a == 1), z + (a == 2)) - f(x, y, z)));
    }
    const double bound = 0.5 + 0.125 + steepest * (1.0 / 32768 + 2.0 / 8192);
    std::mt19937 rng(52);
    for (int trial = 0; trial < 20000; ++trial) {
        std::int64_t p[3];
        for (int a = 0; a < 3; ++a) p[a] = static_cast<std::int64_t>(rng() % ((8 - a) * 32768 + 1));
        const double exact = f(p[0] / 32768.0, p[1] / 32768.0, p[2] / 32768.0);
        ASSERT_LE(std::abs(ReferenceSample(*volume, p) - exact), bound) << exact;
    }
}

// Nearest, plane and slab of a plane parallel to the z slices, 19 voxels
// beyond the last one.
TEST(ObliqueGenerate, PlaneOutsideIsBackground)
{
    auto volume = MakeVolume<short>(33, 27, 21, {1, 1, 1}, 71);
    ZelObliqueImageGeneratorParam p;
    p.center = {16, 13, 40};
    p.backgroundValue = -1234;
    p.slabMode = ZEL_OBLIQUE_SLAB_MINIMUM;
    for (const float thickness : {-1.0f, 0.0f, 10.0f}) {
        p.interpolation = thickness < 0.0f ? 0 : 1;
        p.thickness = thickness;
        EXPECT_EQ(Pixels<short>(*Generate(*volume, kW, kH, p)), std::vector<short>(kW * kH, -1234)) << thickness;
    }
}

// Refusals write no pixel (the scale only where the combination alone is
// refused); an unknown slab mode succeeds without writing a pixel. The
// creating form fails alike, except for faults of the given output, and
// allocates on the volume's allocator.
TEST(ObliqueGenerate, RefusalsWriteNothing)
{
    CountingAllocator allocator;
    ZelImage<short> shorts(&allocator);
    ZelImage<ZelRGBBase<unsigned char>> rgb;
    ZelImage<short> oddLayout;
    ASSERT_TRUE(shorts.Allocate(ZEL_ALIGNMENT_LINEAR, 33, 27, 21) == 0 &&
                rgb.Allocate(ZEL_ALIGNMENT_LINEAR, 4, 4, 4) == 0 && oddLayout.Allocate(2, 16, 16, 16, true) == 0);
    for (ZelImageBase* v : std::vector<ZelImageBase*>{&shorts, &rgb, &oddLayout}) v->SetImageScale({0.5f, 0.5f, 1.0f});
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const struct {
        const char* what;
        ZelImageBase* volume;
        int outputType, outputAlignment, interpolation, slabMode;
        float thickness, zoom;
        bool succeeds, scaleSet, creatingFails;
    } rows[] = {
        {"no volume", nullptr, ZEL_VOXEL_SHORT, 0, 1, 0, 0, 1, false, false, true},
        {"types differ", &shorts, ZEL_VOXEL_USHORT, 0, 1, 0, 0, 1, false, false, false},
        {"tiled output", &shorts, ZEL_VOXEL_SHORT, 1, 1, 0, 0, 1, false, false, false},
        {"zoom 0", &shorts, ZEL_VOXEL_SHORT, 0, 1, 0, 0, 0, false, false, true},
        {"zoom NaN", &shorts, ZEL_VOXEL_SHORT, 0, 1, 0, 0, nan, false, false, true},
        {"interpolation 2", &shorts, ZEL_VOXEL_SHORT, 0, 2, 0, 0, 2, false, true, true},
        {"nearest slab of short", &shorts, ZEL_VOXEL_SHORT, 0, 0, 0, 0.5f, 2, false, true, true},
        {"slab too long", &shorts, ZEL_VOXEL_SHORT, 0, 1, 0, 1e6f, 2, false, true, true},
        {"colour volume", &rgb, ZEL_VOXEL_RGB, 0, 0, 0, 0, 2, false, true, true},
        {"unknown layout", &oddLayout, ZEL_VOXEL_SHORT, 0, 1, 0, 0, 2, false, true, true},
        {"unknown slab mode", &shorts, ZEL_VOXEL_SHORT, 0, 1, 7, 2.0f, 2, true, true, false},
    };
    for (const auto& r : rows) {
        ZelObliqueImageGenerator g;
        g.SetImage(r.volume);
        ZelObliqueImageGeneratorParam p;
        p.interpolation = r.interpolation;
        p.slabMode = r.slabMode;
        p.thickness = r.thickness;
        p.zoom = r.zoom;
        std::unique_ptr<ZelImageBase> out(ZelCreateImage(r.outputType));
        out->Allocate(r.outputAlignment, 8, 8, 1);
        const MarkedCall call = CallOnMarkedOutputs({out.get()}, [&] { return g.GenerateImage(out.get(), p); });
        EXPECT_TRUE(call.returned == r.succeeds && call.untouched) << r.what;
        EXPECT_EQ(call.scaleSet, r.scaleSet) << r.what;
        EXPECT_TRUE(!r.scaleSet || out->GetImageScale().y == 0.5f / r.zoom) << r.what;
        std::unique_ptr<ZelImageBase> made(g.GenerateImage(8, 8, p));
        EXPECT_EQ(made == nullptr, r.creatingFails) << r.what;
        EXPECT_TRUE(!made || made->GetMemoryAllocator() == &allocator) << r.what;
        EXPECT_FALSE(g.GenerateImage(nullptr, p)) << r.what;
        EXPECT_EQ(g.GenerateImage(0, 8, p), nullptr) << r.what;
    }
}

#ifdef __linux__
// Blocks whose first or last byte touches an inaccessible page: the vector
// kernels must not read past either end of a volume.
struct GuardedAllocator : ZelIMemoryAllocator {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    bool atEnd = true;
    std::size_t Inner(std::size_t bytes) const { return (bytes + page - 1) / page * page; }
    bool Allocate(ZelAllocationRecord& record, ZelIRelocationEvent*, std::size_t bytes) override
    {
        void* mapping = mmap(nullptr, Inner(bytes) + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapping == MAP_FAILED) return false;
        char* first = static_cast<char*>(mapping) + page;
        mprotect(first, Inner(bytes), PROT_READ | PROT_WRITE);
        record.address = atEnd ? first + Inner(bytes) - bytes : first;
        record.tag = bytes;
        return true;
    }
    void Free(ZelAllocationRecord& record) override
    {
        const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(record.address) / page * page;
        munmap(reinterpret_cast<void*>(first - page), Inner(record.tag) + 2 * page);
        record.address = nullptr;
    }
    std::size_t GetSize(const ZelAllocationRecord& record) const override { return record.tag; }
    void QueryRelocation(ZelAllocationRecord&) override {}
};

TEST(ObliqueInterpolated, VectorKernelsStayInsideTheVolume)
{
    for (int alignment : {ZEL_ALIGNMENT_LINEAR, ZEL_ALIGNMENT_TILED})
        for (bool atEnd : {true, false}) {
            GuardedAllocator allocator;
            allocator.atEnd = atEnd;
            ZelImage<short> volume(&allocator);
            // Whole blocks, so that the tiled storage ends with the last voxel too.
            ASSERT_EQ(volume.Allocate(alignment, 32, 16, 16), 0);
            for (int i = 0; i < 32 * 16 * 16; ++i) volume.GetDataPtr()[i] = static_cast<short>(i * 7);
            std::mt19937 rng(101);
            ZelObliqueImageGeneratorParam p;
            p.slabMode = ZEL_OBLIQUE_SLAB_MAXIMUM;
            // Odd output sizes put the centre pixel exactly on a corner voxel;
            // the turned planes sample around it.
            for (int turn = 0; turn < 4; ++turn)
                for (const Zel3DVector<float> corner : {Zel3DVector<float>{31, 15, 15}, Zel3DVector<float>{0, 0, 0}})
                    for (float thickness : {0.0f, 4.0f}) {
                        if (turn > 0) p.orientation = RandomRotation(rng);
                        p.center = corner;
                        p.thickness = thickness;
                        const auto expected = CheckAgainstReference(volume, p, true, 63, 31);
                        if (turn == 0 && thickness == 0.0f) {
                            EXPECT_EQ(expected[15 * 63 + 31],
                                      Voxel(volume, int(corner.x), int(corner.y), int(corner.z)));
                        }
                    }
        }
}
#endif

}  // namespace
