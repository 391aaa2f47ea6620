// SPDX-License-Identifier: MIT
//
// Text: HxString and its mutable form.
//
// A string is a sequence of UTF-16 code units. All lengths, indexes and ranges count code units, so
// a surrogate pair counts as two. HxString is a nil-safe handle, one pointer wide. Copying it
// shares the text and copies no characters.
//
//   HxString name = "main.c"_hx;  // a constant: no allocation
//   HxString path = "src"_hx.stringByAppendingPathComponent(name);
//   HxString line = HxString::stringWithFormat("%@: %d"_hx, path, 12);
//   HxString text = HxString(std::string_view(bytes, n));  // nil if they are not UTF-8
//   if (path.hasSuffix(".c"_hx)) ...
//
// Nil. Every operation on a nil string returns zero: length 0, false, nil, an empty answer, and
// kNotFoundRange for searches. A nil argument is treated as stated with the operation, and never
// crashes.
//
// Errors. An index or a range beyond the end raises HxException with the name HxRangeException. A
// string made of bytes that are invalid in their encoding is nil. A change of a string that cannot
// change raises HxInvalidArgumentException; see Object.h.
//
// Storage. Built-in strings are one block: a header of 24 bytes and the characters. A character
// takes one byte if all are ASCII, else two. Any class derived from HxStringObject works as a
// string; see StringObject.h for the three operations that it supplies.
//
// Threads. An immutable string may be used on any thread. A mutable one belongs to one thread at a
// time.
#pragma once

#include <compare>
#include <iosfwd>
#include <string_view>

#include "Rondel/core/object/Object.h"
#include "Rondel/core/text/Format.h"
#include "Rondel/core/text/StringObject.h"
#include "Rondel/core/text/internal/FlatString.h"
#include "Rondel/core/text/internal/LiteralString.h"

namespace rondel {

class HxArray;
class HxCharacterSet;
class HxCString;
class HxData;
class HxMutableString;

class RONDEL_EXPORT HxString : public HxHandle {
 public:
  // ---- Making strings --------------------------------------------------------------------------

