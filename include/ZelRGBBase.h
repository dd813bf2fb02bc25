#pragma once

// One colour of three components, stored r, g, b.
template <class T>
struct ZelRGBBase {
    T r;
    T g;
    T b;
};
