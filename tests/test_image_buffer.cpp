// Display buffer: strides and padding, both copy semantics, allocators that
// refuse or move their block.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "ZelImageBuffer.h"
#include "test_allocators.h"

namespace {

void ExpectEmpty(const ZelImageBuffer& b)
{
    EXPECT_EQ(b.GetDataPtr(), nullptr);
    EXPECT_EQ(b.GetWidth(), 0);
    EXPECT_EQ(b.GetHeight(), 0);
    EXPECT_EQ(b.GetDepth(), 1);
    EXPECT_EQ(b.GetPadding(), 0);
}

bool AllZero(const ZelImageBuffer& b)
{
    const unsigned char* data = b.GetDataPtr();
    return std::all_of(data, data + b.GetSizePerLine() * b.GetHeight(), [](unsigned char v) { return v == 0; });
}

// Rows are padded to 4 bytes; fresh pages and ZeroClear zero the padding too.
TEST(ImageBuffer, StrideAndPadding)
{
    struct Row {
        int w, h, d;
        int stride, padding;
    };
    const Row rows[] = {{5, 2, 3, 16, 1}, {4, 2, 1, 4, 0},   {1, 1, 1, 4, 3}, {7, 3, 4, 28, 0},
                        {3, 1, 3, 12, 3}, {17, 5, 1, 20, 3}, {2, 2, 2, 4, 0}};
    CountingAllocator allocator;  // blocks start as 0xCD
    for (const Row& r : rows) {
        ZelImageBuffer b;
        ZelImageBuffer cleared(&allocator);
        ASSERT_TRUE(b.CreateImage(r.w, r.h, r.d));
        ASSERT_TRUE(cleared.CreateImage(r.w, r.h, r.d));
        EXPECT_EQ(b.GetSizePerLine(), r.stride);
        EXPECT_EQ(b.GetPadding(), r.padding);
        cleared.ZeroClear();
        EXPECT_TRUE(AllZero(b) && AllZero(cleared)) << r.w << "x" << r.h << "x" << r.d;
    }
}

TEST(ImageBuffer, ZeroSizeIsEmptyRefusalIsEmptyToo)
{
    CountingAllocator allocator;
    ZelImageBuffer b(&allocator);
    ASSERT_TRUE(b.CreateImage(8, 8, 4));
    EXPECT_TRUE(b.CreateImage(0, 10, 4));
    ExpectEmpty(b);
    b.ZeroClear();  // zero bytes, no crash on the null block
    ASSERT_TRUE(b.CreateImage(4, 4, 4));
    allocator.refuse = true;
    EXPECT_FALSE(b.CreateImage(8, 8, 4));
    ExpectEmpty(b);
    EXPECT_EQ(allocator.live, 0);
    EXPECT_FALSE(b.CreateImage(-3, 2, 1));
}

TEST(ImageBuffer, ResizeKeepsPixelsOnlyForTheSameSize)
{
    CountingAllocator allocator;
    ZelImageBuffer b(&allocator);
    ASSERT_TRUE(b.CreateImage(6, 4, 3));
    b.GetDataPtr()[5] = 42;
    unsigned char* before = b.GetDataPtr();
    EXPECT_TRUE(b.ResizeImage(6, 4));
    EXPECT_EQ(b.GetDataPtr(), before);
    EXPECT_EQ(b.GetDataPtr()[5], 42);
    ASSERT_TRUE(b.ResizeImage(7, 4));
    EXPECT_EQ(b.GetDepth(), 3);
    EXPECT_EQ(b.GetDataPtr()[5], 0xCD);  // a new block, not cleared
    EXPECT_EQ(allocator.live, 1);
}

TEST(ImageBuffer, PointerCopyIsDeepReferenceCopyIsShallow)
{
    CountingAllocator allocator;
    ZelImageBuffer source(&allocator);
    ExpectEmpty(ZelImageBuffer(&source));
    ASSERT_TRUE(source.CreateImage(5, 3, 3));
    for (int i = 0; i < 48; ++i) source.GetDataPtr()[i] = static_cast<unsigned char>(i * 7);
    source.SetUserWord(0xABCD1234u);

    ZelImageBuffer deep(&source);
    EXPECT_NE(deep.GetDataPtr(), source.GetDataPtr());
    EXPECT_EQ(deep.GetMemoryAllocator(), &allocator);
    EXPECT_EQ(std::memcmp(deep.GetDataPtr(), source.GetDataPtr(), 48), 0);

    // The shallow copy shares the block, which only source may release: it is
    // placed in raw storage and never destroyed.
    alignas(ZelImageBuffer) unsigned char storage[sizeof(ZelImageBuffer)];
    auto* shallow = new (storage) ZelImageBuffer(source);
    EXPECT_EQ(shallow->GetDataPtr(), source.GetDataPtr());
    EXPECT_EQ(shallow->GetSizePerLine(), 16);
    EXPECT_EQ(shallow->GetUserWord(), 0xABCD1234u);

    ExpectEmpty(ZelImageBuffer(static_cast<ZelImageBuffer*>(nullptr)));
    EXPECT_EQ(ZelImageBuffer(nullptr).GetMemoryAllocator(), nullptr);
}

TEST(ImageBuffer, RelocationIsFollowed)
{
    CountingAllocator allocator;
    ZelImageBuffer b(&allocator);
    ASSERT_TRUE(b.CreateImage(9, 9, 1));
    b.GetDataPtr()[3] = 77;
    allocator.Move(12 * 9);
    EXPECT_EQ(b.GetDataPtr(), allocator.latest);
    EXPECT_EQ(b.GetDataPtr()[3], 77);
}

}  // namespace
