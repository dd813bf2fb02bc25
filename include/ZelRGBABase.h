#pragma once

// One colour of four components, stored r, g, b, a. The float form is a
// colour-table entry.
template <class T>
struct ZelRGBABase {
    T r;
    T g;
    T b;
    T a;
};
