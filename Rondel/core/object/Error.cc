// SPDX-License-Identifier: MIT
#include "Rondel/core/object/Error.h"

#include <cstring>

#include "Rondel/core/collections/Dictionary.h"

namespace rondel {

namespace {

// The object of every error.
class ErrorObject final : public HxObject {
 public:
  ErrorObject(const HxString& domain, HxInteger code, const HxDictionary& userInfo)
      : HxObject(HxTypeID::error),
        _domain(domain.copy()),
        _code(code),
        _userInfo(userInfo.copy()) {}

  HxClass hxClass() const noexcept override { return HxError::classObject(); }
  bool isEqual(const HxObject& other) const override {
    if (other.typeID() != HxTypeID::error) return false;
    const auto& error = static_cast<const ErrorObject&>(other);
    return _code == error._code && _domain == error._domain && _userInfo == error._userInfo;
  }
  HxUInteger hash() const override { return _domain.hash() + static_cast<HxUInteger>(_code); }
  // "HxPOSIXErrorDomain 2: /x: No such file or directory"
  HxString description() const override {
    return HxString::stringWithFormat("%@ %ld: %@"_hx, _domain, _code, localizedDescription());
  }

  const HxString& domain() const noexcept { return _domain; }
  HxInteger code() const noexcept { return _code; }
  const HxDictionary& userInfo() const noexcept { return _userInfo; }
  HxString localizedDescription() const;

 private:
  HxString _domain;
  HxInteger _code;
  HxDictionary _userInfo;
};

// Returns the system's English text for an errno value.
HxString textOfErrno(HxInteger code) {
  const char* text =
      code == static_cast<int>(code) ? ::strerrordesc_np(static_cast<int>(code)) : nullptr;
  return text ? HxString::stringWithUTF8String(text)
              : HxString::stringWithFormat("Unknown error %ld"_hx, code);
}

HxString ErrorObject::localizedDescription() const {
  if (auto text = _userInfo.objectForKey<HxString>(HxLocalizedDescriptionKey)) return text;
  if (!(_domain == HxPOSIXErrorDomain)) {
    return HxString::stringWithFormat("%@ error %ld"_hx, _domain, _code);
  }
  const HxString path = _userInfo.objectForKey<HxString>(HxFilePathErrorKey);
  return path ? HxString::stringByConcatenating(path, ": "_hx, textOfErrno(_code))
              : textOfErrno(_code);
}

const ErrorObject* errorOf(const HxHandle& error) noexcept {
  return static_cast<const ErrorObject*>(error.object());
}

}  // namespace

HxClass HxError::classObject() noexcept {
  static const HxClassInfo info{"HxError", HxObject::classObject().info()};
  return HxClass(&info);
}

HxError HxError::errorWithDomain(const HxString& domain, HxInteger code,
                                 const HxDictionary& userInfo) {
  return HxError(Unchecked{}, HxAny::adopt(new ErrorObject(domain, code, userInfo)));
}

HxError HxError::posixError(int code, const HxString& path) {
  const HxDictionary userInfo =
      path ? HxDictionary::dictionaryWithObject(path, HxFilePathErrorKey) : HxDictionary();
  return errorWithDomain(HxPOSIXErrorDomain, code, userInfo);
}

HxString HxError::domain() const { return _object ? errorOf(*this)->domain() : HxString(); }

HxInteger HxError::code() const noexcept { return _object ? errorOf(*this)->code() : 0; }

HxDictionary HxError::userInfo() const {
  return _object ? errorOf(*this)->userInfo() : HxDictionary();
}

HxString HxError::localizedDescription() const {
  return _object ? errorOf(*this)->localizedDescription() : HxString();
}

}  // namespace rondel
