// SPDX-License-Identifier: MIT
//
// The middle of the format engine: brings the pieces of a format and the arguments of a call
// together and writes to a sink. Format.h states what each conversion prints.
#pragma once

#include "Rondel/core/text/Format.h"
#include "Rondel/core/text/internal/FormatParser.h"
#include "Rondel/core/text/internal/FormatSink.h"

namespace rondel::internal {

// The greatest width, and the greatest precision of a number.
inline constexpr HxUInteger kGreatestFormatWidth = 65535;

// Appends the format with its conversions replaced. An exception of an argument's description
// passes through.
void formatTo(FormatSink& sink, const HxString& format, HxArguments arguments);

// Appends `length` bytes of UTF-8, or all up to a NUL if that is HxNotFound, but at most `limit`
// units. A byte that belongs to no well-formed sequence is U+FFFD; a surrogate pair that does not
// fit is left out. Reads no further than it needs to.
void appendUTF8(FormatSink& sink, const char* text, HxUInteger length, HxUInteger limit);

}  // namespace rondel::internal
