// Segmentation results: every segmentation command is piecesOf with its unit,
// locale flag and result shape.
#pragma once

#include <cstdint>
#include <string_view>

#include "tessaro/value.hpp"
#include "text/segments.hpp"

namespace tessaro::text {

enum class PieceShape : std::uint8_t {
  strings,      // a list of the pieces' text
  boxedRanges,  // a list of range values
  rangePairs,   // a list of {location, length} integer lists
  count,        // an integer
};

// The text of a command's text argument: no value reads as empty text; any
// other kind but a string is a host failure (unrecognized selector).
std::u16string_view textArgument(const Value& text);

Value piecesOf(const Value& text, TextUnit unit, bool localized, PieceShape shape);

}  // namespace tessaro::text
