// SPDX-License-Identifier: MIT
//
// Property lists: nested values kept as text, for settings, descriptions and tables of messages.
//
//   HxError error;
//   HxAny list = HxPropertyListWithString("{ words = ( cc, \"-c\" ); }"_hx, &error);
//   if (!list) HxLog("%@"_hx, error.localizedDescription());   // "line 3, column 7: ..."
//   HxData xml = HxDataFromPropertyList(list, HxPropertyListFormat::xml, &error);
//
// A property list is a string, data, an array of property lists or a dictionary of them. Keys are
// strings. In the XML form it is also a number, a boolean (an HxNumber too) or a date. It nests at
// most HxPropertyListDepthLimit containers deep.
//
// The first character after blanks selects the form. '<' with '?', '!' or a letter after
// it begins the XML form, unless hexadecimal digits alone lead to a '>', which makes it data.
// Everything else is the text form.
//
// The text form.
//   { key = value; other; }     a dictionary. Each entry ends with ';', and a key alone is its own
//                               value
//   key = value; other;         the same without braces: the form of tables of messages. A text of
//                               nothing but blanks and comments is an empty one
//   ( a, b, c )                 an array; the last value may have a comma, too
//   <0fbd 7700>                 data: hexadecimal digits in pairs, blanks between them
//   word                        a bare string: letters and digits of ASCII and any of _ $ / : . - +
//                               A comment of the form // does not begin inside one
//   "text"                      a quoted string, of any characters, line ends included. In it
//                               \a \b \f \n \r \t \v \" \\ have their meaning as in C, \NNN is
//                               the character of an octal number to 377 (ISO 8859-1), \Uxxxx the
//                               UTF-16 unit of four hexadecimal digits; any other escape is an
//                               error
//   // ..., /* ... */           comments, to the end of the line or between the marks, wherever
//                               blanks are allowed
// If a key is given twice, the last value counts, in both forms.
//
// The XML form. The root element is plist and holds one value: dict (key and value in turn), array,
// string, data (base64, RFC 4648), integer (decimal, 64 bits), real, true, false, date (RFC 3339,
// UTC). Attributes are ignored. Entity declarations are refused, and nothing outside the document
// is ever read.
//
// Encodings of data and files: UTF-8 with or without a signature, UTF-16 with a byte order mark,
// and for XML what its declaration says: UTF-8, UTF-16, ISO-8859-1 or US-ASCII.
//
// Errors. A reader returns the whole list or nil, never a part. Its error has the domain
// HxPropertyListErrorDomain, one of the codes below, and a description "line 3, column 7: expected
// a value, found ';'". Lines and columns count from 1; columns are in characters. If a file
// cannot be read, the error is of HxPOSIXErrorDomain. The error of a file has its path under
// HxFilePathErrorKey, and the description begins with it: "/tmp/x: line 3, column 7: ...".
//
// The lists that are read are immutable throughout. All functions may be used on any thread.
#pragma once

#include "Rondel/core/object/Error.h"

namespace rondel {

class HxData;

// The most levels of containers.
inline constexpr HxUInteger HxPropertyListDepthLimit = 512;

enum HxPropertyListErrorCode : HxInteger {
  HxPropertyListSyntaxError = 1,    // the text breaks the grammar
  HxPropertyListEncodingError = 2,  // the bytes are not text in their encoding
  HxPropertyListDepthError = 3,     // nested deeper than the limit, read or written
  HxPropertyListValueError = 4,     // to be written, but no property list or not in that form
};

enum class HxPropertyListFormat { text, xml };

// Return the list in the bytes, in the text, in the file; nil with an error if there is none. Nil
// data and nil text are errors. A path that names no file is an error of the system: EINVAL for
// nil, ENOENT for the empty path, EILSEQ for a NUL or a lone surrogate. Pipes and devices are read
// to their end.
RONDEL_EXPORT HxAny HxPropertyListWithData(const HxData& data, HxError* error = nullptr);
RONDEL_EXPORT HxAny HxPropertyListWithString(const HxString& text, HxError* error = nullptr);
RONDEL_EXPORT HxAny HxPropertyListWithContentsOfFile(const HxString& path,
                                                     HxError* error = nullptr);

// Returns the list as text in UTF-8, with keys in order of their code units. Returns nil with an
// error if it is no property list. The error's description says where: "key 'a', index 2: ...". Of
// a place more than eight steps deep it names the first and the last four. Reading the text returns
// an equal list, with these exceptions:
//   In the text form numbers and booleans become strings of their stringValue, dates of their
//   rfc3339String. Control characters and lone surrogates become escapes; other non-ASCII
//   characters stay as they are.
//   In the XML form dates lose fractions of a second, and strings with characters that XML does not
//   allow (most control characters, lone surrogates, U+FFFE, U+FFFF) are an error.
RONDEL_EXPORT HxData HxDataFromPropertyList(const HxHandle& list, HxPropertyListFormat format,
                                            HxError* error = nullptr);

}  // namespace rondel
