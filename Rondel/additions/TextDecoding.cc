// SPDX-License-Identifier: MIT
#include "Rondel/additions/TextDecoding.h"

#include <cstring>
#include <string_view>

#include "Rondel/additions/internal/TolerantUTF8.h"
#include "Rondel/core/propertylist/UserDefaults.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/system/internal/FileContents.h"
#include "Rondel/core/text/internal/ASCII.h"
#include "Rondel/core/text/internal/MakeString.h"
#include "Rondel/core/text/internal/Transcode.h"
#include "Rondel/core/text/internal/UTF8Kernel.h"

namespace rondel {

// ---- UTF-8 that may be damaged
//
// Two passes, one to measure the text and one to convert it, so that it is converted into a string
// of just its size. The kernels for well-formed text read until they meet damage. The tolerant ones
// read on from there for a stretch, since damage comes in clusters.

namespace {

// The first pass.
struct Measure : internal::TextMeasure {
  const internal::UTF8Kernel& kernel = internal::bestUTF8Kernel();
  const internal::TolerantUTF8Kernel& tolerant = internal::bestTolerantUTF8Kernel();

  const std::uint8_t* wellFormed(const std::uint8_t* p, const std::uint8_t* end) {
    const internal::UTF8Progress run = kernel.measure(p, end);
    units += run.units;
    isASCII = isASCII && run.units == static_cast<HxUInteger>(run.stop - p);
    return run.stop;
  }
  const std::uint8_t* damaged(const std::uint8_t* p, const std::uint8_t* end) {
    return tolerant.measure(p, end, *this);
  }
};

// The second pass, for text with something beyond ASCII in it.
struct WideWriter {
  HxUniChar* out;
  const internal::UTF8Kernel& kernel = internal::bestUTF8Kernel();
  const internal::TolerantUTF8Kernel& tolerant = internal::bestTolerantUTF8Kernel();

  const std::uint8_t* wellFormed(const std::uint8_t* p, const std::uint8_t* end) {
    const internal::UTF8Progress run = kernel.convert(p, end, out);
    out += run.units;
    return run.stop;
  }
  const std::uint8_t* damaged(const std::uint8_t* p, const std::uint8_t* end) {
    return tolerant.convert(p, end, out);
  }
};

// The second pass, for text where all that is not ASCII is malformed.
struct NarrowWriter {
  char* out;
  const internal::TolerantUTF8Kernel& tolerant = internal::bestTolerantUTF8Kernel();

