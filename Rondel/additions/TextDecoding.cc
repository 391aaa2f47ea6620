// SPDX-License-Identifier: MIT
#include "Rondel/additions/TextDecoding.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

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
// The kernels read all that is well-formed and stop where something is not. That one place is read
// here, by the rules, and then they go on. The text is read twice, to measure it and to convert it,
// so that it is converted into a string of just its size.

namespace {

bool isContinuation(std::uint8_t byte) { return (byte & 0xC0) == 0x80; }

// What a lead byte asks for: a number of bytes behind it, the first of them within limits. Those of
// a lead that is never legal let nothing pass.
struct LeadRule {
  std::uint8_t trailing;
  std::uint8_t lowestSecond;
  std::uint8_t highestSecond;
};

constexpr LeadRule ruleOf(unsigned lead) {
  const std::uint8_t trailing = lead < 0xC0 || lead >= 0xF8 ? 0
                                : lead < 0xE0               ? 1
                                : lead < 0xF0               ? 2
                                                            : 3;
  if (lead < 0xC2 || lead > 0xF4) return {trailing, 1, 0};
  switch (lead) {
    case 0xE0:
      return {trailing, 0xA0, 0xBF};
    case 0xF0:
      return {trailing, 0x90, 0xBF};
    case 0xF4:
      return {trailing, 0x00, 0x8F};  // no lower limit, and that is wanted
    default:
      return {trailing, 0x80, 0xBF};
  }
}

constexpr std::array<LeadRule, 256> kLeadRules = [] {
  std::array<LeadRule, 256> rules{};
  for (unsigned lead = 0; lead < 256; ++lead) rules[lead] = ruleOf(lead);
  return rules;
}();

// Where text is damaged no branch is foreseen, so this has none: of a short sequence the last byte
// is asked more than once.
bool isLegal(const std::uint8_t* p, LeadRule rule) {
  const std::uint8_t second = p[std::min<std::size_t>(rule.trailing, 1)];
  const int isSecondLegal = int{second >= rule.lowestSecond} & int{second <= rule.highestSecond};
  const int isThirdLegal = isContinuation(p[std::min<std::size_t>(rule.trailing, 2)]);
  return (isSecondLegal & isThirdLegal & int{isContinuation(p[rule.trailing])}) != 0;
}

// The bytes added up, each shifted to its place, less the sum of their marks.
std::uint32_t valueOf(const std::uint8_t* p, HxUInteger trailing) {
  constexpr std::uint32_t kMarks[] = {0, 0x3080, 0xE2080, 0x3C82080};
  std::uint32_t value = p[0];
  for (HxUInteger i = 1; i <= trailing; ++i) value = (value << 6) + p[i];
  return value - kMarks[trailing];
}

// What stands at a byte beyond ASCII.
struct Sequence {
  enum Kind { legal, malformed, incomplete } kind;
  HxUInteger length;    // of the malformed it is 1
  std::uint32_t value;  // of the malformed it is the byte
};

Sequence readSequence(const std::uint8_t* p, const std::uint8_t* end) {
  const LeadRule rule = kLeadRules[*p];
  if (end - p <= rule.trailing) return {Sequence::incomplete, 1, *p};
  if (!isLegal(p, rule)) return {Sequence::malformed, 1, *p};
  return {Sequence::legal, rule.trailing + HxUInteger{1}, valueOf(p, rule.trailing)};
}

// A malformed byte as text.
constexpr HxUInteger kEscapeLength = 4;
struct Escape {
  char characters[kEscapeLength];
  explicit Escape(std::uint32_t byte)
      : characters{'\\', octalDigit(byte >> 6), octalDigit(byte >> 3), octalDigit(byte)} {}
  static char octalDigit(std::uint32_t value) { return static_cast<char>('0' + (value & 7)); }
};

// The first pass: how much text there is.
struct Measure {
  const internal::UTF8Kernel& kernel = internal::bestUTF8Kernel();
  HxUInteger units = 0;
  HxUInteger malformed = 0;
  bool isASCII = true;

  const std::uint8_t* wellFormed(const std::uint8_t* p, const std::uint8_t* end) {
    const internal::UTF8Progress run = kernel.measure(p, end);
    units += run.units;
    isASCII = isASCII && run.units == static_cast<HxUInteger>(run.stop - p);
    return run.stop;
  }
  void legal(std::uint32_t value) {
    units += value < 0x10000 ? 1 : 2;
    isASCII = false;
  }
  void escape(std::uint32_t) {
    units += kEscapeLength;
    ++malformed;
  }
};

// The second pass, for text with something beyond ASCII in it.
struct WideWriter {
  const internal::UTF8Kernel& kernel = internal::bestUTF8Kernel();
  HxUniChar* out;

  const std::uint8_t* wellFormed(const std::uint8_t* p, const std::uint8_t* end) {
    const internal::UTF8Progress run = kernel.convert(p, end, out);
    out += run.units;
    return run.stop;
  }
  void legal(std::uint32_t value) { out += internal::splitIntoUnits(value, out); }
  void escape(std::uint32_t byte) {
    for (const char character : Escape(byte).characters) {
      *out++ = static_cast<HxUniChar>(character);
    }
  }
};

// The second pass, for text where all that is not ASCII is malformed.
struct NarrowWriter {
  char* out;

  const std::uint8_t* wellFormed(const std::uint8_t* p, const std::uint8_t* end) {
    const HxUInteger run = internal::lengthOfASCIIPrefix(p, static_cast<HxUInteger>(end - p));
    std::memcpy(out, p, run);
    out += run;
    return p + run;
  }
  void legal(std::uint32_t) {}
  void escape(std::uint32_t byte) {
    std::memcpy(out, Escape(byte).characters, kEscapeLength);
    out += kEscapeLength;
  }
};

// Reads the bytes and tells `pass` what they are; gives the first one that was not taken.
template <class Pass>
const std::uint8_t* read(const std::uint8_t* p, const std::uint8_t* end, bool stopAtIncomplete,
                         Pass& pass) {
  for (;;) {
    p = pass.wellFormed(p, end);
    if (p == end) return p;
    do {  // stray continuation bytes come in rows
      const Sequence sequence = readSequence(p, end);
      if (sequence.kind == Sequence::legal) {
        pass.legal(sequence.value);
      } else if (sequence.kind == Sequence::incomplete && stopAtIncomplete) {
        return p;
      } else {
        pass.escape(sequence.value);
      }
      p += sequence.length;
    } while (p != end && isContinuation(*p));
  }
}

HxString makeString(const std::uint8_t* bytes, const std::uint8_t* end, const Measure& measure) {
  if (measure.isASCII) {
    return internal::makeNarrowString(measure.units, [&](char* out) {
      NarrowWriter writer{out};
      read(bytes, end, false, writer);
    });
  }
  return internal::makeWideString(measure.units, [&](HxUniChar* out) {
    WideWriter writer{.out = out};
    read(bytes, end, false, writer);
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
  Measure measure;
  const std::uint8_t* end =
      read(begin, begin + length, stopAtTrailingIncompleteUTF8Sequence, measure);
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
  const HxData contents = HxData::initWithContentsOfFile(filePath);
  if (!contents) return nullptr;

  const HxStringEncoding encoding = isFileUnicode(filePath, contents) ? HxUnicodeStringEncoding
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
  return contents.writeToFile(path, atomically);
}

}  // namespace rondel
