// SPDX-License-Identifier: MIT
#include "Rondel/core/text/CharacterSet.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <functional>

#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Characters.h"
#include "Rondel/core/text/internal/TextHash.h"

namespace rondel {

// ---- The object of a set ----------------------------------------------------------------------

HxCharacterSetObject::HxCharacterSetObject(bool isMutable)
    : HxObject(HxTypeID::characterSet, kBuiltIn | (isMutable ? kMutable : 0)) {}

HxClass HxCharacterSetObject::classObject() noexcept {
  static const HxClassInfo info{"HxCharacterSet", HxObject::classObject().info()};
  return HxClass(&info);
}

HxClass HxMutableCharacterSet::classObject() noexcept {
  static const HxClassInfo info{"HxMutableCharacterSet", HxCharacterSet::classObject().info(),
                                [] { return HxAny(HxMutableCharacterSet::characterSet()); }};
  return HxClass(&info);
}

HxClass HxCharacterSetObject::hxClass() const noexcept {
  return bits() & kMutable ? HxMutableCharacterSet::classObject() : classObject();
}

bool HxCharacterSetObject::isEqual(const HxObject& other) const {
  return other.typeID() == HxTypeID::characterSet &&
         std::ranges::equal(_words, static_cast<const HxCharacterSetObject&>(other)._words);
}

HxUInteger HxCharacterSetObject::hash() const {
  HxUInteger hash = 0;
  for (std::uint64_t word : _words) {
    hash = internal::spreadHash(hash ^ word);
  }
  return hash;
}

HxAny HxCharacterSetObject::copy() const {
  if (!(bits() & kMutable)) return HxAny(this);
  auto result = makeRef<HxCharacterSetObject>();
  result->unite(*this);
  return result;
}

HxAny HxCharacterSetObject::mutableCopy() const {
  auto result = makeRef<HxCharacterSetObject>(true);
  result->unite(*this);
  return result;
}

void HxCharacterSetObject::unite(const HxCharacterSetObject& other) noexcept {
  std::ranges::transform(_words, other._words, _words, std::bit_or<>());
}

void HxCharacterSetObject::invert() noexcept {
  std::ranges::transform(_words, _words, std::bit_not<>());
}

namespace {

HxCharacterSet handleOf(const Ref<HxCharacterSetObject>& object) {
  return HxCharacterSet(HxAny::Unchecked{}, object);
}

HxCharacterSetObject& objectOf(const HxMutableCharacterSet& set) noexcept {
  return *static_cast<HxCharacterSetObject*>(set.object());
}

void addUnits(HxCharacterSetObject& set, const HxString& string) {
  internal::Characters(string).visit([&](const auto* units, HxUInteger length) {
    for (HxUInteger i = 0; i < length; ++i) set.add(static_cast<HxUniChar>(units[i]));
  });
}

void addRange(HxCharacterSetObject& set, HxRange units) {
  constexpr HxUInteger kUnits = HxCharacterSetObject::kUnits;
  const HxUInteger start = std::min(units.location, kUnits);
  const HxUInteger end = start + std::min(units.length, kUnits - start);
  for (HxUInteger unit = start; unit < end; ++unit) set.add(static_cast<HxUniChar>(unit));
}

// Returns all units of the Unicode general categories in a mask of U_GC_ bits. Surrogates are in
// none of those used here.
Ref<HxCharacterSetObject> unitsOfCategories(std::uint32_t mask) {
  auto set = makeRef<HxCharacterSetObject>();
  for (HxUInteger unit = 0; unit < HxCharacterSetObject::kUnits; ++unit) {
    if (U_GET_GC_MASK(static_cast<UChar32>(unit)) & mask) set->add(static_cast<HxUniChar>(unit));
  }
  return set;
}

Ref<HxCharacterSetObject> makeWhitespace() {
  auto set = unitsOfCategories(U_GC_ZS_MASK);
  set->add(u'\t');
  return set;
}

Ref<HxCharacterSetObject> makeWhitespaceAndNewline() {
  auto set = makeWhitespace();
  addUnits(*set, HxString(std::u16string_view(u"\n\v\f\r\u0085\u2028\u2029")));
  return set;
}

}  // namespace

// ---- Making sets ------------------------------------------------------------------------------

HxCharacterSet HxCharacterSet::characterSetWithCharactersInString(const HxString& string) {
  auto set = makeRef<HxCharacterSetObject>();
  addUnits(*set, string);
  return handleOf(set);
}

HxCharacterSet HxCharacterSet::characterSetWithRange(HxRange units) {
  auto set = makeRef<HxCharacterSetObject>();
  addRange(*set, units);
  return handleOf(set);
}

// The named sets are never destroyed: code that runs at exit may still ask them.
HxCharacterSet HxCharacterSet::whitespaceCharacterSet() {
  static const auto* const set = new HxCharacterSet(handleOf(makeWhitespace()));
  return *set;
}

HxCharacterSet HxCharacterSet::whitespaceAndNewlineCharacterSet() {
  static const auto* const set = new HxCharacterSet(handleOf(makeWhitespaceAndNewline()));
  return *set;
}

HxCharacterSet HxCharacterSet::alphanumericCharacterSet() {
  static const auto* const set =
      new HxCharacterSet(handleOf(unitsOfCategories(U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)));
  return *set;
}

HxCharacterSet HxCharacterSet::invertedSet() const {
  if (!_object) return nullptr;
  auto set = makeRef<HxCharacterSetObject>();
  set->unite(*setObject());
  set->invert();
  return handleOf(set);
}

HxCharacterSet HxCharacterSet::copy() const {
  return HxCharacterSet(Unchecked{}, HxHandle::copy());
}

HxMutableCharacterSet HxCharacterSet::mutableCopy() const {
  return HxMutableCharacterSet(Unchecked{}, HxHandle::mutableCopy());
}

// ---- Changing ---------------------------------------------------------------------------------

HxMutableCharacterSet HxMutableCharacterSet::characterSet() {
  return HxMutableCharacterSet(Unchecked{}, makeRef<HxCharacterSetObject>(true));
}

void HxMutableCharacterSet::addCharactersInString(const HxString& string) {
  if (isForChange("-[HxMutableCharacterSet addCharactersInString:]", HxTypeID::characterSet)) {
    addUnits(objectOf(*this), string);
  }
}

void HxMutableCharacterSet::addCharactersInRange(HxRange units) {
  if (isForChange("-[HxMutableCharacterSet addCharactersInRange:]", HxTypeID::characterSet)) {
    addRange(objectOf(*this), units);
  }
}

void HxMutableCharacterSet::formUnionWithCharacterSet(const HxCharacterSet& set) {
  if (isForChange("-[HxMutableCharacterSet formUnionWithCharacterSet:]", HxTypeID::characterSet) &&
      set) {
    objectOf(*this).unite(*set.setObject());
  }
}

void HxMutableCharacterSet::invert() {
  if (isForChange("-[HxMutableCharacterSet invert]", HxTypeID::characterSet)) {
    objectOf(*this).invert();
  }
}

}  // namespace rondel