  constexpr HxString() noexcept = default;              // nil
  constexpr HxString(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  // Make a string of UTF-8 or UTF-16 text. Bytes that are not valid UTF-8 make nil. UTF-16 units
  // are taken as they are, lone surrogates too.
  explicit HxString(std::string_view utf8);
  explicit HxString(const char* utf8);  // NUL-terminated; null makes nil
  explicit HxString(std::u16string_view units);
  // Wraps an object of your own string class; see StringObject.h. Nil makes nil.
  template <std::derived_from<HxStringObject> T>
  explicit HxString(const Ref<T>& object) noexcept : HxHandle(object) {}

  // Returns the empty string.
  static HxString string() noexcept;
  // Returns a string with the same text; nil for nil.
  static HxString stringWithString(const HxString& string);
  template <std::derived_from<HxStringObject> T>
  static HxString stringWithObject(const Ref<T>& object) noexcept {
    return HxString(object);
  }
  // Returns the format with its conversions replaced; see Format.h. Nil if the format is nil.
  template <class... Arguments>
  static HxString stringWithFormat(const HxString& format, const Arguments&... arguments) {
    return initWithFormatArguments(format, HxArgumentPack(arguments...));
  }
  template <class... Arguments>
  static HxString initWithFormat(const HxString& format, const Arguments&... arguments) {
    return initWithFormatArguments(format, HxArgumentPack(arguments...));
  }
  static HxString initWithFormatArguments(const HxString& format, HxArguments arguments);
  // Returns the text of NUL-terminated UTF-8; nil if it is null or invalid.
  static HxString stringWithUTF8String(const char* bytes);
  // Returns the text of NUL-terminated bytes in an encoding of Types.h. Nil if they are null or
  // invalid, or if the encoding is unknown.
  static HxString stringWithCString(const char* bytes, HxStringEncoding encoding);
  static HxString initWithCString(const char* bytes, HxStringEncoding encoding);
  // Returns the text of UTF-16 units; the empty string for null with a length of 0.
  static HxString stringWithCharacters(const HxUniChar* characters, HxUInteger length);
  static HxString initWithCharacters(const HxUniChar* characters, HxUInteger length);
  // Returns the text of `characters`, which may be copied at once. With freeWhenDone they were made
  // with malloc, and are freed with the string, or at once if there is none.
  static HxString initWithCharactersNoCopy(HxUniChar* characters, HxUInteger length,
                                           bool freeWhenDone);
  // Returns the text of the bytes; nil if they are not valid in the encoding.
  static HxString initWithBytes(const void* bytes, HxUInteger length, HxStringEncoding encoding);
  static HxString initWithBytesNoCopy(void* bytes, HxUInteger length, HxStringEncoding encoding,
                                      bool freeWhenDone);
  static HxString initWithData(const HxData& data, HxStringEncoding encoding);

  // ---- Reading ---------------------------------------------------------------------------------

  HxUInteger length() const {
    if (!_object) return 0;
    return isFlat() ? flat()->flatLength() : stringObject()->length();
  }
  bool isEmpty() const { return length() == 0; }
  // Returns the code unit at an index, 0 on nil. Raises HxRangeException if it is beyond the end.
  HxUniChar characterAtIndex(HxUInteger index) const;
  // Iterate over the code units: for (HxUniChar unit : text) ...
  class Iterator;
  Iterator begin() const;
  Iterator end() const;
  // Copies all units, or those of a range, to `buffer`, with no terminator. A range beyond the end
  // raises HxRangeException.
  void getCharacters(HxUniChar* buffer) const;
  void getCharacters(HxUniChar* buffer, HxRange range) const;
  // Returns NUL-terminated UTF-8; null for nil and for text with a lone surrogate. NULs in the text
  // are kept and counted in length().
  HxCString UTF8String() const;
  // Returns NUL-terminated UTF-8 in canonical decomposition; null as above. Do not open files by
  // it: a name is its bytes, which UTF8String returns.
  HxCString fileSystemRepresentation() const;
  // Writes the same to a buffer of `maximumLength` bytes, without the heap for ordinary text.
  // Returns false if the bytes and their NUL do not fit or there are none. All of the buffer may be
  // written over, on failure too.
  bool getFileSystemRepresentation(char* buffer, HxUInteger maximumLength) const;
  // Returns the most bytes that fileSystemRepresentation can need, terminator included.
  HxUInteger maximumFileSystemRepresentationLength() const;
  // Returns the text as UTF-8, empty for nil. Lone surrogates become U+FFFD. Include <string> to
  // call it.
  std::string toStdString() const;
  // Returns bytes in the encoding; nil if the text does not convert, such as a lone surrogate to
  // UTF-8. HxUnicodeStringEncoding writes a byte order mark and the machine's byte order.
  HxData dataUsingEncoding(HxStringEncoding encoding) const;
  // Returns the leading decimal number after any whitespace, with a sign; 0 if there is none.
  // Saturates at the limits of the type.
  int intValue() const;
  HxInteger integerValue() const;
  // Returns whether the text begins with Y, y, T, t or a digit from 1 to 9.
  bool boolValue() const;

  // ---- Comparing -------------------------------------------------------------------------------

  // Returns whether the code units are the same. False if either string is nil.
  bool isEqualToString(const HxString& other) const {
    if (!_object || !other._object) return false;
    if (_object == other._object) return true;
    return isFlat() && other.isFlat() ? flat()->hasSameUnits(*other.flat())
                                      : _object->isEqual(*other._object);
  }
  // Returns the order by code units of the canonical decompositions, so that canonically equivalent
  // text is the same. With HxLiteralSearch it orders by the code units as they are. A nil argument
  // sorts first. The range is of the receiver.
  HxComparisonResult compare(const HxString& other) const { return compare(other, 0); }
  HxComparisonResult compare(const HxString& other, HxStringCompareOptions options) const;
  HxComparisonResult compare(const HxString& other, HxStringCompareOptions options,
                             HxRange range) const;
  HxComparisonResult caseInsensitiveCompare(const HxString& other) const {
    return compare(other, HxCaseInsensitiveSearch);
  }
  // Returns whether the string starts or ends with the argument, code unit by code unit. A
  // combining mark after a prefix does not hide it. An empty argument is a prefix and a suffix of
  // every string; nil is of none.
  bool hasPrefix(const HxString& prefix) const;
  bool hasSuffix(const HxString& suffix) const;

  HxUInteger hash() const {
    if (!_object) return 0;
    return isFlat() ? flat()->flatHash() : stringObject()->hash();
  }
  bool isEqual(const HxHandle& other) const {
    return canHold(other.object()) && isEqualToString(HxString(Unchecked{}, other));
  }
  // Compares as values: two nils are equal.
  friend bool operator==(const HxString& a, const HxString& b) {
    return a._object == b._object || a.isEqualToString(b);
  }
  // Orders by code units, nil first.
  friend std::strong_ordering operator<=>(const HxString& a, const HxString& b) {
    if (!a || !b) return static_cast<bool>(a) <=> static_cast<bool>(b);
    return a.compare(b, HxLiteralSearch) <=> 0;
  }

  // ---- Searching -------------------------------------------------------------------------------

  // Returns the first match (the last with HxBackwardsSearch), or kNotFoundRange. An empty or nil
  // argument matches nothing. Without HxLiteralSearch canonically equivalent text matches, and no
  // match ends inside a composed character sequence.
  HxRange rangeOfString(const HxString& string) const { return rangeOfString(string, 0); }
  HxRange rangeOfString(const HxString& string, HxStringCompareOptions options) const;
  HxRange rangeOfString(const HxString& string, HxStringCompareOptions options,
                        HxRange range) const;
  // Returns the first code unit in the set, as a range of length 1, or kNotFoundRange.
  HxRange rangeOfCharacterFromSet(const HxCharacterSet& set) const {
    return rangeOfCharacterFromSet(set, 0);
  }
  HxRange rangeOfCharacterFromSet(const HxCharacterSet& set, HxStringCompareOptions options) const;
  HxRange rangeOfCharacterFromSet(const HxCharacterSet& set, HxStringCompareOptions options,
                                  HxRange range) const;
  // Returns the whole composed character sequence around an index: a base with its marks, or a
  // surrogate pair.
  HxRange rangeOfComposedCharacterSequenceAtIndex(HxUInteger index) const;
  // Finds the lines that a range touches. Stores the start of the first, the start of the line
  // after the last, and the end of the last line's contents. Each pointer may be null. LF, CR, CR
  // LF, U+0085, U+2028 and U+2029 end a line.
  void getLineStart(HxUInteger* start, HxUInteger* end, HxUInteger* contentsEnd,
                    HxRange range) const;
  // Splits at each occurrence. If there is none, the array holds the receiver alone.
  [[nodiscard]] HxArray componentsSeparatedByString(const HxString& separator) const;

  // ---- New strings from old --------------------------------------------------------------------

  // Return a part of the text; substringFromIndex(length()) is the empty string. A range or an
  // index beyond the end raises HxRangeException.
  HxString substringWithRange(HxRange range) const;
  HxString substringFromIndex(HxUInteger index) const;
  HxString substringToIndex(HxUInteger index) const;
  // Returns the text with the argument after it. A nil argument adds nothing.
  [[nodiscard]] HxString stringByAppendingString(const HxString& string) const;
  // Returns all parts in one new string, made with one allocation. Nil parts add nothing.
  template <std::derived_from<HxString>... Strings>
  [[nodiscard]] static HxString stringByConcatenating(const Strings&... strings);
  // Does the same for a list of strings.
  static HxString concatenate(const HxString* const* parts, HxUInteger count);
  template <class... Arguments>
  [[nodiscard]] HxString stringByAppendingFormat(const HxString& format,
                                                 const Arguments&... arguments) const {
    return stringByAppendingString(stringWithFormat(format, arguments...));
  }
  // Returns the text with each match replaced. An empty or nil target matches nothing. A nil
  // replacement counts as empty. A range beyond the end raises HxRangeException.
  [[nodiscard]] HxString stringByReplacingOccurrencesOfString(const HxString& target,
                                                              const HxString& replacement) const;
  [[nodiscard]] HxString stringByReplacingOccurrencesOfString(const HxString& target,
                                                              const HxString& replacement,
                                                              HxStringCompareOptions options,
                                                              HxRange range) const;
  // Return the text in Unicode default case conversion, independent of the locale.
  [[nodiscard]] HxString uppercaseString() const;
  [[nodiscard]] HxString lowercaseString() const;
  // Return the text in Unicode normal forms D and C.
  [[nodiscard]] HxString decomposedStringWithCanonicalMapping() const;
  [[nodiscard]] HxString precomposedStringWithCanonicalMapping() const;
  [[nodiscard]] HxString stringByTrimmingCharactersInSet(const HxCharacterSet& set) const;

  // Returns the receiver itself if it is immutable, else an immutable string of the same text.
  [[nodiscard]] HxString copy() const;
  [[nodiscard]] HxMutableString mutableCopy() const;

  // ---- As a path -------------------------------------------------------------------------------

  // These work on the text, with '/' as separator. Only the last two read the file system.
  // Separators at the end of a path do not count: the last component of "a/b/" is "b".

  // Returns the receiver, exactly one separator, and the component without separators at its end.
  // A nil or empty component adds nothing. On an empty receiver the result is the component alone.
  [[nodiscard]] HxString stringByAppendingPathComponent(const HxString& component) const;
  // Returns the parent; "/" for "/" and for "/a", empty for a path of one component.
  [[nodiscard]] HxString stringByDeletingLastPathComponent() const;
  // Returns the last component; "/" for the root, empty for the empty string.
  HxString lastPathComponent() const;
  // Returns the text after the last dot of the last component, without the dot; empty if there is
  // none. A dot at the start of a name does not count.
  HxString pathExtension() const;
  // Returns the text before that dot. If there is no extension, removes separators at the end only.
  [[nodiscard]] HxString stringByDeletingPathExtension() const;
  // Returns the components. "/" comes first if the path is absolute, and last if a path other than
  // the root ends with a separator. A run of separators is one separator.
  HxArray pathComponents() const;
  // Returns the components as one path; empty for nil. What is no string is left out.
  static HxString pathWithComponents(const HxArray& components);
  // Returns whether the path begins with "/" or "~".
  bool isAbsolutePath() const;
  // Expands "~" and "~user", drops "." and empty components, and resolves ".." in absolute paths.
  // For ".." it follows links if the path exists, else it goes by the text. Relative paths keep
  // their "..". A path of which nothing is left becomes ".".
  [[nodiscard]] HxString stringByStandardizingPath() const;
  // Expands "~", replaces every symbolic link by its target, and resolves "." and ".." on the way.
  // A relative path stays relative. Returns the receiver itself if a component is missing or cannot
  // be reached, or if links form a cycle.
  [[nodiscard]] HxString stringByResolvingSymlinksInPath() const;

  // ---- For modules -----------------------------------------------------------------------------

  // Takes an object that is known to be a string; for as<>.
  HxString(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::string;
  }
  // Returns the class of all strings. That of HxMutableString is derived from it.
  static HxClass classObject() noexcept { return HxStringObject::classObject(); }
  // Returns the characters in place if the string is flat and all ASCII. Otherwise returns an empty
  // view with a null pointer.
  std::string_view asciiView() const noexcept {
    return isFlatNarrow() ? flat()->narrowView() : std::string_view();
  }

 protected:
  // May be called on nil.
  bool isFlatNarrow() const noexcept { return _object && (bitsOf(_object) & kFlatNarrow) != 0; }
  // Must not be called on nil.
  bool isFlat() const noexcept { return (bitsOf(_object) & (kFlatNarrow | kFlatWide)) != 0; }
  const internal::FlatString* flat() const noexcept {
    return static_cast<const internal::FlatString*>(_object);
  }
  const HxStringObject* stringObject() const noexcept {
    return static_cast<const HxStringObject*>(_object);
  }

 private:
  friend constexpr HxString internalLiteral(const internal::FlatString& object) noexcept;
};

// The mutable form. The handle shares the text like any other: two handles of one mutable string
// see the same changes. Mutators do nothing on nil; a nil argument is treated as the empty string.
// Ranges beyond the end raise HxRangeException.
class RONDEL_EXPORT HxMutableString : public HxString {
 public:
  constexpr HxMutableString(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxMutableString(Unchecked, HxAny any) noexcept : HxString(Unchecked{}, std::move(any)) {}

  static bool canHold(const HxObject* object) noexcept {
    return object && isBuiltInKind(object, HxTypeID::string, kMutable);
  }
  static HxClass classObject() noexcept;

  // Return a new, empty string. The capacity is advice: a string grows beyond it. Room for very
  // many units is not taken before it is used.
  static HxMutableString string();
  static HxMutableString initWithCapacity(HxUInteger capacity);
  static HxMutableString stringWithString(const HxString& string);
  template <class... Arguments>
  static HxMutableString stringWithFormat(const HxString& format, const Arguments&... arguments) {
    HxMutableString result = string();
    result.appendFormat(format, arguments...);
    return result;
  }

  void appendString(const HxString& string);
  // Null appends nothing.
  void appendCharacters(const HxUniChar* characters, HxUInteger length);
  template <class... Arguments>
  void appendFormat(const HxString& format, const Arguments&... arguments) {
    appendFormatArguments(format, HxArgumentPack(arguments...));
  }
  void appendFormatArguments(const HxString& format, HxArguments arguments);
  void setString(const HxString& string);
  void insertString(const HxString& string, HxUInteger index);
  void deleteCharactersInRange(HxRange range);
  void replaceCharactersInRange(HxRange range, const HxString& string);
  // Returns the number of replacements.
  HxUInteger replaceOccurrencesOfString(const HxString& target, const HxString& replacement,
                                        HxStringCompareOptions options, HxRange range);
};

// NUL-terminated bytes made from a string. They live as long as this object, and cost nothing for
// flat ASCII text, which is shared. Null if the string was nil or does not convert.
class RONDEL_EXPORT HxCString {
 public:
  HxCString() noexcept = default;
  HxCString(HxCString&& other) noexcept;
  HxCString& operator=(HxCString&& other) noexcept;
  HxCString(const HxCString&) = delete;
  HxCString& operator=(const HxCString&) = delete;
  ~HxCString();

