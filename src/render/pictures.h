// Encoded pictures (JPEG, PNG, BMP, GIF) decoded by gdk-pixbuf into cairo surfaces.
#pragma once

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace galvix::render {

using PictureData = std::shared_ptr<const std::vector<std::uint8_t>>;

// A surface for the picture, or null when it cannot be decoded. A JPEG keeps its encoded bytes
// as the surface's JPEG mime data, so PDF and SVG embed the original instead of re-encoding.
// The caller owns the returned reference.
cairo_surface_t* decodePicture(const PictureData& data);

// The format of an encoded picture ("jpeg", "png", "gif", "bmp", ...) when the whole of it
// decodes, else empty: a report can refuse a picture it could not print before it is placed.
std::string pictureFormat(const std::vector<std::uint8_t>& data);

}  // namespace galvix::render
