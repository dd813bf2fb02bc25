#include "phantom.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "ZelCPUController.h"
#include "ZelParallel.h"
#include "ZelVoxelIndex.h"

namespace {

struct Ellipsoid {
    float cx, cy, cz;  // centre, in units of the half field of view (-1..1)
    float ax, ay, az;  // semi-axes, same units
    // Squared normalised radius of point (x, y, z) given in the same units.
    float Radius2(float x, float y, float z) const
    {
        const float dx = (x - cx) / ax, dy = (y - cy) / ay, dz = (z - cz) / az;
        return dx * dx + dy * dy + dz * dz;
    }
};

const Ellipsoid kHead{0.0f, 0.0f, 0.0f, 0.78f, 0.92f, 0.90f};
const Ellipsoid kSkullOuter{0.0f, 0.0f, 0.0f, 0.74f, 0.88f, 0.86f};
const Ellipsoid kSkullInner{0.0f, 0.0f, 0.0f, 0.67f, 0.81f, 0.79f};
const Ellipsoid kWhiteMatter{0.0f, 0.02f, 0.05f, 0.46f, 0.58f, 0.52f};
const Ellipsoid kVentricles[] = {{-0.10f, -0.02f, 0.08f, 0.06f, 0.26f, 0.16f},
                                 {0.10f, -0.02f, 0.08f, 0.06f, 0.26f, 0.16f}};
struct Lesion {
    Ellipsoid shape;
    short value;
};
const Lesion kLesions[] = {{{0.30f, 0.35f, 0.20f, 0.045f, 0.04f, 0.05f}, 72},
                           {{-0.32f, -0.40f, -0.10f, 0.03f, 0.03f, 0.035f}, 80},
                           {{0.18f, -0.50f, 0.35f, 0.025f, 0.025f, 0.03f}, 68},
                           {{-0.20f, 0.50f, -0.30f, 0.05f, 0.05f, 0.06f}, 75}};

// The face, low and in front (v < 0 is anterior, w < 0 inferior, u < 0 the
// patient's right): eyes with their lenses in orbits of fat, and a nose that
// stands out of the head. They make the orientation of every plane plain to
// see.
const Ellipsoid kOrbits[] = {{-0.30f, -0.64f, -0.32f, 0.17f, 0.19f, 0.16f},
                             {0.30f, -0.64f, -0.32f, 0.17f, 0.19f, 0.16f}};
const Ellipsoid kEyes[] = {{-0.30f, -0.66f, -0.32f, 0.12f, 0.12f, 0.12f}, {0.30f, -0.66f, -0.32f, 0.12f, 0.12f, 0.12f}};
const Ellipsoid kLenses[] = {{-0.30f, -0.765f, -0.32f, 0.05f, 0.022f, 0.05f},
                             {0.30f, -0.765f, -0.32f, 0.05f, 0.022f, 0.05f}};
const Ellipsoid kNose{0.0f, -0.84f, -0.50f, 0.07f, 0.13f, 0.18f};

// Cheap deterministic hash noise in -6..6.
int Noise(int x, int y, int z)
{
    std::uint32_t h = static_cast<std::uint32_t>(x) * 73856093u ^ static_cast<std::uint32_t>(y) * 19349663u ^
                      static_cast<std::uint32_t>(z) * 83492791u;
    h ^= h >> 13;
    h *= 0x5bd1e995u;
    h ^= h >> 15;
    return static_cast<int>(h % 13u) - 6;
}

// Vessel centre in half-field units at height w (-1..1).
void VesselCentre(float w, float& u, float& v)
{
    u = 0.28f * std::sin(2.6f * w + 0.4f);
    v = 0.20f * std::cos(1.9f * w) - 0.05f;
}

// What lies at (u, v, w) apart from the vessel: its structure and value.
struct Voxel {
    unsigned char label;
    short value;
};

Voxel Tissue(float u, float v, float w)
{
    for (int side = 0; side < 2; ++side)
        if (kOrbits[side].Radius2(u, v, w) <= 1.0f) {
            if (kLenses[side].Radius2(u, v, w) <= 1.0f) return {ZEL_PHANTOM_LENS, 95};
            if (kEyes[side].Radius2(u, v, w) <= 1.0f) return {ZEL_PHANTOM_EYE, 12};
            if (kHead.Radius2(u, v, w) > 1.0f) return {ZEL_PHANTOM_AIR, -1000};
            return {ZEL_PHANTOM_ORBITAL_FAT, -90};
        }
    if (kNose.Radius2(u, v, w) <= 1.0f) return {ZEL_PHANTOM_NOSE, 40};
    if (kHead.Radius2(u, v, w) > 1.0f) return {ZEL_PHANTOM_AIR, -1000};
    const float outer = kSkullOuter.Radius2(u, v, w);
    if (outer > 1.0f) return {ZEL_PHANTOM_SCALP, 40};
    if (kSkullInner.Radius2(u, v, w) > 1.0f) {
        // Cortical tables on both sides of a softer diploe.
        const float inner = kSkullInner.Radius2(u, v, w);
        const float t = (outer - 1.0f) / (inner - outer + 1e-6f);  // 0 at the inner table .. -1 at the outer one
        return {ZEL_PHANTOM_SKULL, static_cast<short>((t > -0.3f || t < -0.7f) ? 1400 : 700)};
    }
    Voxel voxel = kWhiteMatter.Radius2(u, v, w) <= 1.0f ? Voxel{ZEL_PHANTOM_WHITE_MATTER, 28}
                                                        : Voxel{ZEL_PHANTOM_GREY_MATTER, 38};
    for (const Ellipsoid& e : kVentricles)
        if (e.Radius2(u, v, w) <= 1.0f) voxel = {ZEL_PHANTOM_VENTRICLE, 6};
    for (const Lesion& l : kLesions)
        if (l.shape.Radius2(u, v, w) <= 1.0f) voxel = {ZEL_PHANTOM_LESION, l.value};
    return voxel;
}

// The field of view is isotropic in millimetres, so the phantom keeps its
// shape whatever the grid: coordinates are scaled by the larger half extent.
struct Field {
    float fx, fy, fz, half;
    float vesselRadius2;

