// Fusion of display buffers and rotation of images of every type served.
#include <ZelImageGenerator.h>

#include <memory>

#include "consumer.h"

namespace {

template <class T>
bool UseRotate(T fill)
{
    ZelImage<T> source;
    CONSUMER_EXPECT(source.Allocate(ZEL_ALIGNMENT_LINEAR, 12, 8, 1) == 0);
    const Zel2DVector<int> size = ZelIGTransform::GetRotateImageSize({12, 8}, 0.5f);
    ZelImage<T> turned;
    CONSUMER_EXPECT(turned.Allocate(ZEL_ALIGNMENT_TILED, size.x + 1, size.y + 1, 1) == 0);
    return ZelIGTransform::Rotate(&turned, &source, 0.5f, fill);
}

}  // namespace

bool UseCompose()
{
    ZelImageBuffer grey;
    ZelImageBuffer colour;
    ZelImageBuffer overlay;
    CONSUMER_EXPECT(grey.CreateImage(10, 6, 1) && colour.CreateImage(10, 6, 3) && overlay.CreateImage(10, 6, 4));
    const ZelRGBBase<unsigned char> key{0, 0, 0};
    CONSUMER_EXPECT(ZelIGCompositor::Alpha(&colour, &overlay, 0.4f) == &colour);
    CONSUMER_EXPECT(ZelIGCompositor::Add(&grey, &colour, 0.5f) == &colour);
    CONSUMER_EXPECT(ZelIGCompositor::PixelAlpha(&colour, &overlay, 1.0f) == &colour);
    CONSUMER_EXPECT(ZelIGCompositor::PixelAdd(&overlay, &colour, 1.0f) == &colour);
    CONSUMER_EXPECT(ZelIGCompositor::Checker(&colour, &colour, 4) == &colour);
    CONSUMER_EXPECT(ZelIGCompositor::Multiply(&colour, &grey, 0.5f) == &colour);
    CONSUMER_EXPECT(ZelIGCompositor::MultiplyAlpha(&colour, &grey, {255, 0, 0}, 1.0f) == &colour);
    CONSUMER_EXPECT(ZelIGCompositor::Overwrite(&overlay, &overlay, key) == &overlay);
    CONSUMER_EXPECT(ZelIGCompositor::OverwriteAlpha(&grey, &grey, key, 0.5f) == &grey);
    ZelImageBuffer* fused = nullptr;
    CONSUMER_EXPECT(ZelIGCompositor::Color(&grey, &grey, fused) == fused && fused != nullptr);
    std::unique_ptr<ZelImageBuffer> owned(fused);

    CONSUMER_EXPECT(UseRotate<short>(-1024));
    CONSUMER_EXPECT(UseRotate<unsigned char>(0));
    CONSUMER_EXPECT(UseRotate<unsigned short>(0));
    return UseRotate(ZelRGBABase<unsigned char>{0, 0, 0, 0});
}
