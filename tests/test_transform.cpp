// Rotation: the listed sizes and values, every pixel type against a model of
// the sampling rules (the bilinear rule with its special cases, which read no
// neighbour of weight 0), and tiled images against linear ones.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "ZelIGTransform.h"
#include "ZelVoxelIndex.h"

namespace {

template <class T>
std::unique_ptr<ZelImage<T>> MakeImage(int w, int h, int alignment)
{
    auto image = std::make_unique<ZelImage<T>>();
    EXPECT_EQ(image->Allocate(alignment, w, h, 1), 0);
    return image;
}

template <class T>
T& At(const ZelImage<T>& image, int x, int y)
{
    return image.GetDataPtr()[ZelVoxelAddressing(image)(x, y, 0)];
}

// A pixel as one comparable number.
template <class T>
int Value(const T& v)
{
    if constexpr (std::is_same_v<T, ZelRGBABase<unsigned char>>) {
        return v.r | v.g << 8 | v.b << 16 | v.a << 24;
    } else {
        return v;
    }
}

template <class T>
T Random(std::mt19937& random)
{
    if constexpr (std::is_same_v<T, ZelRGBABase<unsigned char>>) {
        return {static_cast<unsigned char>(random()), static_cast<unsigned char>(random()),
                static_cast<unsigned char>(random()), static_cast<unsigned char>(random())};
    } else {
        return static_cast<T>(random());
    }
}

// The rules as written: the walk by additions, then the sample.
template <class T>
std::vector<int> Model(const ZelImage<T>& source, int dw, int dh, float angle, T fill)
{
    const int sw = source.GetImageSize().x;
    const int sh = source.GetImageSize().y;
    const double c = std::cos(static_cast<double>(angle));
    const double s = std::sin(static_cast<double>(angle));
    double rowX = (sw - 1) * 0.5 + c * (0.0 - (dw - 1) * 0.5) - s * (0.0 - (dh - 1) * 0.5);
    double rowY = (sh - 1) * 0.5 + s * (0.0 - (dw - 1) * 0.5) + c * (0.0 - (dh - 1) * 0.5);
    std::vector<int> out;
    for (int y = 0; y < dh; ++y, rowX += -s, rowY += c) {
        double sx = rowX;
        double sy = rowY;
        for (int x = 0; x < dw; ++x, sx += c, sy += s) {
            int value = Value(fill);
            if constexpr (std::is_same_v<T, short>) {
                if (sx >= 0 && sx <= sw - 1 && sy >= 0 && sy <= sh - 1) {
                    const int ix = static_cast<int>(std::floor(sx));
                    const int iy = static_cast<int>(std::floor(sy));
                    const double fx = sx - ix;
                    const double fy = sy - iy;
                    const double c00 = At(source, ix, iy);
                    double v = c00;
                    if (fy == 0 && fx != 0) {
                        v = c00 * (1 - fx) + At(source, ix + 1, iy) * fx;
                    } else if (fx == 0 && fy != 0) {
                        v = At(source, ix, iy + 1) * fy + c00 * (1 - fy);
                    } else if (fx != 0 && fy != 0) {
                        v = (At(source, ix, iy + 1) * (1 - fx) + At(source, ix + 1, iy + 1) * fx) * fy +
                            (1 - fy) * (c00 * (1 - fx) + At(source, ix + 1, iy) * fx);
                    }
                    value = static_cast<int>(v);
                }
            } else {
                const int ix = static_cast<int>(sx + 0.5);
                const int iy = static_cast<int>(sy + 0.5);
                if (ix >= 0 && iy >= 0 && ix <= sw - 1 && iy <= sh - 1) {
                    value = Value(At(source, ix, iy));
                }
            }
            out.push_back(value);
        }
    }
    return out;
}

template <class T>
void CheckType()
{
    std::mt19937 random(sizeof(T));
    const T fill = Random<T>(random);
    struct Case {
        int sw, sh, dw, dh;
        float angle;
    };
    const Case cases[] = {
        {20, 13, 20, 13, 0.0f}, {20, 13, 26, 17, 0.0f},     {31, 17, 35, 40, 0.5236f}, {16, 16, 16, 16, 1.5707964f},
        {33, 9, 20, 40, -2.7f}, {5, 40, 41, 6, 3.1415927f}, {17, 18, 30, 30, 0.01f},   {1, 1, 3, 3, 0.3f},
    };
    for (const Case& c : cases) {
        auto source = MakeImage<T>(c.sw, c.sh, ZEL_ALIGNMENT_LINEAR);
        for (int y = 0; y < c.sh; ++y) {
            for (int x = 0; x < c.sw; ++x) At(*source, x, y) = Random<T>(random);
        }
        std::unique_ptr<ZelImage<T>> tiledSource(source->Clone(ZEL_ALIGNMENT_TILED));
        const std::vector<int> expected = Model(*source, c.dw, c.dh, c.angle, fill);
        for (int layouts = 0; layouts < 4; ++layouts) {
            auto destination = MakeImage<T>(c.dw, c.dh, layouts & 1 ? ZEL_ALIGNMENT_TILED : ZEL_ALIGNMENT_LINEAR);
            ASSERT_TRUE(ZelIGTransform::Rotate(destination.get(), layouts & 2 ? tiledSource.get() : source.get(),
                                               c.angle, fill));
            std::vector<int> got;
            for (int y = 0; y < c.dh; ++y) {
                for (int x = 0; x < c.dw; ++x) got.push_back(Value(At(*destination, x, y)));
            }
            EXPECT_EQ(got, expected) << sizeof(T) << " bytes, " << c.sw << "x" << c.sh << " to " << c.dw << "x" << c.dh
                                     << " angle " << c.angle << " layouts " << layouts;
        }
    }
}

TEST(Rotate, EveryTypeAndLayoutFollowsTheRules)
{
    CheckType<short>();
    CheckType<unsigned char>();
    CheckType<unsigned short>();
    CheckType<ZelRGBABase<unsigned char>>();
}

TEST(Rotate, ListedValues)
{
    EXPECT_EQ(ZelIGTransform::GetRotateImageSize({100, 50}, 0.0f).x, 99);
    EXPECT_EQ(ZelIGTransform::GetRotateImageSize({100, 50}, 0.0f).y, 49);
    const Zel2DVector<int> turned = ZelIGTransform::GetRotateImageSize({100, 50}, 1.5707964f);
    EXPECT_EQ(turned.x, 50);
    EXPECT_EQ(turned.y, 100);

    // Same size at angle 0 copies; a larger destination gets the fill around.
    auto source = MakeImage<short>(2, 1, ZEL_ALIGNMENT_LINEAR);
    source->GetDataPtr()[0] = -5;
    source->GetDataPtr()[1] = 0;
    auto same = MakeImage<short>(2, 1, ZEL_ALIGNMENT_LINEAR);
    ASSERT_TRUE(ZelIGTransform::Rotate(same.get(), source.get(), 0.0f, 9));
    EXPECT_EQ(same->GetDataPtr()[0], -5);
    EXPECT_EQ(same->GetDataPtr()[1], 0);
    auto wider = MakeImage<short>(3, 1, ZEL_ALIGNMENT_LINEAR);  // columns at -0.5, 0.5, 1.5
    ASSERT_TRUE(ZelIGTransform::Rotate(wider.get(), source.get(), 0.0f, 9));
    EXPECT_EQ(wider->GetDataPtr()[0], 9);
    EXPECT_EQ(wider->GetDataPtr()[1], -2);  // -2.5 truncated toward zero
    EXPECT_EQ(wider->GetDataPtr()[2], 9);

    ZelImage<short> empty;
    EXPECT_TRUE(ZelIGTransform::Rotate(wider.get(), &empty, 0.3f, 4));
    EXPECT_EQ(wider->GetDataPtr()[1], 4);
    EXPECT_TRUE(ZelIGTransform::Rotate(&empty, source.get(), 0.3f, 4));
    EXPECT_FALSE(ZelIGTransform::Rotate(nullptr, source.get(), 0.3f, 4));
    EXPECT_FALSE(ZelIGTransform::Rotate(wider.get(), nullptr, 0.3f, 4));
}

}  // namespace