  const char* c_str() const noexcept { return _bytes; }
  // Deliberate: not on a temporary, whose bytes end with the statement. A call that takes them
  // writes c_str().
  operator const char*() const& noexcept { return _bytes; }  // NOLINT: stands for the bytes
  operator const char*() const&& = delete;
  // Returns the number of bytes before the NUL.
  HxUInteger length() const noexcept { return _length; }
  std::string_view view() const noexcept {
    return _bytes ? std::string_view(_bytes, _length) : std::string_view();
  }
  bool isNull() const noexcept { return !_bytes; }

 private:
  friend class HxString;
  HxCString(const HxHandle& owner, const char* bytes, HxUInteger length) noexcept;
  explicit HxCString(HxUInteger length);  // a heap block of length + 1 bytes

  HxAny _owner;
  char* _block = nullptr;
  const char* _bytes = nullptr;
  HxUInteger _length = 0;
};

// The code units of a string, by HxString::begin and end. Keeps the string alive.
class HxString::Iterator {
 public:
  using value_type = HxUniChar;
  using difference_type = std::ptrdiff_t;
  Iterator() noexcept = default;
  Iterator(HxString string, HxUInteger index) noexcept
      : _string(std::move(string)), _index(index) {}
  // Raises HxRangeException if the string has become too short.
  HxUniChar operator*() const { return _string.characterAtIndex(_index); }
  Iterator& operator++() noexcept {
    ++_index;
    return *this;
  }
  Iterator operator++(int) noexcept {
    Iterator before = *this;
    ++_index;
    return before;
  }
  friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
    return a._index == b._index;
  }