    explicit Field(const ZelPhantomOptions& o)
        : fx(o.sizeX * o.spacingX),
          fy(o.sizeY * o.spacingY),
          fz(o.sizeZ * o.spacingZ),
          half(0.5f * std::max(fx, std::max(fy, fz)))
    {
        const float radius = 2.2f / half;  // 2.2 mm
        vesselRadius2 = radius * radius;
    }
    // Normalised coordinates of a voxel position (voxel units, centres at
    // whole numbers) along one axis.
    float U(float x, const ZelPhantomOptions& o) const { return ((x + 0.5f) * o.spacingX - 0.5f * fx) / half; }
    float V(float y, const ZelPhantomOptions& o) const { return ((y + 0.5f) * o.spacingY - 0.5f * fy) / half; }
    float W(float z, const ZelPhantomOptions& o) const { return ((z + 0.5f) * o.spacingZ - 0.5f * fz) / half; }
    // The vessel's centre at height w.
    void Vessel(float w, float& vu, float& vv) const
    {
        VesselCentre(w * half / (0.5f * fz), vu, vv);
        vu *= 0.5f * fx / half;
        vv *= 0.5f * fy / half;
    }
};

// The structure and value at (u, v, w), the vessel included; (vu, vv) is the
// vessel's centre at that height.
Voxel Structure(const Field& field, float u, float v, float w, float vu, float vv)
{
    Voxel voxel = Tissue(u, v, w);
    // The vessel runs through soft tissue and the diploe, never air or cortical bone.
    if (voxel.value > -1000 && voxel.value < 1000) {
        const float du = u - vu, dv = v - vv;
        if (du * du + dv * dv <= field.vesselRadius2) voxel = {ZEL_PHANTOM_VESSEL, 330};
    }
    return voxel;
}

// Calls f(x, y, z, voxel) for every voxel centre of the grid, slices spread
// over the processors.
template <class F>
void ForEachVoxel(const ZelPhantomOptions& o, F&& f)
{
    const Field field(o);
    ZelParallelSplit(o.sizeZ, ZelCPUController::GetAvailableCPUNumInThread(), [&](int z0, int z1) {
        std::vector<float> us(static_cast<std::size_t>(o.sizeX));
        for (int x = 0; x < o.sizeX; ++x) us[static_cast<std::size_t>(x)] = field.U(static_cast<float>(x), o);
        for (int z = z0; z < z1; ++z) {
            const float w = field.W(static_cast<float>(z), o);
            float vu, vv;
            field.Vessel(w, vu, vv);
            for (int y = 0; y < o.sizeY; ++y) {
                const float v = field.V(static_cast<float>(y), o);
                for (int x = 0; x < o.sizeX; ++x)
                    f(x, y, z, Structure(field, us[static_cast<std::size_t>(x)], v, w, vu, vv));
            }
        }
    });
}

template <class T>
ZelImage<T>* Allocated(const ZelPhantomOptions& o)
{
    auto* image = new ZelImage<T>();
    if (image->Allocate(o.alignment, o.sizeX, o.sizeY, o.sizeZ) != 0) {
        delete image;
        return nullptr;
    }
    image->SetImageScale({o.spacingX, o.spacingY, o.spacingZ});
    return image;
}

}  // namespace

