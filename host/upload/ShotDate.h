// When a picture was taken, by what it tells of itself.
#pragma once

#include <exiv2/exiv2.hpp>
#include <string>

namespace kelo::host {

// "2024-05-17T10:11:12", on the camera's clock, of a picture whose metadata were read; empty: not
// known. What is no date is passed over.
std::string ShotDate(const Exiv2::Image& picture);

}  // namespace kelo::host
