// SPDX-License-Identifier: MIT
//
// Sets of UTF-16 code units, for searches and for scanners.
//
//   HxCharacterSet blanks = HxCharacterSet::whitespaceCharacterSet();
//   text.rangeOfCharacterFromSet(blanks.invertedSet());
//
// A set holds single code units, so a character beyond U+FFFF is looked up by its surrogates. The
// named sets hold no surrogates; their inverses hold all. On nil every operation returns false or
// nil, or does nothing.
// The named sets are made once and shared; an immutable set may be used on any thread.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel {

class HxMutableCharacterSet;

// The object of every set: one bit for each code unit.
class RONDEL_EXPORT HxCharacterSetObject final : public HxObject {
 public:
  static constexpr HxUInteger kUnits = 0x10000;

  explicit HxCharacterSetObject(bool isMutable = false);
  ~HxCharacterSetObject() override = default;
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override;
  bool isEqual(const HxObject& other) const override;
  HxUInteger hash() const override;
  HxAny copy() const override;
  HxAny mutableCopy() const override;

  bool contains(HxUniChar unit) const noexcept {
    return (_words[unit / 64] >> (unit % 64) & 1U) != 0;
  }
  void add(HxUniChar unit) noexcept { _words[unit / 64] |= std::uint64_t{1} << (unit % 64); }
  void unite(const HxCharacterSetObject& other) noexcept;
  void invert() noexcept;

 private:
  std::uint64_t _words[kUnits / 64] = {};
};

class RONDEL_EXPORT HxCharacterSet : public HxHandle {
 public:
  constexpr HxCharacterSet() noexcept = default;
  constexpr HxCharacterSet(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxCharacterSet(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::characterSet;
  }
  static HxClass classObject() noexcept { return HxCharacterSetObject::classObject(); }

  // Returns the code units of the text; the empty set for nil.
  static HxCharacterSet characterSetWithCharactersInString(const HxString& string);
  // Returns the units of the range, without those beyond U+FFFF.
  static HxCharacterSet characterSetWithRange(HxRange units);
  // Returns Unicode general category Zs and TAB, by the Unicode version of the ICU in use.
  static HxCharacterSet whitespaceCharacterSet();
  // Returns that set with U+000A to U+000D, U+0085, U+2028 and U+2029.
  static HxCharacterSet whitespaceAndNewlineCharacterSet();
  // Returns Unicode general categories L, M and N.
  static HxCharacterSet alphanumericCharacterSet();

  bool characterIsMember(HxUniChar unit) const noexcept {
    return _object && setObject()->contains(unit);
  }
  // Returns all units that are not members.
  [[nodiscard]] HxCharacterSet invertedSet() const;
  // Returns the set itself if it is immutable, else an immutable copy.
  [[nodiscard]] HxCharacterSet copy() const;
  [[nodiscard]] HxMutableCharacterSet mutableCopy() const;
  // Returns the bits, null for nil. They live as long as the set. For scanners.
  const HxCharacterSetObject* setObject() const noexcept {
    return static_cast<const HxCharacterSetObject*>(_object);
  }
};

class RONDEL_EXPORT HxMutableCharacterSet : public HxCharacterSet {
 public:
  constexpr HxMutableCharacterSet(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxMutableCharacterSet(Unchecked, HxAny any) noexcept
      : HxCharacterSet(Unchecked{}, std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && isBuiltInKind(object, HxTypeID::characterSet, kMutable);
  }
  static HxClass classObject() noexcept;

  // Returns a new, empty set.
  static HxMutableCharacterSet characterSet();

  void addCharactersInString(const HxString& string);
  void addCharactersInRange(HxRange units);
  void formUnionWithCharacterSet(const HxCharacterSet& set);
  void invert();
};

}  // namespace rondel
