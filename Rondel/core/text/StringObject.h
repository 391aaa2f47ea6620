// SPDX-License-Identifier: MIT
//
// The open class of strings: the base of your own string classes.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel {

class HxCharacterSet;
namespace internal {
class BufferString;
class FlatString;
class SubstringView;
}  // namespace internal

// The open class of strings. A class that supplies these three operations works wherever a string
// does; everything else is derived from them.
//
//   class Spaces final : public HxStringObject {
//    public:
//     explicit Spaces(HxUInteger n) : _count(n) {}
//     HxUInteger length() const override { return _count; }
//     HxUniChar characterAtIndex(HxUInteger) const override { return u' '; }
//     void getCharacters(HxUniChar* buffer, HxRange range) const override {
//       for (HxUInteger i = 0; i < range.length; ++i) buffer[i] = u' ';
//     }
//    private:
//     HxUInteger _count;
//   };
//   HxString text = HxString::stringWithObject(makeRef<Spaces>(8U));
class RONDEL_EXPORT HxStringObject : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns the number of UTF-16 code units.
  virtual HxUInteger length() const = 0;
  // Returns the code unit at an index below length(). The handle has checked the bounds.
  virtual HxUniChar characterAtIndex(HxUInteger index) const = 0;
  // Copies the units of a range within length() to `buffer`, with no terminator.
  virtual void getCharacters(HxUniChar* buffer, HxRange range) const = 0;

  // All units in place, if they lie in one run. Then one of the two pointers is set, and it is
  // valid until the string changes or goes. `narrow` text must be ASCII. Optional, for speed: both
  // are null by default.
  struct Contiguous {
    const char* narrow = nullptr;
    const HxUniChar* wide = nullptr;
  };
  virtual Contiguous contiguousCharacters() const { return {}; }
  // Does the handle's operations of this name. The handle has not checked the range.
  virtual HxRange rangeOfCharacterFromSet(const HxCharacterSet& set, HxStringCompareOptions options,
                                          HxRange range) const;

  // Compare and hash by code units, whatever the classes of the two strings. An override may only
  // be faster: its results must be the same.
  bool isEqual(const HxObject& other) const override;
  HxUInteger hash() const override;
  HxComparisonResult compare(const HxObject& other) const final;
  HxString description() const override;
  HxAny copy() const override;
  HxAny mutableCopy() const final;

 protected:
  constexpr HxStringObject() noexcept : HxObject(HxTypeID::string) {}
  constexpr ~HxStringObject() override = default;

 private:
  friend class internal::BufferString;
  friend class internal::FlatString;
  friend class internal::SubstringView;
  constexpr explicit HxStringObject(std::uint32_t flags) noexcept
      : HxObject(HxTypeID::string, flags) {}
};

}  // namespace rondel
