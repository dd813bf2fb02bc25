// The install check's consumer: one function per family of the library, each
// calling every exported class, instantiation and function of its family
// through the installed shared library, so that a missing export fails the
// link. Each returns false when the library answered something unexpected.
#pragma once

#include <cstdio>

#define CONSUMER_EXPECT(condition)                                                         \
    do {                                                                                   \
        if (!(condition)) {                                                                \
            std::fprintf(stderr, "consumer: %s:%d: %s\n", __FILE__, __LINE__, #condition); \
            return false;                                                                  \
        }                                                                                  \
    } while (0)

bool UseVolumes();
bool UseGenerators();
bool UseConvert();
bool UseCompose();
bool UseDraw();
bool UsePath();
bool UseCpr();
