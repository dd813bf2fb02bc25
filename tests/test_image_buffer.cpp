// Display buffer: strides and padding, both copy semantics, allocators that
// refuse or move their block.
#include <gtest/gtest.h>

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

TEST(ImageBuffer, StrideAndPadding)
{
    struct Row {
        int w, h, d;
        int stride, padding;
    };
    const Row rows[] = {{5, 2, 3, 16, 1}, {4, 2, 1, 4, 0},   {1, 1, 1, 4, 3}, {7, 3, 4, 28, 0},
                        {3, 1, 3, 12, 3}, {17, 5, 1, 20, 3}, {2, 2, 2, 4, 0}};
    for (const Row& r : rows) {
        ZelImageBuffer b;
        ASSERT_TRUE(b.CreateImage(r.w, r.h, r.d));
        EXPECT_EQ(b.GetSizePerLine(), r.stride);
        EXPECT_EQ(b.GetPadding(), r.padding);
        EXPECT_EQ(b.GetSizePerLine() % 4, 0);
        // Fresh pages are zero-filled, padding included.
        for (int i = 0; i < r.stride * r.h; ++i) ASSERT_EQ(b.GetDataPtr()[i], 0);
    }
}

TEST(ImageBuffer, ZeroSizeIsEmptyAndSucceeds)
{
    ZelImageBuffer b;
    ASSERT_TRUE(b.CreateImage(8, 8, 4));
    EXPECT_TRUE(b.CreateImage(0, 10, 4));
    ExpectEmpty(b);
    EXPECT_TRUE(b.CreateImage(10, 0, 3));
    ExpectEmpty(b);
    b.ZeroClear();  // zero bytes, no crash on the null block
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
    EXPECT_EQ(b.GetWidth(), 7);
    EXPECT_EQ(b.GetDataPtr()[5], 0xCD);  // a new block, not cleared
    EXPECT_EQ(allocator.live, 1);
}

TEST(ImageBuffer, RefusingAllocatorLeavesEmptyDepthOne)
{
    CountingAllocator allocator;
    ZelImageBuffer b(&allocator);
    ASSERT_TRUE(b.CreateImage(4, 4, 4));
    allocator.refuse = true;
    EXPECT_FALSE(b.CreateImage(8, 8, 4));
    ExpectEmpty(b);
    EXPECT_EQ(allocator.live, 0);
    EXPECT_FALSE(b.CreateImage(-3, 2, 1));
}

TEST(ImageBuffer, PointerCopyIsDeepReferenceCopyIsShallow)
{
    ZelImageBuffer source;
    ASSERT_TRUE(source.CreateImage(5, 3, 3));
    for (int i = 0; i < source.GetSizePerLine() * 3; ++i) source.GetDataPtr()[i] = static_cast<unsigned char>(i * 7);
    source.SetUserWord(0xABCD1234u);

    ZelImageBuffer deep(&source);
    EXPECT_NE(deep.GetDataPtr(), source.GetDataPtr());
    EXPECT_EQ(deep.GetWidth(), 5);
    EXPECT_EQ(deep.GetDepth(), 3);
    EXPECT_EQ(std::memcmp(deep.GetDataPtr(), source.GetDataPtr(), 16 * 3), 0);

    {
        // The shallow copy shares the block; only one of the two may release it,
        // so this one is emptied through a placement of a fresh object before
        // it goes out of scope.
        alignas(ZelImageBuffer) unsigned char storage[sizeof(ZelImageBuffer)];
        auto* shallow = new (storage) ZelImageBuffer(source);
        EXPECT_EQ(shallow->GetDataPtr(), source.GetDataPtr());
        EXPECT_EQ(shallow->GetSizePerLine(), source.GetSizePerLine());
        EXPECT_EQ(shallow->GetUserWord(), 0xABCD1234u);
        // Not destroyed on purpose: source owns the block.
    }
    ZelImageBuffer empty(static_cast<ZelImageBuffer*>(nullptr));
    ExpectEmpty(empty);
    ZelImageBuffer literal(nullptr);
    EXPECT_EQ(literal.GetMemoryAllocator(), nullptr);
}

TEST(ImageBuffer, DeepCopyOfEmptyBufferIsEmpty)
{
    CountingAllocator allocator;
    ZelImageBuffer source(&allocator);
    ZelImageBuffer copy(&source);
    ExpectEmpty(copy);
    EXPECT_EQ(copy.GetMemoryAllocator(), &allocator);
}

TEST(ImageBuffer, RelocationIsFollowed)
{
    MovingAllocator allocator;
    ZelImageBuffer b(&allocator);
    ASSERT_TRUE(b.CreateImage(9, 9, 1));
    b.GetDataPtr()[3] = 77;
    allocator.Move();
    EXPECT_EQ(b.GetDataPtr(), allocator.current);
    EXPECT_EQ(b.GetDataPtr()[3], 77);
}

TEST(ImageBuffer, ZeroClearClearsPadding)
{
    CountingAllocator allocator;
    ZelImageBuffer b(&allocator);
    ASSERT_TRUE(b.CreateImage(5, 2, 3));
    b.ZeroClear();
    for (int i = 0; i < 32; ++i) ASSERT_EQ(b.GetDataPtr()[i], 0);
}

}  // namespace
