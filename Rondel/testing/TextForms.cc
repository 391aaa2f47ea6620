// SPDX-License-Identifier: MIT
#include "Rondel/testing/TextForms.h"

#include <algorithm>
#include <ostream>

#include "Rondel/additions/ReusableSubstring.h"

namespace rondel::test {

namespace {

// The three operations that a string class must have.
class PrimitiveText : public HxStringObject {
 public:
  explicit PrimitiveText(std::u16string_view units) : _units(units) {}
  HxUInteger length() const override { return _units.size(); }
  HxUniChar characterAtIndex(HxUInteger index) const override { return _units.at(index); }
  void getCharacters(HxUniChar* buffer, HxRange range) const override {
    _units.copy(buffer, range.length, range.location);
  }

 protected:
  const std::u16string& units() const { return _units; }

 private:
  std::u16string _units;
};

class ContiguousText : public PrimitiveText {
 public:
  using PrimitiveText::PrimitiveText;
  Contiguous contiguousCharacters() const override { return {nullptr, units().data()}; }
};

class NarrowText final : public PrimitiveText {
 public:
  explicit NarrowText(std::u16string_view units)
      : PrimitiveText(units), _bytes(units.begin(), units.end()) {}
  Contiguous contiguousCharacters() const override { return {_bytes.data(), nullptr}; }

 private:
  std::string _bytes;
};

bool isASCII(std::u16string_view units) {
  return std::all_of(units.begin(), units.end(), [](HxUniChar unit) { return unit < 0x80; });
}

HxString makeBuffer(std::u16string_view units) {
  HxMutableString text = HxMutableString::string();
  text.appendCharacters(units.data(), units.size());
  return text;
}

HxString makeWidenedBuffer(std::u16string_view units) {
  HxMutableString text = HxMutableString::stringWithString("\u00e9"_hx);
  text.appendCharacters(units.data(), units.size());
  text.deleteCharactersInRange({0, 1});
  return text;
}

HxString makeView(TextForm realForm, std::u16string_view before, std::u16string_view units,
                  std::u16string_view behind) {
  std::u16string real(before);
  real.append(units).append(behind);
  return ZevCheapReusableSubstring::initWithRealString(makeText(realForm, real),
                                                       {before.size(), units.size()});
}

// The text around the part in its real string. A mark would combine with the part's last unit.
constexpr std::u16string_view kBefore = u"<a\n";
constexpr std::u16string_view kBehind = u"z>";
constexpr std::u16string_view kWideBefore = u"<\u00e9\n";
constexpr std::u16string_view kWideBehind = u"\u0301>";
static_assert(kBefore.size() == kUnitsBeforeView && kWideBefore.size() == kUnitsBeforeView);
static_assert(kBehind.size() == kUnitsBehindView && kWideBehind.size() == kUnitsBehindView);

}  // namespace

const char* nameOf(TextForm form) {
  switch (form) {
    case TextForm::flat:
      return "flat";
    case TextForm::buffer:
      return "buffer";
    case TextForm::widenedBuffer:
      return "widenedBuffer";
    case TextForm::primitives:
      return "primitives";
    case TextForm::contiguousWide:
      return "contiguousWide";
    case TextForm::contiguous:
      return "contiguous";
    case TextForm::view:
      return "view";
    case TextForm::wideView:
      return "wideView";
    case TextForm::primitivesView:
      return "primitivesView";
  }
  return "unknown";
}

void PrintTo(TextForm form, std::ostream* out) { *out << nameOf(form); }

HxString makeText(TextForm form, std::u16string_view units) {
  switch (form) {
    case TextForm::flat:
      return HxString(units);
    case TextForm::buffer:
      return makeBuffer(units);
    case TextForm::widenedBuffer:
      return makeWidenedBuffer(units);
    case TextForm::primitives:
      return HxString(makeRef<PrimitiveText>(units));
    case TextForm::contiguousWide:
      return HxString(makeRef<ContiguousText>(units));
    case TextForm::contiguous:
      return isASCII(units) ? HxString(makeRef<NarrowText>(units))
                            : HxString(makeRef<ContiguousText>(units));
    case TextForm::view:
      return makeView(TextForm::flat, kBefore, units, kBehind);
    case TextForm::wideView:
      return makeView(TextForm::flat, kWideBefore, units, kWideBehind);
    case TextForm::primitivesView:
      return makeView(TextForm::primitives, kWideBefore, units, kWideBehind);
  }
  return nullptr;
}

std::u16string unitsOf(const HxString& string) {
  std::u16string units(string.length(), u'\0');
  string.getCharacters(units.data());
  return units;
}

}  // namespace rondel::test
