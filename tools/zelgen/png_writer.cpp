#include "png_writer.h"

#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// libpng reports errors by longjmp; nothing with a destructor may live in
// this function between setjmp and the last libpng call.
bool EncodePng(FILE* file, int width, int height, int channels, png_bytep* rows)
{
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
                 channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_write_image(png, rows);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace

bool WritePng(const std::string& path, const ZelImageBuffer& buffer, std::string& error)
{
    const int width = buffer.GetWidth(), height = buffer.GetHeight(), depth = buffer.GetDepth();
    if (width <= 0 || height <= 0 || (depth != 1 && depth != 3) || !buffer.GetDataPtr()) {
        error = "nothing to write to '" + path + "'";
        return false;
    }
    // The display buffer holds blue, green, red; PNG wants red, green, blue.
    std::vector<unsigned char> rgb;
    std::vector<png_bytep> rows(static_cast<std::size_t>(height));
    const int stride = buffer.GetSizePerLine();
    if (depth == 3) {
        rgb.resize(static_cast<std::size_t>(width) * 3 * height);
        for (int y = 0; y < height; ++y) {
            const unsigned char* in = buffer.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * stride;
            unsigned char* out = rgb.data() + static_cast<std::size_t>(y) * width * 3;
            for (int x = 0; x < width; ++x) {
                out[3 * x] = in[3 * x + 2];
                out[3 * x + 1] = in[3 * x + 1];
                out[3 * x + 2] = in[3 * x];
            }
            rows[static_cast<std::size_t>(y)] = out;
        }
    } else {
        for (int y = 0; y < height; ++y)
            rows[static_cast<std::size_t>(y)] =
                const_cast<png_bytep>(buffer.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * stride);
    }

    std::string temp = path + ".XXXXXX";
    std::vector<char> name(temp.begin(), temp.end());
    name.push_back('\0');
    const int fd = mkstemp(name.data());
    if (fd < 0) {
        error = "cannot write '" + path + "': " + std::strerror(errno);
        return false;
    }
    temp = name.data();
    FILE* file = fdopen(fd, "wb");
    if (!file) {
        error = "cannot write '" + path + "': " + std::strerror(errno);
        close(fd);
        unlink(temp.c_str());
        return false;
    }
    // mkstemp makes the file private; a picture is for everyone to read.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    bool ok = EncodePng(file, width, height, depth, rows.data());
    ok = std::fflush(file) == 0 && ok;
    ok = std::fclose(file) == 0 && ok;
    if (ok && std::rename(temp.c_str(), path.c_str()) == 0) return true;
    error = "cannot write '" + path + "': " + std::strerror(errno ? errno : EIO);
    unlink(temp.c_str());
    return false;
}
