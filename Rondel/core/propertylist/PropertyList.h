// SPDX-License-Identifier: MIT
//
// Property lists: nested values kept as text, for settings, descriptions and tables of messages.
//
//   HxError error;
//   HxAny list = HxPropertyListWithString("{ words = ( cc, \"-c\" ); }"_hx, &error);
//   if (!list) HxLog("%@"_hx, error.localizedDescription());   // "line 3, column 7: ..."
//   HxData xml = HxDataFromPropertyList(list, HxPropertyListFormat::xml, &error);
//
// A property list is a string, data, an array of property lists or a dictionary of them whose keys
// are strings; in the XML form also a number, a boolean (an HxNumber too) or a date. It nests at
// most HxPropertyListDepthLimit containers deep.
//
// The two forms are told apart by their first character behind blanks: '<' with '?', '!' or a
// letter behind it begins the XML form, unless hexadecimal digits alone lead to a '>', which makes
// it data; everything else is the text form.
//
// The text form.
//   { key = value; other; }     a dictionary. Each entry ends with ';', and a key alone is its own
//                               value
//   key = value; other;         the same without braces: the form of tables of messages. A text of
//                               nothing but blanks and comments is an empty one
//   ( a, b, c )                 an array; a comma may stand behind the last value
//   <0fbd 7700>                 data: hexadecimal digits in pairs, blanks between them
//   word                        a bare string: letters and digits of ASCII and any of _ $ / : . - +
//                               A comment of the form // does not begin inside one
//   "text"                      a quoted string, of any characters, line ends included. In it
//                               \a \b \f \n \r \t \v \" \\ have their meaning as in C, \NNN is
//                               the character of an octal number to 377 (ISO 8859-1), \Uxxxx the
//                               UTF-16 unit of four hexadecimal digits; any other escape is an
//                               error
//   // ..., /* ... */           comments, to the end of the line or between the marks, wherever
//                               blanks may stand
// Of a key that stands twice the last value counts, in both forms.
//
// The XML form. The root element is plist and holds one value: dict (key and value in turn), array,
// string, data (base64, RFC 4648), integer (decimal, 64 bits), real, true, false, date (RFC 3339,
// UTC). Attributes are ignored. Entity declarations are refused, and nothing outside the document
// is ever read.
//
// Encodings of data and files: UTF-8 with or without a signature, UTF-16 with a byte order mark,
// and for XML what its declaration says: UTF-8, UTF-16, ISO-8859-1 or US-ASCII.
//
// Errors. A reader gives the whole list or nil, never a part. Its error has the domain
// HxPropertyListErrorDomain, one of the codes below, and a description "line 3, column 7: what was
// found"; both count from 1, columns in characters. A file that cannot be read gives an error of
// HxPOSIXErrorDomain; with a file, its path stands under HxFilePathErrorKey.
//
// The lists that are read are immutable throughout. All functions may be used on any thread.
#pragma once

#include "Rondel/core/object/Error.h"

namespace rondel {

class HxData;

// How many containers may lie in one another.
inline constexpr HxUInteger HxPropertyListDepthLimit = 512;

enum HxPropertyListErrorCode : HxInteger {
  HxPropertyListSyntaxError = 1,    // the text breaks the grammar
  HxPropertyListEncodingError = 2,  // the bytes are not text in their encoding
  HxPropertyListDepthError = 3,     // nested deeper than the limit, read or written
  HxPropertyListValueError = 4,     // to be written, but no property list or not in that form
};

enum class HxPropertyListFormat { text, xml };

// The list in the bytes, in the text, in the file; nil with an error when there is none. Nil data
// or text is an error; a nil path is one of the system, ENOENT.
RONDEL_EXPORT HxAny HxPropertyListWithData(const HxData& data, HxError* error = nullptr);
RONDEL_EXPORT HxAny HxPropertyListWithString(const HxString& text, HxError* error = nullptr);
RONDEL_EXPORT HxAny HxPropertyListWithContentsOfFile(const HxString& path,
                                                     HxError* error = nullptr);

// The list as text in UTF-8, with keys in order of their code units; nil with an error when it is
// no property list. The error's description tells where: "key 'a', index 2: ...". Reading gives an
// equal list, but for this:
//   In the text form numbers and booleans become strings of their stringValue, dates of their
//   rfc3339String. Non-ASCII characters stand as they are, control characters and lone surrogates
//   as escapes.
//   In the XML form dates lose fractions of a second, and strings with characters that XML does not
//   allow (most control characters, lone surrogates, U+FFFE, U+FFFF) are an error.
RONDEL_EXPORT HxData HxDataFromPropertyList(const HxHandle& list, HxPropertyListFormat format,
                                            HxError* error = nullptr);

}  // namespace rondel
