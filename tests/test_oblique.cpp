// Oblique generator: coordinate mappings, the fixed-point set-up, every kernel
// against a plain per-pixel reference (vector and scalar kernels alike), tiled
// against linear, and the failure cases.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "ZelCPUController.h"
#include "generators/oblique_kernels.h"
#include "test_allocators.h"
#include "test_oblique_helpers.h"

#ifdef __linux__
#include <sys/mman.h>
#include <unistd.h>
#endif

using namespace oblique_test;

namespace {

constexpr int kW = 41;
constexpr int kH = 36;

// Runs with the vector kernels allowed or not and restores the default.
struct VectorKernels {
    explicit VectorKernels(bool allowed) { zel_oblique::ObliqueAllowVectorKernels(allowed); }
    ~VectorKernels() { zel_oblique::ObliqueAllowVectorKernels(true); }
};

std::unique_ptr<ZelImageBase> Generate(ZelImageBase& volume, int w, int h, const ZelObliqueImageGeneratorParam& p)
{
    ZelObliqueImageGenerator generator;
    generator.SetImage(&volume);
    return std::unique_ptr<ZelImageBase>(generator.GenerateImage(w, h, p));
}

TEST(ObliqueMapping, CentreMapsToCenterAndRoundTrips)
{
    std::mt19937 rng(11);
    const Zel3DVector<float> spacings[] = {{1, 1, 1}, {0.5f, 0.5f, 2.0f}, {0.7f, 1.3f, 0.9f}};
    for (const auto& spacing : spacings) {
        auto volume = MakeVolume<short>(33, 27, 21, spacing, 1);
        ZelObliqueImageGenerator g;
        g.SetImage(volume.get());
        for (int trial = 0; trial < 50; ++trial) {
            const ZelObliqueImageGeneratorParam p = RandomParam(rng, *volume);
            const int w = 10 + trial, h = 60 - trial;
            Zel3DVector<float> voxel;
            g.DisplayToVoxel(w, h, {(w - 1) * 0.5f, (h - 1) * 0.5f}, voxel, p);
            EXPECT_NEAR(voxel.x, p.center.x, 1e-4f);
            EXPECT_NEAR(voxel.y, p.center.y, 1e-4f);
            EXPECT_NEAR(voxel.z, p.center.z, 1e-4f);
            // Display -> voxel -> display, and the list form agrees.
            std::vector<Zel3DVector<float>> voxels;
            std::vector<Zel2DVector<float>> displays;
            for (int k = 0; k < 5; ++k) {
                const Zel2DVector<float> d{static_cast<float>(rng() % 200) * 0.37f - 20.0f,
                                           static_cast<float>(rng() % 200) * 0.29f - 20.0f};
                Zel3DVector<float> v;
                g.DisplayToVoxel(w, h, d, v, p);
                Zel2DVector<float> back;
                g.VoxelToDisplay(w, h, v, back, p);
                EXPECT_NEAR(back.x, d.x, 2e-3f);
                EXPECT_NEAR(back.y, d.y, 2e-3f);
                voxels.push_back(v);
            }
            ASSERT_TRUE(g.VoxelToDisplay(w, h, voxels, displays, p));
            ASSERT_EQ(displays.size(), voxels.size());
            for (std::size_t k = 0; k < voxels.size(); ++k) {
                Zel2DVector<float> one;
                g.VoxelToDisplay(w, h, voxels[k], one, p);
                EXPECT_EQ(displays[k].x, one.x);
                EXPECT_EQ(displays[k].y, one.y);
            }
        }
    }
}

TEST(ObliqueMapping, RangeResults)
{
    auto volume = MakeVolume<short>(33, 27, 21, {1, 1, 1}, 1);
    ZelObliqueImageGenerator g;
    ZelObliqueImageGeneratorParam p;  // identity plane through the origin voxel
    Zel3DVector<float> v{7, 7, 7};
    Zel2DVector<float> d{7, 7};
    std::vector<Zel2DVector<float>> list(3, d);
    EXPECT_FALSE(g.DisplayToVoxel(100, 100, {0, 0}, v, p));  // no volume: untouched
    EXPECT_EQ(v.x, 7.0f);
    EXPECT_FALSE(g.VoxelToDisplay(100, 100, {0, 0, 0}, d, p));
    EXPECT_FALSE(g.VoxelToDisplay(100, 100, std::vector<Zel3DVector<float>>(1), list, p));
    EXPECT_EQ(list.size(), 3u);
    g.SetImage(volume.get());

    struct Row {
        Zel2DVector<float> display;
        bool inside;
    };
    // Output 100 x 100: display (49.5, 49.5) is voxel (0, 0, 0).
    const Row rows[] = {{{49.5f, 49.5f}, true},
                        {{49.5f + 32, 49.5f + 26}, true},
                        {{49.5f + 33, 49.5f}, false},
                        {{48.5f, 49.5f}, false},
                        {{49.5f, 49.5f - 0.01f}, false}};
    for (const Row& r : rows) EXPECT_EQ(g.DisplayToVoxel(100, 100, r.display, v, p), r.inside) << r.display.x;
    // A voxel one outside still maps to a display position.
    EXPECT_FALSE(g.DisplayToVoxel(100, 100, {49.5f - 1, 49.5f}, v, p));
    EXPECT_FLOAT_EQ(v.x, -1.0f);
    // The last pixel counts as inside the display.
    p.center = {10, 10, 5};
    EXPECT_TRUE(g.VoxelToDisplay(21, 21, {20, 20, 3}, d, p));
    EXPECT_FLOAT_EQ(d.x, 20.0f);
    EXPECT_FALSE(g.VoxelToDisplay(21, 21, {20.5f, 20, 3}, d, p));
}

// The 17.15 walk follows DisplayToVoxel, and a slab starts n / 2 steps
// behind the plane.
TEST(ObliqueSetup, WalkFollowsDisplayToVoxel)
{
    std::mt19937 rng(5);
    auto volume = MakeVolume<short>(33, 27, 21, {0.6f, 0.9f, 1.5f}, 2);
    ZelObliqueImageGenerator g;
    g.SetImage(volume.get());
    for (int trial = 0; trial < 40; ++trial) {
        ZelObliqueImageGeneratorParam p = RandomParam(rng, *volume);
        p.thickness = 0.6f * static_cast<float>(trial % 5) + 0.01f;
        const zel_oblique::ObliqueSetup s = SetupFor(*volume, kW, kH, p);
        EXPECT_EQ(s.steps, trial % 5);
        const float sN[3] = {1.0f, 1.5f, 2.5f};
        for (int j : {0, kH - 1})
            for (int i : {0, kW / 2, kW - 1}) {
                Zel3DVector<float> v;
                g.DisplayToVoxel(kW, kH, {static_cast<float>(i), static_cast<float>(j)}, v, p);
                const float expect[3] = {v.x, v.y, v.z};
                std::int64_t q[3];
                SamplePosition(s, i, j, 0, q);
                for (int a = 0; a < 3; ++a) {
                    const float back = expect[a] - p.orientation.m[a][2] * s.steps * 0.5f / sN[a];
                    EXPECT_NEAR(static_cast<float>(q[a]) / 32768.0f, back, 4e-3f) << trial << " axis " << a;
                }
            }
    }
}

// Nearest output against the per-pixel reference for every type and layout.
template <class T>
void CheckNearest(int alignment, unsigned seed)
{
    std::mt19937 rng(seed);
    auto volume = MakeVolume<T>(33, 27, 21, {0.8f, 0.8f, 1.1f}, seed, alignment);
    for (int trial = 0; trial < 25; ++trial) {
        ZelObliqueImageGeneratorParam p = RandomParam(rng, *volume);
        p.interpolation = trial % 2;  // both mean nearest here
        if (ZelVoxelTypeCode<T>::value == ZEL_VOXEL_SHORT) {
            p.interpolation = 0;
        } else {
            p.thickness = static_cast<float>(trial % 3);  // unsigned types ignore the slab
        }
        auto image = Generate(*volume, kW, kH, p);
        ASSERT_NE(image, nullptr);
        const auto expected = ReferenceNearest(*volume, SetupFor(*volume, kW, kH, p));
        ASSERT_EQ(Pixels<T>(*image), expected) << "trial " << trial;
        const float scale = 0.8f / p.zoom;
        EXPECT_FLOAT_EQ(image->GetImageScale().x, scale);
        EXPECT_FLOAT_EQ(image->GetImageScale().z, scale);
    }
}

TEST(ObliqueNearest, MatchesReference)
{
    for (int alignment : {ZEL_ALIGNMENT_LINEAR, ZEL_ALIGNMENT_TILED}) {
        CheckNearest<unsigned char>(alignment, 21);
        CheckNearest<unsigned short>(alignment, 22);
        CheckNearest<short>(alignment, 23);
    }
}

// Interpolated planes and slabs, vector and scalar kernels, against the
// reference; planes through the edges exercise the checked slab pixels.
TEST(ObliqueInterpolated, PlaneAndSlabsMatchReference)
{
    struct Row {
        int steps;
        int mode;
    };
    const Row rows[] = {{0, 0}, {1, 0}, {4, 0}, {3, 1}, {6, 1}, {2, 2}, {5, 2}};
    std::mt19937 rng(31);
    for (int alignment : {ZEL_ALIGNMENT_LINEAR, ZEL_ALIGNMENT_TILED}) {
        auto volume = MakeVolume<short>(33, 27, 21, {1.0f, 1.0f, 1.25f}, 32, alignment);
        for (const Row& r : rows)
            for (int trial = 0; trial < 6; ++trial) {
                ZelObliqueImageGeneratorParam p = RandomParam(rng, *volume);
                p.thickness = r.steps + 0.5f;
                p.slabMode = r.mode;
                const auto expected = ReferenceInterpolated(*volume, SetupFor(*volume, kW, kH, p));
                for (bool vector : {true, false}) {
                    VectorKernels allow(vector);
                    auto image = Generate(*volume, kW, kH, p);
                    ASSERT_NE(image, nullptr);
                    ASSERT_EQ(Pixels<short>(*image), expected)
                        << "steps " << r.steps << " mode " << r.mode << " vector " << vector << " trial " << trial;
                }
            }
    }
}

// Sampling exactly on the last voxel of every axis, where the successor's
// weight is 0: axis-aligned planes through the far faces.
TEST(ObliqueInterpolated, FarFacesAndCorners)
{
    auto volume = MakeVolume<short>(33, 27, 21, {1, 1, 1}, 41, ZEL_ALIGNMENT_TILED);
    ZelObliqueImageGeneratorParam p;
    p.center = {32, 26, 20};
    p.slabMode = ZEL_OBLIQUE_SLAB_MAXIMUM;
    for (float thickness : {0.0f, 3.0f}) {
        p.thickness = thickness;
        auto image = Generate(*volume, 71, 61, p);
        const auto pixels = Pixels<short>(*image);
        EXPECT_EQ(pixels, ReferenceInterpolated(*volume, SetupFor(*volume, 71, 61, p)));
        // The centre pixel of a thin plane is the far corner voxel itself.
        if (thickness == 0.0f) {
            EXPECT_EQ(pixels[static_cast<std::size_t>(30) * 71 + 35], Voxel(*volume, 32, 26, 20));
        }
    }
}

// Against exact trilinear the interpolation is off by at most the final
// rounding, 1/8 and the steepest neighbour difference G times the position
// rounding (2^-15 in x, 2^-13 in y and z): smooth data and full-range noise.
TEST(ObliqueInterpolated, CloseToExactTrilinear)
{
    for (bool noise : {false, true}) {
        auto volume = MakeVolume<short>(9, 8, 7, {1, 1, 1}, 51);
        short* data = volume->GetDataPtr();
        for (int i = 0; i < 9 * 8 * 7 && !noise; ++i)
            data[i] = static_cast<short>(1500.0 * std::sin(i * 0.37) + (data[i] >> 8));
        int steepest = 0;
        for (int i = 0; i + 1 < 9 * 8 * 7; ++i)
            for (int d : {1, 9, 72})
                if (i + d < 9 * 8 * 7) steepest = std::max(steepest, std::abs(data[i + d] - data[i]));
        const double bound = 0.5 + 0.125 + steepest * (1.0 / 32768 + 2.0 / 8192);
        std::mt19937 rng(52);
        for (int trial = 0; trial < 20000; ++trial) {
            std::int64_t p[3];
            const int limit[3] = {8, 7, 6};
            for (int a = 0; a < 3; ++a) p[a] = static_cast<std::int64_t>(rng() % (limit[a] * 32768 + 1));
            double exact = 0.0;
            for (int corner = 0; corner < 8; ++corner) {
                double w = 1.0;
                int v[3];
                for (int a = 0; a < 3; ++a) {
                    const int bit = (corner >> a) & 1;
                    const double f = static_cast<double>(p[a] & 32767) / 32768.0;
                    w *= bit ? f : 1.0 - f;
                    v[a] = std::min(static_cast<int>(p[a] >> 15) + bit, limit[a]);
                }
                exact += w * Voxel(*volume, v[0], v[1], v[2]);
            }
            ASSERT_LE(std::abs(ReferenceSample(*volume, p) - exact), bound) << exact << " noise " << noise;
        }
    }
}

// Tiled volumes give the same pictures as linear ones, for every kernel.
TEST(ObliqueLayouts, TiledEqualsLinear)
{
    auto linear = MakeVolume<short>(35, 29, 19, {0.9f, 0.9f, 0.9f}, 61);
    std::unique_ptr<ZelImageBase> tiled(linear->Clone(ZEL_ALIGNMENT_TILED));
    auto linear8 = MakeVolume<unsigned char>(35, 29, 19, {0.9f, 0.9f, 0.9f}, 62);
    std::unique_ptr<ZelImageBase> tiled8(linear8->Clone(ZEL_ALIGNMENT_TILED));
    std::mt19937 rng(63);
    struct Row {
        int interpolation;
        float thickness;
        int mode;
    };
    const Row rows[] = {{0, 0, 0}, {1, 0, 0}, {1, 3.5f, 0}, {1, 3.5f, 1}, {1, 3.5f, 2}};
    for (const Row& r : rows)
        for (int trial = 0; trial < 5; ++trial) {
            ZelObliqueImageGeneratorParam p = RandomParam(rng, *linear);
            p.interpolation = r.interpolation;
            p.thickness = r.thickness;
            p.slabMode = r.mode;
            EXPECT_EQ(Pixels<short>(*Generate(*linear, kW, kH, p)), Pixels<short>(*Generate(*tiled, kW, kH, p)));
            EXPECT_EQ(Pixels<unsigned char>(*Generate(*linear8, kW, kH, p)),
                      Pixels<unsigned char>(*Generate(*tiled8, kW, kH, p)));
        }
}

TEST(ObliqueGenerate, PlaneOutsideIsBackground)
{
    auto volume = MakeVolume<short>(33, 27, 21, {1, 1, 1}, 71, ZEL_ALIGNMENT_TILED);
    auto volume16 = MakeVolume<unsigned short>(33, 27, 21, {1, 1, 1}, 72);
    ZelObliqueImageGeneratorParam p;
    p.center = {16, 13, 40};  // parallel to the z slices, 19 voxels beyond the last one
    p.backgroundValue = -1234;
    p.slabMode = ZEL_OBLIQUE_SLAB_MINIMUM;
    for (float thickness : {0.0f, 10.0f}) {
        p.thickness = thickness;
        EXPECT_EQ(Pixels<short>(*Generate(*volume, kW, kH, p)), std::vector<short>(kW * kH, -1234));
    }
    p.thickness = 0.0f;
    EXPECT_EQ(Pixels<unsigned short>(*Generate(*volume16, kW, kH, p)),
              std::vector<unsigned short>(kW * kH, static_cast<unsigned short>(-1234)));
}

TEST(ObliqueGenerate, FailuresWriteNothing)
{
    auto shortVolume = MakeVolume<short>(33, 27, 21, {0.5f, 0.5f, 1.0f}, 81);
    ZelImage<ZelRGBBase<unsigned char>> rgb;
    rgb.Allocate(ZEL_ALIGNMENT_LINEAR, 4, 4, 4);
    rgb.SetImageScale({0.5f, 0.5f, 0.5f});
    ZelImage<short> oddLayout;
    oddLayout.Allocate(2, 16, 16, 16, true);
    oddLayout.SetImageScale({0.5f, 0.5f, 0.5f});

    struct Row {
        const char* what;
        ZelImageBase* volume;
        int outputType;
        int outputAlignment;
        int interpolation;
        float thickness;
        float zoom;
        bool scaleSet;
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Row rows[] = {
        {"no volume", nullptr, ZEL_VOXEL_SHORT, 0, 1, 0, 1, false},
        {"types differ", shortVolume.get(), ZEL_VOXEL_USHORT, 0, 1, 0, 1, false},
        {"tiled output", shortVolume.get(), ZEL_VOXEL_SHORT, 1, 1, 0, 1, false},
        {"zoom 0", shortVolume.get(), ZEL_VOXEL_SHORT, 0, 1, 0, 0, false},
        {"zoom NaN", shortVolume.get(), ZEL_VOXEL_SHORT, 0, 1, 0, nan, false},
        {"interpolation 2", shortVolume.get(), ZEL_VOXEL_SHORT, 0, 2, 0, 1, true},
        {"nearest slab of short", shortVolume.get(), ZEL_VOXEL_SHORT, 0, 0, 0.5f, 1, true},
        {"slab too long", shortVolume.get(), ZEL_VOXEL_SHORT, 0, 1, 1e6f, 1, true},
        {"colour volume", &rgb, ZEL_VOXEL_RGB, 0, 0, 0, 1, true},
        {"unknown layout", &oddLayout, ZEL_VOXEL_SHORT, 0, 1, 0, 1, true},
    };
    for (const Row& r : rows) {
        ZelObliqueImageGenerator g;
        g.SetImage(r.volume);
        ZelObliqueImageGeneratorParam p;
        p.interpolation = r.interpolation;
        p.thickness = r.thickness;
        p.zoom = r.zoom;
        p.slabMode = 0;
        std::unique_ptr<ZelImageBase> out(ZelCreateImage(r.outputType));
        out->Allocate(r.outputAlignment, 8, 8, 1);
        std::memset(out->GetVoidDataPtr(), 0x5A,
                    static_cast<std::size_t>(out->GetElementCount()) * out->GetVoxelBytes());
        EXPECT_FALSE(g.GenerateImage(out.get(), p)) << r.what;
        const auto* bytes = static_cast<const unsigned char*>(out->GetVoidDataPtr());
        for (long long i = 0; i < out->GetElementCount() * out->GetVoxelBytes(); ++i)
            ASSERT_EQ(bytes[i], 0x5A) << r.what;
        EXPECT_EQ(out->GetImageScale().x != 1.0f, r.scaleSet) << r.what;
        // The creating form makes a proper output, so only the other causes fail it.
        const bool outputCause =
            r.volume == shortVolume.get() && (r.outputType != ZEL_VOXEL_SHORT || r.outputAlignment != 0);
        if (!outputCause) {
            EXPECT_EQ(g.GenerateImage(8, 8, p), nullptr) << r.what;
        }
    }
    ZelObliqueImageGenerator g;
    g.SetImage(shortVolume.get());
    EXPECT_FALSE(g.GenerateImage(nullptr, ZelObliqueImageGeneratorParam()));
    EXPECT_EQ(g.GenerateImage(0, 8, ZelObliqueImageGeneratorParam()), nullptr);
}

// An unknown slab mode leaves the pixels alone but succeeds; the scale is
// m / zoom whatever the orientation; the creating form uses the volume's
// allocator.
TEST(ObliqueGenerate, SlabModeScaleAndAllocator)
{
    CountingAllocator allocator;
    auto volume = MakeVolume<short>(33, 27, 21, {0.5f, 0.75f, 2.0f}, 91);
    ZelImage<short> onAllocator(&allocator);
    onAllocator.Allocate(ZEL_ALIGNMENT_LINEAR, 33, 27, 21);
    std::memcpy(onAllocator.GetDataPtr(), volume->GetDataPtr(), 33 * 27 * 21 * sizeof(short));
    onAllocator.SetImageScale(volume->GetImageScale());
    ZelObliqueImageGenerator g;
    g.SetImage(&onAllocator);
    std::mt19937 rng(92);
    ZelObliqueImageGeneratorParam p = RandomParam(rng, onAllocator);
    p.zoom = 2.0f;
    p.thickness = 2.0f;
    p.slabMode = 7;
    ZelImage<short> out;
    out.Allocate(ZEL_ALIGNMENT_LINEAR, 9, 9, 1);
    std::fill(out.GetDataPtr(), out.GetDataPtr() + 81, short{77});
    EXPECT_TRUE(g.GenerateImage(&out, p));
    EXPECT_EQ(Pixels<short>(out), std::vector<short>(81, 77));
    EXPECT_FLOAT_EQ(out.GetImageScale().y, 0.25f);
    p.slabMode = 1;
    std::unique_ptr<ZelImageBase> made(g.GenerateImage(9, 9, p));
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->GetMemoryAllocator(), &allocator);
    EXPECT_EQ(made->GetImageSize().z, 1);
    EXPECT_FLOAT_EQ(made->GetImageScale().x, 0.25f);
}

#ifdef __linux__
// A volume whose voxels touch inaccessible pages on both sides: the vector
// gathers must not reach past either end, at the first or the last voxel.
struct GuardedAllocator : ZelIMemoryAllocator {
    std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    bool atEnd = true;
    void* mapping = nullptr;
    std::size_t mapped = 0;
    bool Allocate(ZelAllocationRecord& record, ZelIRelocationEvent*, std::size_t bytes) override
    {
        const std::size_t inner = (bytes + page - 1) / page * page;
        mapped = inner + 2 * page;
        mapping = mmap(nullptr, mapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (mapping == MAP_FAILED) return false;
        char* first = static_cast<char*>(mapping) + page;
        mprotect(first, inner, PROT_READ | PROT_WRITE);
        record.address = atEnd ? first + inner - bytes : first;
        record.tag = bytes;
        return true;
    }
    void Free(ZelAllocationRecord& record) override
    {
        munmap(mapping, mapped);
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
            // Sizes of whole blocks, so that the tiled storage ends with the
            // last voxel too.
            ASSERT_EQ(volume.Allocate(alignment, 32, 16, 16), 0);
            for (int i = 0; i < 32 * 16 * 16; ++i) volume.GetDataPtr()[i] = static_cast<short>(i * 7);
            std::mt19937 rng(101);
            ZelObliqueImageGeneratorParam p;
            p.slabMode = ZEL_OBLIQUE_SLAB_MAXIMUM;
            // Odd output sizes put the centre pixel exactly on the corner
            // voxel; the turned planes sample around it.
            for (int turn = 0; turn < 4; ++turn)
                for (const Zel3DVector<float> centre : {Zel3DVector<float>{31, 15, 15}, Zel3DVector<float>{0, 0, 0}})
                    for (float thickness : {0.0f, 4.0f}) {
                        if (turn > 0) p.orientation = RandomRotation(rng);
                        p.center = centre;
                        p.thickness = thickness;
                        std::unique_ptr<ZelImageBase> image(Generate(volume, 63, 31, p));
                        ASSERT_NE(image, nullptr);
                        EXPECT_EQ(Pixels<short>(*image), ReferenceInterpolated(volume, SetupFor(volume, 63, 31, p)));
                    }
        }
}
#endif

}  // namespace
