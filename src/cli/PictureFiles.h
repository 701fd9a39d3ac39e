#pragma once
// Writing a composed frame to a picture file for `quorvex render`.

#include <string>

#include "image/Picture.h"

namespace qv::cli {

// Writes picture as a PNG file (8-bit RGB). False with `why` set when it cannot.
bool SavePng(const Picture& picture, const std::string& fileName, std::string& why);

}  // namespace qv::cli
