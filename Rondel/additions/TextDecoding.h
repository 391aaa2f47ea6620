// SPDX-License-Identifier: MIT
//
// Text that somebody else wrote: what encoding a file has, UTF-8 that may be damaged, and text
// written in the encoding of the file system.
//
//   HxStringEncoding encoding = 0;
//   HxString source = initWithContentsOfFile("main.c"_hx, MoDefaultCStringEncoding(), &encoding);
//
//   HxUInteger used = 0;
//   HxUInteger malformed = 0;
//   HxString text = initWithPotentiallyMalformedUTF8Bytes(bytes, n, true, &used, &malformed);
//   // keep the n - used bytes at the end for the next piece
//
// Everything here may be called on any thread; the default encoding is as safe as HxUserDefaults.
#pragma once

#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Data.h"

namespace rondel {

// ---- UTF-8 that may be damaged

// Returns the text of bytes that should be UTF-8, never nil. It never fails and loses nothing. A
// byte that belongs to no legal sequence becomes a backslash and its three octal digits, "\377".
// The byte after it is looked at afresh. No U+FFFD is put in.
//
// `stopAtTrailingIncompleteUTF8Sequence` leaves a last sequence alone whose bytes are not all
// there: at most three bytes, for the caller to put before the next piece. (It is told by its first
// byte alone, so E2 41 at the end is left alone too.) Without this option those bytes are malformed
// as well. `usedLength`, if not null, gets the number of bytes that were taken.
// `numberOfMalformedSequences`, if not null, gets the number of bytes written as digits.
//
// Legal is what RFC 3629 calls well-formed, and two things more: surrogates (ED A0 80 is the
// lone unit U+D800), and after a lead of F4 any second byte below 90, ASCII included. The lead
// bytes C0, C1 and F5 to FF are never legal, nor are forms longer than they need to be.
//
// Null `bytes` fail a check (MoAssert) and count as none. ASCII costs one scan and one copy. Other
// text costs two scans and no copy, however damaged it is.
RONDEL_EXPORT HxString initWithPotentiallyMalformedUTF8Bytes(
    const void* bytes, HxUInteger length, bool stopAtTrailingIncompleteUTF8Sequence,
    HxUInteger* usedLength, HxUInteger* numberOfMalformedSequences);

// ---- Files of unknown encoding

// Returns the text of a file; nil, with no message, if it cannot be read or does not decode. Its
// encoding is the first that applies:
//
//   1. UTF-16, if it begins with a byte order mark (isFileUnicode);
//   2. UTF-8, if its first 38 bytes are exactly <?xml version="1.0" encoding="UTF-8"?>. No other
//      spelling is known here;
//   3. `defaultCStringEncoding`. A UTF-8 signature (isFileUTF8WithBOM) does not change that.
//
// `stringEncoding`, if not null, gets the encoding of every file that could be read, even if its
// text does not decode. A nil or empty path, and one that is no string, fails a check
// (MoCheckNonEmptyString on "filePath"). The result is nil, as for any file that cannot be read.
//
// Special files, such as pipes and devices, are read like others, up to their end. Nil if that is
// more than 1 GiB.
RONDEL_EXPORT HxString initWithContentsOfFile(const HxString& filePath,
                                              HxStringEncoding defaultCStringEncoding,
                                              HxStringEncoding* stringEncoding);

// Does the same with the legacy 8-bit encoding as the default. A file that can be read always has
// text, unless it begins like UTF-16 or like an XML document in UTF-8 and is not.
RONDEL_EXPORT HxString initWithUnicodeOrHaldenOSRomanContentsOfFile(
    const HxString& filePath, HxStringEncoding* stringEncoding);

// Returns whether the contents begin with a UTF-16 byte order mark (FF FE or FE FF), or with the
// UTF-8 signature (EF BB BF). The contents are `fileData`; the path is not looked at then. If
// `fileData` is nil they are those of the file, of which at most three bytes are read. Of a named
// pipe they are read too: the call waits for a writer, and the next reader does not get them. The
// result is false for a file that cannot be opened or is too short.
RONDEL_EXPORT bool isFileUnicode(const HxString& path, const HxData& fileData);
RONDEL_EXPORT bool isFileUTF8WithBOM(const HxString& path, const HxData& fileData);

// ---- The default encoding

// Return and set the encoding of C strings that do not tell their own. It is kept in the user
// defaults under "MoDefaultCStringEncoding" as a decimal number. HxUTF8StringEncoding by default.
// Setting 0 removes the key.
RONDEL_EXPORT HxStringEncoding MoDefaultCStringEncoding();
RONDEL_EXPORT void setMoDefaultCStringEncoding(HxStringEncoding encoding);

// ---- Writing

// Writes the text as the file system writes names: decomposed UTF-8, with no byte order mark.
// Returns whether the file was written. With `atomically` it is written beside the old one and then
// takes its place. An empty text makes an empty file, and NULs are written as any character. A text
// with a lone surrogate does not convert: the file is left alone. A nil or empty path, and one that
// is no string, fails a check (MoCheckNonEmptyString on "path"). The result is false for nil text.
RONDEL_EXPORT bool writeUsingFileSystemEncodingToFile(const HxString& text, const HxString& path,
                                                      bool atomically);

}  // namespace rondel
