// SPDX-License-Identifier: MIT
//
// A program with one value of each kind, for test_printers.py to look at.
#include <string>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/text/CharacterSet.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Number.h"

using namespace rondel;

namespace {

class Job : public HxObject {};

// The place to stop at.
__attribute__((noinline)) void stop(const void* value) { asm volatile("" : : "r"(value)); }

void lookAtStrings() {
  HxString constant = "main.c"_hx;
  HxString wideConstant = "caf\u00e9 \U0001F600"_hx;
  HxString narrow(std::string_view("a \"b\"\n\\"));
  HxString wide(u"\u65e5\u672c");
  HxString empty = HxString::string();
  HxString nilString;
  HxString longText(std::string(1000, 'x'));
  HxMutableString buffer = HxMutableString::stringWithString("built "_hx);
  HxMutableString wideBuffer = HxMutableString::stringWithString("\u00e9t\u00e9"_hx);
  HxMutableString emptyBuffer = HxMutableString::string();
  HxAny any = constant;
  stop(&any);
}

void lookAtCollections() {
  HxArray array =
      HxArray::arrayWithObjects({"-c"_hx, HxNumber::numberWithInt(-12), HxArray::array()});
  HxMutableArray mutableArray = HxMutableArray::array();
  mutableArray.addObject("x"_hx);
  HxArray emptyArray = HxArray::array();
  HxMutableDictionary dictionary = HxMutableDictionary::dictionary();
  dictionary.setObject(HxNumber::numberWithInt(7), "key"_hx);
  HxSet set = HxSet::initWithObjects({"member"_hx});
  HxNumber boolean = HxNumber::numberWithBool(true);
  HxNumber real = HxNumber::numberWithDouble(1.5);
  Ref<Job> job = makeRef<Job>();
  Ref<Job> nilJob;
  stop(&job);
}

}  // namespace

int main() {
  lookAtStrings();
  lookAtCollections();
}
