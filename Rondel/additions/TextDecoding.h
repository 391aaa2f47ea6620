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

// The text of bytes that should be UTF-8. It never fails and loses nothing: a byte that belongs to
// no legal sequence stands in the text as a backslash and its three octal digits, "\377", and the
// byte behind it is looked at afresh. No U+FFFD is put in.
//
// With `stopAtTrailingIncompleteUTF8Sequence` a last sequence whose bytes are not all there is left
// alone, so that the caller can put it before the next piece: at most three bytes. (It is told by
// its first byte alone, so E2 41 at the end is left alone too.) Without it those bytes are
// malformed as well. `usedLength`, if not null, gets the number of bytes that were taken;
// `numberOfMalformedSequences`, if not null, that of bytes written as digits.
//
// Legal is what RFC 3629 calls well-formed, and two things more: surrogates (ED A0 80 gives the
// lone unit U+D800), and behind a lead of F4 any second byte below 90, ASCII included. The lead
// bytes C0, C1 and F5 to FF are never legal, nor are forms longer than they need to be.
//
// Null `bytes` are a failed check (MoAssert), and behind it count as none. The result is never nil.
// ASCII costs one scan and one copy; other text a second scan, and no copy after it.
RONDEL_EXPORT HxString initWithPotentiallyMalformedUTF8Bytes(
    const void* bytes, HxUInteger length, bool stopAtTrailingIncompleteUTF8Sequence,
    HxUInteger* usedLength, HxUInteger* numberOfMalformedSequences);

// ---- Files of unknown encoding

// The text of a file; nil, with no message, when it cannot be read or does not decode. Its encoding
// is the first that applies:
//
//   1. UTF-16, when it begins with a byte order mark (isFileUnicode);
//   2. UTF-8, when its first 38 bytes are exactly <?xml version="1.0" encoding="UTF-8"?>. No other
//      spelling is known here;
//   3. `defaultCStringEncoding`. A UTF-8 signature (isFileUTF8WithBOM) does not change that.
//
// `stringEncoding`, if not null, gets the encoding of every file that could be read, also when its
// text does not decode. A nil or empty path is a failed check (MoCheckNonEmptyString on
// "filePath"), and gives nil like any file that cannot be read.
RONDEL_EXPORT HxString initWithContentsOfFile(const HxString& filePath,
                                              HxStringEncoding defaultCStringEncoding,
                                              HxStringEncoding* stringEncoding);

// The same with the legacy 8-bit encoding as the default: a file that can be read always gives
// text, unless it begins like UTF-16 or like an XML document in UTF-8 and is not.
RONDEL_EXPORT HxString initWithUnicodeOrHaldenOSRomanContentsOfFile(
    const HxString& filePath, HxStringEncoding* stringEncoding);

// Whether the contents begin with a UTF-16 byte order mark (FF FE or FE FF), or with the UTF-8
// signature (EF BB BF). They are `fileData`, and the path is not looked at; or if that is nil,
// those of the file, which is mapped and not read. A file that cannot be opened, and one that is
// too short, gives false.
RONDEL_EXPORT bool isFileUnicode(const HxString& path, const HxData& fileData);
RONDEL_EXPORT bool isFileUTF8WithBOM(const HxString& path, const HxData& fileData);

// ---- The default encoding

// The encoding of C strings that say nothing of their own, kept in the user defaults under
// "MoDefaultCStringEncoding" as a decimal number. HxUTF8StringEncoding when none is set. Setting 0
// removes the key.
RONDEL_EXPORT HxStringEncoding MoDefaultCStringEncoding();
RONDEL_EXPORT void setMoDefaultCStringEncoding(HxStringEncoding encoding);

// ---- Writing

// Writes the text as the file system writes names: decomposed UTF-8, with no byte order mark. True
// when the file was written; with `atomically` it is written beside the old one and takes its
// place. An empty text makes an empty file. A text with a lone surrogate does not convert: the file
// is left alone. A nil or empty path is a failed check (MoCheckNonEmptyString on "path"). Nil text
// gives false.
RONDEL_EXPORT bool writeUsingFileSystemEncodingToFile(const HxString& text, const HxString& path,
                                                      bool atomically);

}  // namespace rondel
