// PNG output. A picture is written to a temporary file beside the target and
// renamed over it, so a failure never leaves a half-written picture.
#pragma once

#include <string>

#include "ZelImageBuffer.h"

// Writes a display buffer of depth 1 (grey) or 3 (blue, green, red; written
// as RGB) to `path`. False with a message on failure; then `path` is
// untouched.
bool WritePng(const std::string& path, const ZelImageBuffer& buffer, std::string& error);