void ZelPhantomVesselCentre(const ZelPhantomOptions& o, float z, float& x, float& y)
{
    const float hz = 0.5f * (o.sizeZ - 1);
    float u, v;
    VesselCentre((z - hz) / (0.5f * o.sizeZ), u, v);
    x = 0.5f * (o.sizeX - 1) + u * 0.5f * o.sizeX;
    y = 0.5f * (o.sizeY - 1) + v * 0.5f * o.sizeY;
}

std::vector<Zel3DVector<float>> ZelPhantomVesselPath(const ZelPhantomOptions& o, int points)
{
    // From 85 % of the height down to 15 %, where the vessel runs inside the
    // skull.
    std::vector<Zel3DVector<float>> path;
    for (int k = 0; k < points; ++k) {
        const float z = (0.85f - 0.7f * static_cast<float>(k) / static_cast<float>(points - 1)) * (o.sizeZ - 1);
        float x, y;
        ZelPhantomVesselCentre(o, z, x, y);
        path.push_back({x, y, z});
    }
    return path;
}

ZelImage<short>* ZelMakeHeadPhantom(const ZelPhantomOptions& o)
{
    ZelImage<short>* image = Allocated<short>(o);
    if (!image) return nullptr;
    const ZelVoxelAddressing at(*image);
    short* data = image->GetDataPtr();
    ForEachVoxel(o, [&](int x, int y, int z, Voxel voxel) {
        data[at(x, y, z)] = static_cast<short>(voxel.value + (o.noise && voxel.value > -1000 ? Noise(x, y, z) : 0));
    });
    return image;
}

ZelImage<unsigned char>* ZelMakeHeadPhantomLabels(const ZelPhantomOptions& o)
{
    ZelImage<unsigned char>* image = Allocated<unsigned char>(o);
    if (!image) return nullptr;
    const ZelVoxelAddressing at(*image);
    unsigned char* data = image->GetDataPtr();
    ForEachVoxel(o, [&](int x, int y, int z, Voxel voxel) { data[at(x, y, z)] = voxel.label; });
    return image;
}

ZelImage<short>* ZelMakeHeadPhantomUptake(const ZelPhantomOptions& o)
{
    // Relative uptake per structure: a glucose-like tracer, high in grey
    // matter and in the lesions, low in white matter, bone and fluid.
    static const short kUptake[ZEL_PHANTOM_STRUCTURES] = {0, 20, 10, 100, 30, 5, 400, 60, 25, 10, 10, 20};
    ZelImage<short>* image = Allocated<short>(o);
    if (!image) return nullptr;
    const ZelVoxelAddressing at(*image);
    short* data = image->GetDataPtr();
    const Field field(o);
    // Each voxel averages 4 x 4 x 4 points inside it: the partial volume of a
    // coarse scanner, so edges are soft as in a real PET.
    const int n = 4;
    ZelParallelSplit(o.sizeZ, ZelCPUController::GetAvailableCPUNumInThread(), [&](int z0, int z1) {
        for (int z = z0; z < z1; ++z)
            for (int y = 0; y < o.sizeY; ++y)
                for (int x = 0; x < o.sizeX; ++x) {
                    int sum = 0;
                    for (int k = 0; k < n; ++k) {
                        const float w = field.W(z + (k + 0.5f) / n - 0.5f, o);
                        float vu, vv;
                        field.Vessel(w, vu, vv);
                        for (int j = 0; j < n; ++j)
                            for (int i = 0; i < n; ++i) {
                                const Voxel voxel = Structure(field, field.U(x + (i + 0.5f) / n - 0.5f, o),
                                                              field.V(y + (j + 0.5f) / n - 0.5f, o), w, vu, vv);
                                sum += kUptake[voxel.label];
                            }
                    }
                    data[at(x, y, z)] = static_cast<short>(sum / (n * n * n));
                }
    });
    return image;
}
