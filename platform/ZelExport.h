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
