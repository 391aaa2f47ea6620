// SPDX-License-Identifier: MIT
//
// What is particular to a view. That it is a string like any other is held by the tests of strings,
// for which it is one of the forms of text.
#include "Rondel/additions/ReusableSubstring.h"

#include <gtest/gtest.h>

#include <string>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/testing/AllocationCounter.h"
#include "Rondel/testing/FailureRecorder.h"
#include "Rondel/testing/Raised.h"
#include "Rondel/testing/TextForms.h"

namespace rondel::test {
namespace {

ZevCheapReusableSubstring viewOf(const HxString& real, HxRange part) {
  return ZevCheapReusableSubstring::initWithRealString(real, part);
}

HxCharacterSet setOf(const HxString& members) {
  return HxCharacterSet::characterSetWithCharactersInString(members);
}

// ---- Equality, hash and look-ups ----------------------------------------------------------------

TEST(ReusableSubstring, AViewOfLengthZeroIsEqualToTheEmptyStringAndHashesLikeIt) {
  for (const TextForm form : kTextForms) {
    const HxString real = makeText(form, u"caf\u00e9");
    for (const HxUInteger location : {0U, 2U, 4U}) {
      const HxString view = viewOf(real, {location, 0});
      EXPECT_EQ(view.length(), 0U);
      EXPECT_TRUE(view.isEqualToString(""_hx)) << nameOf(form);
      EXPECT_TRUE((""_hx).isEqualToString(view)) << nameOf(form);
      EXPECT_EQ(view.hash(), (""_hx).hash()) << nameOf(form);
    }
  }
}

TEST(ReusableSubstring, AViewAndANewStringWithTheSameTextAreEqualAndHashAlike) {
  for (const TextForm form : kTextForms) {
    const HxString real = makeText(form, u"one two \u00e9t\u00e9 two");
    for (const HxRange part : {HxRange{4, 3}, HxRange{8, 3}, HxRange{0, 15}}) {
      const HxString view = viewOf(real, part);
      const HxString plain{std::u16string_view(unitsOf(view))};
      EXPECT_TRUE(view.isEqual(plain)) << nameOf(form);
      EXPECT_TRUE(plain.isEqual(view)) << nameOf(form);
      EXPECT_EQ(view.hash(), plain.hash()) << nameOf(form);
    }
  }
}

TEST(ReusableSubstring, ALookUpWithTheViewFindsTheKeyThatANewStringWasStoredUnder) {
  HxMutableDictionary numbers = HxMutableDictionary::dictionary();
  numbers.setObject("1"_hx, HxString("two"));
  numbers.setObject("2"_hx, HxString("\u00e9t\u00e9"));
  const HxSet words = HxSet::initWithArray(numbers.allKeys());
  for (const TextForm form : kTextForms) {
    ZevCheapReusableSubstring view = viewOf(makeText(form, u"one two \u00e9t\u00e9"), {4, 3});
    EXPECT_EQ(numbers.objectForKey(view), HxAny("1"_hx)) << nameOf(form);
    EXPECT_TRUE(words.containsObject(view)) << nameOf(form);
    view.setRealString(makeText(form, u"one two \u00e9t\u00e9"), {8, 3});
    EXPECT_EQ(numbers.objectForKey(view), HxAny("2"_hx)) << nameOf(form);
    view.setRealString(makeText(form, u"one two \u00e9t\u00e9"), {0, 3});
    EXPECT_TRUE(numbers.objectForKey(view).isNil()) << nameOf(form);
    EXPECT_FALSE(words.containsObject(view)) << nameOf(form);
  }
}

TEST(ReusableSubstring, AKeyStaysWhatItWasWhenTheViewIsAimedAnew) {
  ZevCheapReusableSubstring view = viewOf("one two"_hx, {0, 3});
  HxMutableDictionary numbers = HxMutableDictionary::dictionary();
  numbers.setObject("1"_hx, view);
  view.setRealString("one two"_hx, {4, 3});
  EXPECT_EQ(numbers.objectForKey("one"_hx), HxAny("1"_hx));
  EXPECT_TRUE(numbers.objectForKey(view).isNil());
}

TEST(ReusableSubstring, EveryWayToMakeADictionaryCopiesTheKey) {
  const HxString real = "one two"_hx;
  const auto keyOf = [](const HxDictionary& made) { return made.allKeys().objectAtIndex(0); };
  ZevCheapReusableSubstring view = viewOf(real, {0, 3});
  HxMutableDictionary added = HxMutableDictionary::dictionary();
  added.addEntriesFromDictionary(HxDictionary::dictionaryWithObject("1"_hx, view));
  const HxDictionary all[] = {HxDictionary::dictionaryWithObject("1"_hx, view),
                              HxDictionary::dictionaryWithEntries({{view, "1"_hx}}), added};
  view.setRealString(real, {4, 3});
  for (const HxDictionary& made : all) {
    EXPECT_EQ(keyOf(made), HxAny("one"_hx));
    EXPECT_TRUE(as<ZevCheapReusableSubstring>(keyOf(made)).isNil());
  }
}

TEST(ReusableSubstring, SetsAndArraysHoldTheViewItself) {
  const ZevCheapReusableSubstring view = viewOf("one two"_hx, {0, 3});
  EXPECT_EQ(HxSet::initWithObjects({view}).member("one"_hx).object(), view.object());
  EXPECT_EQ(HxArray::arrayWithObject(view).objectAtIndex(0).object(), view.object());
}

TEST(ReusableSubstring, ANewRangeOfTheSameStringHasTheHashOfTheNewText) {
  const HxString real = "one two"_hx;
  ZevCheapReusableSubstring view = viewOf(real, {0, 3});
  EXPECT_EQ(view.hash(), ("one"_hx).hash());
  view.setRealString(real, {4, 3});
  EXPECT_EQ(view.hash(), ("two"_hx).hash());
  EXPECT_EQ(view, "two"_hx);
}

TEST(ReusableSubstring, TheHashIsAskedForOnceForEachAim) {
  class Counted final : public HxStringObject {
   public:
    HxUInteger length() const override { return 3; }
    HxUniChar characterAtIndex(HxUInteger) const override { return u'x'; }
    void getCharacters(HxUniChar* buffer, HxRange range) const override {
      ++reads;
      for (HxUInteger i = 0; i < range.length; ++i) buffer[i] = u'x';
    }
    mutable int reads = 0;
  };
  const Ref<Counted> real = makeRef<Counted>();
  ZevCheapReusableSubstring view = viewOf(HxString(real), {0, 2});
  view.setRealString(HxString(real), {1, 2});
  EXPECT_EQ(real->reads, 0);
  EXPECT_EQ(view.hash(), ("xx"_hx).hash());
  const int once = real->reads;
  EXPECT_GT(once, 0);
  EXPECT_EQ(view.hash(), ("xx"_hx).hash());
  EXPECT_EQ(real->reads, once);
  view.setRealString(HxString(real), {1, 2});
  view.hash();
  EXPECT_EQ(real->reads, 2 * once);
}

TEST(ReusableSubstring, NilAndAnotherLengthAreNotEqual) {
  ZevCheapReusableSubstring view = viewOf("one two"_hx, {0, 3});
  EXPECT_FALSE(view.isEqualToString(nullptr));
  EXPECT_FALSE(view.isEqualToString("on"_hx));
  EXPECT_FALSE(view.isEqualToString("one "_hx));
  EXPECT_FALSE(view.isEqualToString("onE"_hx));
  EXPECT_FALSE(view.isEqual(HxArray::array()));
  EXPECT_TRUE(view.isEqualToString(view));
  EXPECT_TRUE(view.isEqualToString(viewOf("no one"_hx, {3, 3})));
}

TEST(ReusableSubstring, AnEmbeddedNULCountsAsAnyOtherCharacter) {
  const HxString real{std::u16string_view(u"a\0b a\0c", 7)};
  ZevCheapReusableSubstring view = viewOf(real, {0, 3});
  EXPECT_TRUE(view.isEqualToString(HxString(std::u16string_view(u"a\0b", 3))));
  EXPECT_FALSE(view.isEqualToString(viewOf(real, {4, 3})));
}

// ---- Characters of a set ------------------------------------------------------------------------

TEST(ReusableSubstring, AMemberIsFoundAtItsLocationInTheRealString) {
  for (const TextForm form : kTextForms) {
    if (isView(form)) continue;  // there the real string answers for its own
    const HxString real = makeText(form, u"0123456789ab;d");
    ZevCheapReusableSubstring view = viewOf(real, {10, 4});
    EXPECT_EQ(view.rangeOfCharacterFromSet(setOf(";"_hx), 0, {0, 4}), HxMakeRange(12, 1));
    EXPECT_EQ(view.rangeOfCharacterFromSet(setOf(";"_hx), HxBackwardsSearch, {1, 3}),
              HxMakeRange(12, 1));
    EXPECT_EQ(view.rangeOfCharacterFromSet(setOf("9"_hx), 0, {0, 4}), kNotFoundRange);
  }
}

TEST(ReusableSubstring, EveryHandleAndEveryFormOfTheSearchAnswersForTheRealString) {
  const HxString view = viewOf("0123456789ab;d"_hx, {10, 4});
  EXPECT_EQ(view.rangeOfCharacterFromSet(setOf(";"_hx)), HxMakeRange(12, 1));
  EXPECT_EQ(view.rangeOfCharacterFromSet(setOf(";"_hx), HxBackwardsSearch), HxMakeRange(12, 1));
  EXPECT_EQ(view.rangeOfString(";"_hx), HxMakeRange(2, 1));
}

TEST(ReusableSubstring, TheEndOfTheRangeOfASearchIsNotHeldToTheView) {
  ZevCheapReusableSubstring view = viewOf("ab cd; ef"_hx, {3, 2});
  EXPECT_EQ(view.rangeOfCharacterFromSet(setOf(";"_hx), 0, {2, 4}), HxMakeRange(5, 1));
  EXPECT_EQ(raisedBy([&] {
              view.rangeOfCharacterFromSet(setOf(";"_hx), 0, {2, 5});
            }),
            HxRangeException);
}

TEST(ReusableSubstring, AllElseIsHeldToTheView) {
  for (const TextForm form : kTextForms) {
    ZevCheapReusableSubstring view = viewOf(makeText(form, u"ab cd; ef"), {3, 2});
    HxUniChar buffer[2];
    view.getCharacters(buffer, {1, 1});
    EXPECT_EQ(buffer[0], u'd') << nameOf(form);
    EXPECT_EQ(view.characterAtIndex(0), u'c') << nameOf(form);
    EXPECT_EQ(raisedBy([&] { view.characterAtIndex(2); }), HxRangeException) << nameOf(form);
    EXPECT_EQ(raisedBy([&] { view.getCharacters(buffer, {1, 2}); }), HxRangeException);
    EXPECT_EQ(raisedBy([&] { view.substringWithRange({1, 2}); }), HxRangeException);
  }
}

// ---- Aiming -------------------------------------------------------------------------------------

TEST(ReusableSubstring, HoldsTheRealStringUntilItIsAimedAtAnother) {
  const HxString first{std::string_view("first")};
  const HxString second{std::string_view("second")};
  ZevCheapReusableSubstring view = viewOf(first, {0, 2});
  EXPECT_FALSE(first.object()->isUniquelyReferenced());
  view.setRealString(second, {0, 2});
  EXPECT_TRUE(first.object()->isUniquelyReferenced());
  EXPECT_FALSE(second.object()->isUniquelyReferenced());
  view.setRealString(nullptr, {0, 2});
  EXPECT_TRUE(second.object()->isUniquelyReferenced());
}

TEST(ReusableSubstring, IsTakenOverByIdentityAndNotByEquality) {
  const HxString first{std::string_view("equal")};
  const HxString second{std::string_view("equal")};
  ZevCheapReusableSubstring view = viewOf(first, {0, 2});
  view.setRealString(second, {0, 2});
  EXPECT_TRUE(first.object()->isUniquelyReferenced());
}

TEST(ReusableSubstring, KeepsTheRealStringAlive) {
  ZevCheapReusableSubstring view = nullptr;
  {
    const HxString real{std::string_view("one two")};
    view = viewOf(real, {4, 3});
  }
  EXPECT_EQ(view, "two"_hx);
}

TEST(ReusableSubstring, AllHandlesOfOneViewAreAimedTogether) {
  ZevCheapReusableSubstring view = viewOf("one two"_hx, {0, 3});
  const HxString other = view;
  view.setRealString("one two"_hx, {4, 3});
  EXPECT_EQ(other, "two"_hx);
}

TEST(ReusableSubstring, ACopyIsAPlainStringOfItsOwn) {
  ZevCheapReusableSubstring view = viewOf("one two"_hx, {0, 3});
  const HxString copy = view.copy();
  view.setRealString("one two"_hx, {4, 3});
  EXPECT_EQ(copy, "one"_hx);
  EXPECT_TRUE(as<ZevCheapReusableSubstring>(copy).isNil());
}

TEST(ReusableSubstring, APartBeyondTheEndRaisesWhereACharacterIsMissing) {
  for (const TextForm form : kTextForms) {
    for (const HxRange part : {HxRange{2, 4}, HxRange{9, 1}, HxRange{~HxUInteger{0}, 4}}) {
      ZevCheapReusableSubstring view = viewOf(makeText(form, u"abcde"), part);
      EXPECT_EQ(view.length(), part.length);
      HxUniChar buffer[4];
      EXPECT_EQ(raisedBy([&] { view.getCharacters(buffer); }), HxRangeException) << nameOf(form);
      EXPECT_EQ(raisedBy([&] { view.hash(); }), HxRangeException) << nameOf(form);
      EXPECT_EQ(raisedBy([&] { return view.copy(); }), HxRangeException) << nameOf(form);
      const HxString other = part.length == 1 ? "x"_hx : "abcd"_hx;
      EXPECT_EQ(raisedBy([&] { view.isEqualToString(other); }), HxRangeException) << nameOf(form);
    }
    ZevCheapReusableSubstring view = viewOf(makeText(form, u"abcde"), {2, 4});
    EXPECT_EQ(view.characterAtIndex(2), u'e');
    EXPECT_EQ(raisedBy([&] { view.characterAtIndex(3); }), HxRangeException);
    EXPECT_EQ(raisedBy([&] { view.characterAtIndex(4); }), HxRangeException);
  }
}

TEST(ReusableSubstring, APartOfAbsurdLengthRaisesTheSameAndTakesNoRoom) {
  constexpr HxUInteger kMost = ~HxUInteger{0};
  for (const TextForm form : kTextForms) {
    for (const HxUInteger length : {kMost, kMost / 2 + 2, kMost / 4, HxUInteger{1} << 40}) {
      const HxString view = viewOf(makeText(form, u"abcde"), {0, length});
      EXPECT_EQ(raisedBy([&] { return view.copy(); }), HxRangeException);
      EXPECT_EQ(raisedBy([&] { return view.mutableCopy(); }), HxRangeException);
      EXPECT_EQ(raisedBy([&] { return view.hash(); }), HxRangeException);
      EXPECT_EQ(raisedBy([&] { return view.UTF8String(); }), HxRangeException);
      EXPECT_EQ(raisedBy([&] { return view.toStdString(); }), HxRangeException);
      EXPECT_EQ(raisedBy([&] { return view.uppercaseString(); }), HxRangeException);
      EXPECT_EQ(raisedBy([&] { return view.rangeOfString("b"_hx); }), HxRangeException);
      EXPECT_EQ(raisedBy([&] { return view.componentsSeparatedByString("b"_hx); }),
                HxRangeException);
      EXPECT_EQ(raisedBy([&] { return view.stringByAppendingString("b"_hx); }), HxRangeException);
    }
  }
}

TEST(ReusableSubstring, ARealStringThatHasLostTheTextRaises) {
  HxMutableString real = HxMutableString::stringWithString("one two"_hx);
  ZevCheapReusableSubstring view = viewOf(real, {4, 3});
  real.setString("one"_hx);
  EXPECT_EQ(raisedBy([&] { view.hash(); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { view.isEqualToString("two"_hx); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { view.UTF8String(); }), HxRangeException);
  view.setRealString(real, {0, 3});
  EXPECT_EQ(view, "one"_hx);
}

TEST(ReusableSubstring, ALocationBeyondAllNumbersIsNotTakenForOneAtTheStart) {
  constexpr HxUInteger kLast = ~HxUInteger{0};
  ZevCheapReusableSubstring view = viewOf("abcde"_hx, {kLast, 4});
  HxUniChar buffer[4];
  EXPECT_EQ(raisedBy([&] { view.characterAtIndex(1); }), HxRangeException);
  EXPECT_EQ(raisedBy([&] { view.getCharacters(buffer, {1, 3}); }), HxRangeException);
  view.setRealString("abcde"_hx, {2, 3});
  EXPECT_EQ(raisedBy([&] {
              view.rangeOfCharacterFromSet(setOf("a"_hx), 0, {kLast - 1, 1});
            }),
            HxRangeException);
}

TEST(ReusableSubstring, ARealStringThatHasGrownOrWidenedAfterThePartStillShowsIt) {
  for (const HxString& added : {" three"_hx, "\u00e9"_hx, HxString(std::string(5000, 'x'))}) {
    HxMutableString real = HxMutableString::stringWithString("one two"_hx);
    const ZevCheapReusableSubstring view = viewOf(real, {4, 3});
    real.appendString(added);
    EXPECT_EQ(view.hash(), ("two"_hx).hash());
    EXPECT_TRUE(view.isEqualToString("two"_hx));
    EXPECT_EQ(unitsOf(view), u"two");
  }
}

TEST(ReusableSubstring, AStringMayBeReturnnAViewOfItself) {
  HxMutableString text = HxMutableString::stringWithString("one two"_hx);
  ZevCheapReusableSubstring view = viewOf(text, {4, 3});
  for (int i = 0; i < 6; ++i) {
    const HxUInteger length = text.length();
    view.setRealString(text, {0, length});
    text.appendString(view);
    EXPECT_EQ(text.length(), 2 * length);
  }
  view.setRealString(text, {4, 3});
  text.insertString(view, 0);
  view.setRealString(text, {0, 3});
  EXPECT_EQ(view, "two"_hx);
  text.setString(view);
  EXPECT_EQ(text, "two"_hx);
}

TEST(ReusableSubstring, WhatMakesANewStringMakesAPlainOne) {
  const HxString view = viewOf("x ABC/D x"_hx, {2, 5});
  const HxString made[] = {
      view.copy(),
      HxString::stringWithString(view),
      view.substringWithRange({0, 5}),
      view.substringFromIndex(0),
      view.substringToIndex(5),
      view.uppercaseString(),
      view.stringByAppendingString(""_hx),
      view.decomposedStringWithCanonicalMapping(),
      view.stringByStandardizingPath(),
      view.stringByReplacingOccurrencesOfString("y"_hx, "z"_hx, 0, {0, 5}),
      as<HxString>(view.componentsSeparatedByString("y"_hx).objectAtIndex(0)),
      HxString::stringWithFormat("%@"_hx, view),
  };
  for (const HxString& string : made) {
    EXPECT_EQ(string, "ABC/D"_hx) << &string - made;
    EXPECT_TRUE(as<ZevCheapReusableSubstring>(string).isNil()) << &string - made;
  }
}

TEST(ReusableSubstring, ViewsTheViewsOfOthers) {
  const HxString outer = viewOf("one two three"_hx, {4, 9});
  const ZevCheapReusableSubstring inner = viewOf(outer, {4, 5});
  EXPECT_EQ(inner, "three"_hx);
  EXPECT_EQ(inner.hash(), ("three"_hx).hash());
  EXPECT_EQ(inner.rangeOfCharacterFromSet(setOf("h"_hx)), HxMakeRange(9, 1));
}

// ---- Nil ----------------------------------------------------------------------------------------

TEST(ReusableSubstring, AViewOfNilHasNoCharacters) {
  ZevCheapReusableSubstring view = viewOf(nullptr, {2, 3});
  ASSERT_FALSE(view.isNil());
  EXPECT_EQ(view.length(), 0U);
  EXPECT_EQ(view, ""_hx);
  EXPECT_EQ(view.hash(), (""_hx).hash());
  EXPECT_EQ(unitsOf(view), u"");
  EXPECT_EQ(view.rangeOfCharacterFromSet(setOf("a"_hx), 0, {0, 3}), kNotFoundRange);
  EXPECT_EQ(raisedBy([&] { view.characterAtIndex(0); }), HxRangeException);
}

TEST(ReusableSubstring, ANilHandleReturnsZero) {
  ZevCheapReusableSubstring nil = nullptr;
  nil.setRealString("abc"_hx, {0, 1});
  EXPECT_TRUE(nil.isNil());
  EXPECT_EQ(nil.length(), 0U);
  EXPECT_EQ(nil.hash(), 0U);
  EXPECT_FALSE(nil.isEqualToString(""_hx));
}

// ---- A string to everybody ----------------------------------------------------------------------

TEST(ReusableSubstring, IsOfAClassBelowThatOfAllStrings) {
  const HxAny view = viewOf("one two"_hx, {0, 3});
  EXPECT_EQ(HxStringFromClass(view.hxClass()), "ZevCheapReusableSubstring"_hx);
  EXPECT_TRUE(view.isKindOfClass(HxString::classObject()));
  EXPECT_EQ(HcGetTypeID(view), HcStringGetTypeID());
  EXPECT_EQ(as<HxString>(view), "one"_hx);
  EXPECT_EQ(as<ZevCheapReusableSubstring>(view), "one"_hx);
  EXPECT_TRUE(as<ZevCheapReusableSubstring>("one"_hx).isNil());
  EXPECT_TRUE(as<HxMutableString>(view).isNil());
}

TEST(ReusableSubstring, PassesTheChecksForStrings) {
  const FailureRecorder failures;
  MO_FUNCTION("void test()");
  const HxString view = viewOf("one two"_hx, {0, 3});
  MoCheckString(view);
  MoCheckNonEmptyString(view);
  MoCheckInstance(view, HxString);
  EXPECT_EQ(failures.failures().size(), 0U);
}

TEST(ReusableSubstring, ItsClassMakesOneOfNothing) {
  const HxAny made = ZevCheapReusableSubstring::classObject().make();
  EXPECT_EQ(as<ZevCheapReusableSubstring>(made), ""_hx);
}

// ---- The heap -----------------------------------------------------------------------------------

TEST(ReusableSubstring, NoOperationTakesAnythingFromTheHeap) {
  const HxCharacterSet set = setOf(";"_hx);
  const std::u16string ascii(2000, u'a');
  const std::u16string other = std::u16string(1999, u'a') + u'\u00e9';
  for (const TextForm form : kTextForms) {
    for (const std::u16string& units : {ascii, other}) {
      const HxString real = makeText(form, units);
      const HxString second = makeText(form, units);
      const HxString plain{std::u16string_view(units).substr(1, 1999)};
      ZevCheapReusableSubstring view = viewOf(second, {0, 2000});
      HxMutableDictionary keys = HxMutableDictionary::dictionary();
      keys.setObject(plain, plain);
      HxUniChar buffer[100];
      bool isRight = true;
      const AllocationCounter counter;
      view.setRealString(real, {1, 1999});
      isRight = isRight && view.length() == 1999 && view.characterAtIndex(0) == u'a';
      view.getCharacters(buffer, {1, 100});
      isRight = isRight && view.hash() == plain.hash() && view.isEqualToString(plain);
      isRight = isRight && plain.isEqualToString(view) && view.isEqualToString(view);
      isRight = isRight && view.rangeOfCharacterFromSet(set, 0, {0, 1999}).length == 0;
      isRight = isRight && !keys.objectForKey(view).isNil();
      const std::size_t allocations = counter.count();
      EXPECT_TRUE(isRight) << nameOf(form);
      EXPECT_EQ(allocations, 0U) << nameOf(form);
    }
  }
}

TEST(ReusableSubstring, MakingOneTakesOneAllocation) {
  const AllocationCounter counter;
  ZevCheapReusableSubstring view = viewOf("one two"_hx, {0, 3});
  EXPECT_EQ(counter.count(), 1U);
}

}  // namespace
}  // namespace rondel::test
