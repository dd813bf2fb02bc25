// What the end-to-end tests of zelgen share: running the program in a
// scratch directory, reading the PNG pictures it writes, and writing small
// NIfTI volumes with a given transform.
#pragma once

#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "nifti1.h"
#include "nifti2.h"

namespace zelgen_test {

namespace fs = std::filesystem;

struct Result {
    int status = -1;
    std::string out, err;
};

inline std::string ReadText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void WriteBytes(const std::string& path, const std::string& bytes, bool gzip, const char* mode = "wb")
{
    if (gzip) {
        gzFile gz = gzopen(path.c_str(), mode);
        gzwrite(gz, bytes.data(), static_cast<unsigned>(bytes.size()));
        gzclose(gz);
    } else {
        std::ofstream(path, std::ios::binary) << bytes;
    }
}

// Overwrites a header field of a file's bytes (little-endian, as written here).
template <class T>
std::string Patched(std::string bytes, std::size_t offset, std::initializer_list<T> values)
{
    for (T v : values) {
        std::memcpy(&bytes[offset], &v, sizeof(T));
        offset += sizeof(T);
    }
    return bytes;
}

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
    // -1 off the picture (or for a picture that was not written).
    int At(int x, int y) const
    {
        if (x < 0 || y < 0 || x >= width || y >= height) return -1;
        return pixels[static_cast<std::size_t>((y * width + x) * channels)];
    }
    // Red, green and blue as 0xRRGGBB (grey in all three); -1 off the picture.
    long Rgb(int x, int y) const
    {
        if (x < 0 || y < 0 || x >= width || y >= height) return -1;
        const unsigned char* p = &pixels[static_cast<std::size_t>((y * width + x) * channels)];
        const int last = channels - 1;
        return (static_cast<long>(p[0]) << 16) | (p[last > 0 ? 1 : 0] << 8) | p[last];
    }
};

inline bool ReadPng(const std::string& path, Picture& picture)
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
        const int raw =
            std::system(("cd '" + m_dir + "' && '" ZELGEN_PATH "' " + args + " >" + out + " 2>" + err).c_str());
        Result r{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, ReadText(out), ReadText(err)};
        fs::remove(out);
        fs::remove(err);
        return r;
    }

    // `render args -o name`, which must succeed, and the picture it wrote.
    Picture Render(const std::string& args, const std::string& name = "out.png", Result* result = nullptr) const
    {
        const Result r = Run("render " + args + " -o " + name);
        Picture p;
        EXPECT_EQ(r.status, 0) << args << ": " << r.err;
        EXPECT_TRUE(ReadPng(Path(name), p)) << args;
        if (result) *result = r;
        return p;
    }

    std::vector<std::string> Files() const
    {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(m_dir)) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    // Runs `args`, which must fail with one error line that mentions
    // `mention`, and leave the directory's files as they were.
    void ExpectRefused(const std::string& args, const std::string& mention) const
    {
        const std::vector<std::string> before = Files();
        const Result r = Run(args);
        EXPECT_EQ(r.status, 2) << args << "\n" << r.err;
        EXPECT_EQ(r.err.rfind("zelgen: error: ", 0), 0u) << args << "\n" << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << args << "\n" << r.err;
        EXPECT_NE(r.err.find(mention), std::string::npos) << args << "\n" << r.err;
        EXPECT_EQ(Files(), before) << args;
    }

    std::string m_dir;
};

// A test volume: int values, index i fastest, and its ijk -> RAS transform
// with the patient origin at the volume's centre.
struct TestVolume {
    int n[3];
    std::vector<int> values;
    double m[3][4];
    int& At(int i, int j, int k) { return values[static_cast<std::size_t>((k * n[1] + j) * n[0] + i)]; }
};

inline TestVolume MakeVolume(int nx, int ny, int nz, const double m[3][3])
{
    TestVolume v{{nx, ny, nz}, std::vector<int>(static_cast<std::size_t>(nx * ny * nz), 0), {}};
    for (int r = 0; r < 3; ++r) {
        v.m[r][3] = 0;
        for (int c = 0; c < 3; ++c) {
            v.m[r][c] = m[r][c];
            v.m[r][3] -= m[r][c] * 0.5 * (v.n[c] - 1);
        }
    }
    return v;
}

template <class T>
void Append(std::string& out, double value)
{
    const T stored = static_cast<T>(value);
    out.append(reinterpret_cast<const char*>(&stored), sizeof(T));
}

// Voxel bytes of the volume in a NIfTI type, stored as value - intercept.
inline std::string Encode(const TestVolume& v, int datatype, double intercept = 0)
{
    std::string out;
    for (int value : v.values) {
        const double stored = value - intercept;
        switch (datatype) {
        case DT_UINT8: Append<std::uint8_t>(out, stored); break;
        case DT_INT16: Append<std::int16_t>(out, stored); break;
        case DT_UINT16: Append<std::uint16_t>(out, stored); break;
        case DT_INT32: Append<std::int32_t>(out, stored); break;
        case DT_FLOAT32: Append<float>(out, stored); break;
        default: Append<double>(out, stored); break;
        }
    }
    return out;
}

// A single-file NIfTI with an sform; both versions name their fields alike.
template <class Header>
std::string NiftiBytes(Header h, const TestVolume& v, int datatype, double intercept)
{
    const std::string data = Encode(v, datatype, intercept);
    h.dim[0] = 3;
    h.pixdim[0] = 1;
    for (int a = 0; a < 3; ++a) {
        h.dim[a + 1] = v.n[a];
        h.pixdim[a + 1] = std::hypot(v.m[0][a], v.m[1][a], v.m[2][a]);
    }
    h.datatype = datatype;
    h.bitpix = 8 * data.size() / v.values.size();
    h.vox_offset = sizeof(h) + 4;
    h.scl_slope = 1;
    h.scl_inter = intercept;
    h.sform_code = 1;
    for (int c = 0; c < 4; ++c) {
        h.srow_x[c] = v.m[0][c];
        h.srow_y[c] = v.m[1][c];
        h.srow_z[c] = v.m[2][c];
    }
    return std::string(reinterpret_cast<const char*>(&h), sizeof(h)) + std::string(4, '\0') + data;
}

inline void WriteNifti(const std::string& path, const TestVolume& v, int version, int datatype, double intercept = 0)
{
    nifti_1_header h1{};
    nifti_2_header h2{};
    h1.sizeof_hdr = 348;
    std::memcpy(h1.magic, "n+1", 4);
    h2.sizeof_hdr = 540;
    std::memcpy(h2.magic, "n+2\0\r\n\032\n", 8);
    WriteBytes(path, version == 1 ? NiftiBytes(h1, v, datatype, intercept) : NiftiBytes(h2, v, datatype, intercept),
               path.size() > 3 && path.substr(path.size() - 3) == ".gz");
}

}  // namespace zelgen_test
