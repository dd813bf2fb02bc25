#pragma once

// A plain 2-D vector: display positions (float) and image sizes (int).
template <class T>
struct Zel2DVector {
    T x;
    T y;
};
