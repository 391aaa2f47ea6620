// SPDX-License-Identifier: MIT
//
// Reads the input as a property list. What is read is written in both forms and must come back: the
// same from the XML form, and from the text form what text makes of it, which then stays the same.
#include <cstdint>
#include <cstdlib>

#include "Rondel/core/propertylist/PropertyList.h"
#include "Rondel/core/values/Data.h"

namespace {

using namespace rondel;

void require(bool condition) {
  if (!condition) std::abort();
}

HxAny writtenAndRead(const HxHandle& list, HxPropertyListFormat format) {
  HxError error;
  const HxData bytes = HxDataFromPropertyList(list, format, &error);
  if (!bytes) {
    // What the form cannot hold: a date out of range, a character that XML forbids.
    require(error.code() == HxPropertyListValueError);
    return nullptr;
  }
  const HxAny read = HxPropertyListWithData(bytes);
  require(!read.isNil());
  return read;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  HxError error;
  const HxAny list = HxPropertyListWithData(HxData::dataWithBytes(data, size), &error);
  if (!list) {
    require(error.localizedDescription().hasPrefix("line "_hx));
    return 0;
  }
  const HxAny ofXML = writtenAndRead(list, HxPropertyListFormat::xml);
  require(!ofXML || ofXML == list);
  const HxAny ofText = writtenAndRead(list, HxPropertyListFormat::text);
  require(!ofText || writtenAndRead(ofText, HxPropertyListFormat::text) == ofText);
  return 0;
}