  const std::uint8_t* wellFormed(const std::uint8_t* p, const std::uint8_t* end) {
    const HxUInteger run = internal::lengthOfASCIIPrefix(p, static_cast<HxUInteger>(end - p));
    std::memcpy(out, p, run);
    out += run;
    return p + run;
  }
  const std::uint8_t* damaged(const std::uint8_t* p, const std::uint8_t* end) {
    return tolerant.convertToASCII(p, end, out);
  }
};

template <class Pass>
void read(const std::uint8_t* p, const std::uint8_t* end, Pass& pass) {
  for (p = pass.wellFormed(p, end); p != end; p = pass.wellFormed(p, end)) {
    p = pass.damaged(p, end);
  }
}

HxString makeString(const std::uint8_t* bytes, const std::uint8_t* end, const Measure& measure) {
  if (measure.isASCII) {
    return internal::makeNarrowString(measure.units, [&](char* out) {
      NarrowWriter writer{.out = out};
      read(bytes, end, writer);
    });
  }
  return internal::makeWideString(measure.units, [&](HxUniChar* out) {
    WideWriter writer{.out = out};
    read(bytes, end, writer);
  });
}

template <class T>
void store(T* place, T value) {
  if (place) *place = value;
}

}  // namespace

HxString initWithPotentiallyMalformedUTF8Bytes(const void* bytes, HxUInteger length,
                                               bool stopAtTrailingIncompleteUTF8Sequence,
                                               HxUInteger* usedLength,
                                               HxUInteger* numberOfMalformedSequences) {
  MO_CLASS_OPERATION(
      "-[HxString(MoTextDecoding) initWithPotentiallyMalformedUTF8Bytes:length:"
      "stopAtTrailingIncompleteUTF8Sequence:getUsedLength:getNumberOfMalformedSequences:]");
  MoAssertText(bytes != nullptr, "bytes != ((void*)0)");
  if (!bytes) length = 0;

  const auto* begin = static_cast<const std::uint8_t*>(bytes);
  if (internal::lengthOfASCIIPrefix(begin, length) == length) {
    store(usedLength, length);
    store(numberOfMalformedSequences, HxUInteger{0});
    return internal::makeString(static_cast<const char*>(bytes), length);
  }
  const std::uint8_t* end = begin + length;
  if (stopAtTrailingIncompleteUTF8Sequence) end = internal::startOfIncompleteSequence(begin, end);
  Measure measure;
  read(begin, end, measure);
  store(usedLength, static_cast<HxUInteger>(end - begin));
  store(numberOfMalformedSequences, measure.malformed);
  return measure.units == 0 ? HxString::string() : makeString(begin, end, measure);
}

// ---- Files of unknown encoding

namespace {

bool beginsWith(const HxData& data, std::string_view prefix) {
  return data.length() >= prefix.size() &&
         std::memcmp(data.bytes(), prefix.data(), prefix.size()) == 0;
}

// The first bytes tell. All of a device would be more than there is memory.
HxData beginningOf(const HxString& path, const HxData& fileData) {
  constexpr HxUInteger kLongestMark = 3;
  return fileData ? fileData : internal::firstBytesOfFile(path, kLongestMark);
}

constexpr std::string_view kXMLDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

}  // namespace

bool isFileUnicode(const HxString& path, const HxData& fileData) {
  const HxData contents = beginningOf(path, fileData);
  return beginsWith(contents, "\xFF\xFE") || beginsWith(contents, "\xFE\xFF");
}

bool isFileUTF8WithBOM(const HxString& path, const HxData& fileData) {
  return beginsWith(beginningOf(path, fileData), "\xEF\xBB\xBF");
}

HxString initWithContentsOfFile(const HxString& filePath, HxStringEncoding defaultCStringEncoding,
                                HxStringEncoding* stringEncoding) {
  MO_CLASS_OPERATION(
      "-[HxString(MoTextDecoding) initWithContentsOfFile:defaultCStringEncoding:"
      "getStringEncoding:]");
  MoCheckNonEmptyString(filePath);
  const HxData contents = HxData::initWithContentsOfFile(as<HxString>(filePath));
  if (!contents) return nullptr;

  const HxStringEncoding encoding = isFileUnicode(nullptr, contents) ? HxUnicodeStringEncoding
                                    : beginsWith(contents, kXMLDeclaration)
                                        ? HxUTF8StringEncoding
                                        : defaultCStringEncoding;
  HxString text = HxString::initWithData(contents, encoding);
  store(stringEncoding, encoding);
  return text;
}

HxString initWithUnicodeOrHaldenOSRomanContentsOfFile(const HxString& filePath,
                                                      HxStringEncoding* stringEncoding) {
  return initWithContentsOfFile(filePath, HxHaldenOSRomanStringEncoding, stringEncoding);
}

// ---- The default encoding

namespace {

constexpr HxString kDefaultEncodingKey = "MoDefaultCStringEncoding"_hx;

}  // namespace

HxStringEncoding MoDefaultCStringEncoding() {
  const HxInteger kept = HxUserDefaults::standardUserDefaults()->integerForKey(kDefaultEncodingKey);
  return kept == 0 ? HxUTF8StringEncoding : static_cast<HxStringEncoding>(kept);
}

void setMoDefaultCStringEncoding(HxStringEncoding encoding) {
  const Ref<HxUserDefaults> defaults = HxUserDefaults::standardUserDefaults();
  if (encoding == 0) {
    defaults->removeObjectForKey(kDefaultEncodingKey);
  } else {
    defaults->setObject(HxString::stringWithFormat("%ld"_hx, static_cast<long>(encoding)),
                        kDefaultEncodingKey);
  }
}

// ---- Writing

bool writeUsingFileSystemEncodingToFile(const HxString& text, const HxString& path,
                                        bool atomically) {
  MO_ADDITION(text, "-[HxString(MoTextDecoding) writeUsingFileSystemEncodingToFile:atomically:]");
  if (!text) return false;
  MoCheckNonEmptyString(path);
  const HxCString bytes = text.fileSystemRepresentation();
  if (bytes.isNull()) return false;
  const HxData contents =
      HxData::initWithBytesNoCopy(const_cast<char*>(bytes.c_str()), bytes.length(), false);
  return contents.writeToFile(as<HxString>(path), atomically);
}

}  // namespace rondel
