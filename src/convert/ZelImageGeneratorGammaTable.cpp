#include "ZelImageGeneratorGammaTable.h"

#include <cmath>
#include <new>

ZelImageGeneratorGammaTable::~ZelImageGeneratorGammaTable() = default;

bool ZelImageGeneratorGammaTable::CreateTable(int min, int max, int width, int centre, float gamma, bool invert)
{
    // A NaN gamma never compares equal, so it always recomputes.
    if (m_windowWidth == width && m_windowCentre == centre && m_gamma == gamma && m_invert == invert && m_min == min &&
        m_max == max) {
        return true;
    }
    if (!ZelImageGeneratorTable::CreateTable(min, max)) return false;
    if (m_table == nullptr) {
        // The base keeps an unchanged range even without an array (a fresh
        // object asked for 0..0, or a range whose allocation failed): the
        // entries need a home.
        m_table = new (std::nothrow) unsigned char[static_cast<std::size_t>(static_cast<long long>(m_max) - m_min + 1)];
        if (m_table == nullptr) return false;
    }

    m_gamma = gamma;
    m_windowWidth = width < 2 ? 2 : width;
    m_windowCentre = centre;
    m_invert = invert;

    // The float/double mix below is deliberate: it fixes the exact bytes
    // (the inverted ramp is not the mirror of the rising one).
    const float exponent = gamma > 0.0f ? 1.0f / gamma : 1.0f;
    const double span = static_cast<double>(static_cast<float>(m_windowWidth - 1));
    const double start = static_cast<double>(static_cast<float>(centre)) - 0.5;
    // Clamped ends share one value each; pow(1, e) is 1 for every e.
    const auto atZero = static_cast<unsigned char>(
        static_cast<double>(static_cast<float>(std::pow(0.0, static_cast<double>(exponent)))) * 255.0);
    const long long count = static_cast<long long>(m_max) - m_min + 1;
    for (long long k = 0; k < count; ++k) {
        const double v = static_cast<double>(m_min + k);
        float x = static_cast<float>((v - start) / span + 0.5);
        if (invert) x = 1.0f - x;
        unsigned char entry;
        if (x <= 0.0f) {
            entry = atZero;
        } else if (x >= 1.0f) {
            entry = 255;
        } else {
            // pow(x, 1) is x exactly, so the common linear window skips pow.
            const float p = exponent == 1.0f
                                ? x
                                : static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(exponent)));
            entry = static_cast<unsigned char>(static_cast<double>(p) * 255.0);
        }
        m_table[k] = entry;
    }
    return true;
}