 private:
  HxString _string;
  HxUInteger _index = 0;
};
inline HxString::Iterator HxString::begin() const { return {*this, 0}; }
inline HxString::Iterator HxString::end() const { return {nullptr, length()}; }

template <std::derived_from<HxString>... Strings>
HxString HxString::stringByConcatenating(const Strings&... strings) {
  if ((strings.isFlatNarrow() && ...)) {
    const HxUInteger length = (strings.flat()->flatLength() + ...);
    if (length <= internal::FlatString::kMaximumLength) {
      return HxString(Unchecked{}, HxAny::adopt(internal::FlatString::makeNarrowOf(
                                       length, strings.flat()->narrowView()...)));
    }
  }
  const HxString* const parts[] = {&strings...};
  return concatenate(parts, sizeof...(strings));
}

// Returns the range as text: "{2, 3}".
RONDEL_EXPORT HxString HxStringFromRange(HxRange range);

// Returns the handle of a constant in static storage.
constexpr HxString internalLiteral(const internal::FlatString& object) noexcept {
  HxString string;
  string._object = const_cast<internal::FlatString*>(&object);  // immortal: nothing is counted
  return string;
}

// Returns the same, but is no constant expression. Deliberate: clang 14 crashes when it reports an
// initializer that is no constant and passes on a literal. std::vector{"a"_hx} is one.
inline HxString runningLiteral(const internal::FlatString& object) noexcept {
  return internalLiteral(object);
}

inline namespace literals {
// "text"_hx: an immortal constant, decoded from UTF-8 while compiling. Bytes that are no UTF-8 do
// not compile. No allocation and no counting. A constant with a name is constexpr. It is ready
// before any code runs, and has no destructor at exit.
//
//   inline constexpr HxString kSuffix = ".c"_hx;
template <internal::LiteralText Text>
requires(Text.isUTF8()) constexpr HxString operator""_hx() noexcept {
  const internal::FlatString& object = internal::LiteralStorage<Text>::object.header;
  return std::is_constant_evaluated() ? internalLiteral(object) : runningLiteral(object);
}
}  // namespace literals

}  // namespace rondel
