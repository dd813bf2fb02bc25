// Symbol visibility for the shared library. Everything is hidden by default;
// exported classes and functions carry ZEL_API.
#pragma once

#if defined(_WIN32)
#if defined(ZEL_BUILDING_LIBRARY)
#define ZEL_API __declspec(dllexport)
#else
#define ZEL_API __declspec(dllimport)
#endif
#else
#define ZEL_API __attribute__((visibility("default")))
#endif

// Value types that appear as template arguments of exported instantiations
// (ZelImage<ZelRGBBase<unsigned char>>, for one) must be visible themselves:
// on ELF a hidden argument hides every instantiation made with it.
#if defined(_WIN32)
#define ZEL_VALUE_TYPE
#else
#define ZEL_VALUE_TYPE __attribute__((visibility("default")))
#endif
