// The Python path plane, for the CPR bindings that read it.
#pragma once

#include "ZelPathPlane.h"
#include "common.h"

namespace zelpy {

// The path planes of a PathPlane object; refuses other objects.
const ZelPathPlane& PathPlaneOf(const py::handle& object);

}  // namespace zelpy
