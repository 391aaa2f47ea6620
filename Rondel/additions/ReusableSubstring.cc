// SPDX-License-Identifier: MIT
#include "Rondel/additions/ReusableSubstring.h"

#include <cstring>

namespace rondel {

namespace internal {

class SubstringView final : public HxStringObject {
 public:
  SubstringView() noexcept : HxStringObject(kBuiltIn | kAimable) {}
  HxClass hxClass() const noexcept override { return ZevCheapReusableSubstring::classObject(); }

  void setRealString(const HxString& realString, HxRange subrange) {
    if (_realString.object() != realString.object()) _realString = realString;
    _subrange = subrange;
    _hashValueValid = false;
  }

  HxUInteger length() const override { return _realString ? _subrange.length : 0; }
  HxUniChar characterAtIndex(HxUInteger index) const override {
    return _realString.characterAtIndex(inRealString(index));
  }
  void getCharacters(HxUniChar* buffer, HxRange range) const override {
    _realString.getCharacters(buffer, inRealString(range));
  }
  Contiguous contiguousCharacters() const override;
  HxRange rangeOfCharacterFromSet(const HxCharacterSet& set, HxStringCompareOptions options,
                                  HxRange range) const override {
    return _realString.rangeOfCharacterFromSet(set, options, inRealString(range));
  }

  bool isEqual(const HxObject& other) const override;
  HxUInteger hash() const override;

 private:
  // Beyond the end of any string where the sum is too large for a number.
  HxUInteger inRealString(HxUInteger index) const noexcept {
    const HxUInteger sum = index + _subrange.location;
    return sum < index ? UINTPTR_MAX : sum;
  }
  HxRange inRealString(HxRange range) const noexcept {
    return {inRealString(range.location), range.length};
  }

  HxString _realString;
  HxRange _subrange;
  mutable HxUInteger _hashValue = 0;
  mutable bool _hashValueValid = false;
};

// Where the part lies in the real string. A part that does not fit raises here, as the real string
// does it, before anybody looks for room for so many characters.
HxStringObject::Contiguous SubstringView::contiguousCharacters() const {
  if (!_realString) return {};
  if (!HxRangeFits(_subrange, _realString.length())) _realString.getCharacters(nullptr, _subrange);
  Contiguous run = static_cast<const HxStringObject*>(_realString.object())->contiguousCharacters();
  if (run.narrow) run.narrow += _subrange.location;
  if (run.wide) run.wide += _subrange.location;
  return run;
}

bool SubstringView::isEqual(const HxObject& other) const {
  if (this == &other) return true;
  if (other.typeID() != HxTypeID::string) return false;
  const auto& string = static_cast<const HxStringObject&>(other);
  if (length() != string.length()) return false;
  const char* const ours = contiguousCharacters().narrow;
  const char* const others = string.contiguousCharacters().narrow;
  if (ours && others) return std::memcmp(ours, others, length()) == 0;
  return HxStringObject::isEqual(other);
}

HxUInteger SubstringView::hash() const {
  if (!_hashValueValid) {
    _hashValue = HxStringObject::hash();
    _hashValueValid = true;
  }
  return _hashValue;
}

}  // namespace internal

using internal::SubstringView;

HxClass ZevCheapReusableSubstring::classObject() noexcept {
  static const HxClassInfo info{"ZevCheapReusableSubstring", HxStringObject::classObject().info(),
                                [] { return HxAny(makeRef<SubstringView>()); }};
  return HxClass(&info);
}

bool ZevCheapReusableSubstring::canHold(const HxObject* object) noexcept {
  return object && isBuiltInKind(object, HxTypeID::string, kAimable);
}

ZevCheapReusableSubstring ZevCheapReusableSubstring::initWithRealString(const HxString& realString,
                                                                        HxRange subrange) {
  ZevCheapReusableSubstring view(Unchecked{}, makeRef<SubstringView>());
  view.setRealString(realString, subrange);
  return view;
}

void ZevCheapReusableSubstring::setRealString(const HxString& realString, HxRange subrange) {
  if (isForChange("-[ZevCheapReusableSubstring setRealString:subrange:]", HxTypeID::string,
                  kAimable)) {
    static_cast<SubstringView*>(_object)->setRealString(realString, subrange);
  }
}

}  // namespace rondel
