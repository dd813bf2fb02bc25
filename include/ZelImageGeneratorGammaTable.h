#pragma once

#include "ZelExport.h"
#include "ZelImageGeneratorTable.h"

// A lookup table filled from a display window (width, centre), a gamma and an
// inversion flag. Value v maps to
//   x = (v - (centre - 0.5)) / (width - 1) + 0.5, inverted as 1 - x, clamped
//   to [0, 1], then pow(x, 1 / gamma) * 255 truncated,
// with the single- and double-precision steps fixed so that the bytes are
// reproducible. Widths below 2 act as 2; gammas that are not positive act as 1.
// Copies are shallow, as for the base.
class ZEL_API ZelImageGeneratorGammaTable : public ZelImageGeneratorTable {
public:
    ZelImageGeneratorGammaTable() = default;
    ZelImageGeneratorGammaTable(const ZelImageGeneratorGammaTable& source) = default;
    ZelImageGeneratorGammaTable& operator=(const ZelImageGeneratorGammaTable& source) = default;
    ~ZelImageGeneratorGammaTable() override;

    using ZelImageGeneratorTable::CreateTable;
    // Recomputes the entries unless every argument equals the stored one.
    // False only when the range cannot be allocated.
    bool CreateTable(int min, int max, int width, int centre, float gamma, bool invert);

    int GetWindowWidth() const { return m_windowWidth; }
    int GetWindowCentre() const { return m_windowCentre; }
    float GetGamma() const { return m_gamma; }
    bool GetInvert() const { return m_invert; }

private:
    int m_windowWidth = 0;
    int m_windowCentre = 0;
    float m_gamma = 1.0f;
    bool m_invert = false;
};
