// SPDX-License-Identifier: MIT
//
// Objects that change the collection which asks them for equality or a description, and keys
// without a copy.
#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "Rondel/additions/Quoting.h"
#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/text/String.h"

namespace rondel::test {
namespace {

// Does something whenever it is asked for a description or compared. Equal to nothing else.
class Meddler final : public HxObject {
 public:
  explicit Meddler(std::function<void()> meddle) : _meddle(std::move(meddle)) {}
  bool isEqual(const HxObject&) const override {
    _meddle();
    return false;
  }
  HxUInteger hash() const override { return 1; }
  HxString description() const override {
    _meddle();
    return "meddler"_hx;
  }

 private:
  std::function<void()> _meddle;
};

// An array of two objects, the first of which does this to it.
template <class Meddle>
HxMutableArray arrayWithMeddler(Meddle meddle) {
  HxMutableArray array = HxMutableArray::array();
  HxArrayObject* const unowned = static_cast<HxArrayObject*>(array.object());
  array.addObject(makeRef<Meddler>(
      [unowned, meddle] { meddle(as<HxMutableArray>(HxAny(static_cast<HxObject*>(unowned)))); }));
  array.addObject("last"_hx.mutableCopy());
  return array;
}

void empty(HxMutableArray array) { array.removeAllObjects(); }
void fill(HxMutableArray array) {
  for (int i = 0; i < 100; ++i) array.addObject("more"_hx);
}

TEST(Reentry, ASearchEndsWithAnArrayThatIsEmptiedMeanwhile) {
  EXPECT_EQ(arrayWithMeddler(empty).indexOfObject("last"_hx), HxNotFound);
}

TEST(Reentry, ASearchFindsWhatIsAddedMeanwhile) {
  EXPECT_EQ(arrayWithMeddler(fill).indexOfObject("more"_hx), 2U);
}

TEST(Reentry, ADescriptionTakesTheArrayAsItIsAtEachObject) {
  EXPECT_EQ(arrayWithMeddler(empty).description(), "(\n    meddler\n)"_hx);
  EXPECT_TRUE(arrayWithMeddler(fill).description().hasSuffix("more\n)"_hx));
}

TEST(Reentry, AJoinTakesTheArrayAsItWas) {
  EXPECT_EQ(arrayWithMeddler(empty).componentsJoinedByString("-"_hx), "meddler-last"_hx);
  EXPECT_EQ(arrayWithMeddler(fill).componentsJoinedByString("-"_hx), "meddler-last"_hx);
}

TEST(Reentry, ACommandLineTakesTheArrayAsItWas) {
  EXPECT_EQ(stringByConcatenatingObjectsAsCommandLineArguments(arrayWithMeddler(fill)),
            "meddler last"_hx);
}

TEST(Reentry, AComparisonEndsWithAnArrayThatChangesMeanwhile) {
  const HxArray others = HxArray::arrayWithObjects({HxMutableArray::array(), "last"_hx});
  EXPECT_FALSE(arrayWithMeddler(empty).isEqual(others));
  EXPECT_FALSE(arrayWithMeddler(fill).isEqual(others));
}

TEST(Reentry, ADescriptionOfASetSurvivesItsChange) {
  HxMutableSet set = HxMutableSet::set();
  HxObject* const unowned = set.object();
  set.addObject(makeRef<Meddler>([unowned] {
    HxMutableSet changed = as<HxMutableSet>(HxAny(unowned));
    for (const HxString& word : {"a"_hx, "b"_hx, "c"_hx, "d"_hx, "e"_hx, "f"_hx, "g"_hx, "h"_hx}) {
      changed.addObject(word);
    }
  }));
  EXPECT_EQ(set.description(), "{(\n    meddler\n)}"_hx);
}

TEST(Reentry, AKeyThatCopiesToNilSetsNothing) {
  class Shy final : public HxObject {
   public:
    HxAny copy() const override { return nullptr; }
  };
  HxMutableDictionary dictionary = HxMutableDictionary::dictionary();
  dictionary.setObject("value"_hx, makeRef<Shy>());
  EXPECT_TRUE(dictionary.isEmpty());
}

}  // namespace
}  // namespace rondel::test
