// Calls that must refuse write nothing: runs a call on outputs whose bytes are
// first set to a marker and reports what it wrote.
#pragma once

#include <algorithm>
#include <vector>

#include "ZelImageBase.h"

struct MarkedCall {
    bool returned;
    bool untouched;  // every byte of every output still holds the marker
    bool scaleSet;   // some output's scale is no longer 1
};

template <class Call>
MarkedCall CallOnMarkedOutputs(const std::vector<ZelImageBase*>& outputs, Call call)
{
    const auto begin = [](const ZelImageBase* o) { return static_cast<unsigned char*>(o->GetVoidDataPtr()); };
    const auto end = [&](const ZelImageBase* o) { return begin(o) + o->GetElementCount() * o->GetVoxelBytes(); };
    for (ZelImageBase* o : outputs) std::fill(begin(o), end(o), 0x5A);
    MarkedCall result{call(), true, false};
    for (ZelImageBase* o : outputs) {
        result.untouched = result.untouched && std::all_of(begin(o), end(o), [](unsigned char b) { return b == 0x5A; });
        result.scaleSet = result.scaleSet || o->GetImageScale().x != 1.0f;
    }
    return result;
}
