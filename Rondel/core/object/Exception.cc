// SPDX-License-Identifier: MIT
#include "Rondel/core/object/Exception.h"

#include <string>

#include "Rondel/core/values/Data.h"

namespace rondel {

namespace {

HxData whatText(const HxString& name, const HxString& reason) {
  const std::string text = name.toStdString() + ": " + reason.toStdString();
  return HxData::dataWithBytes(text.c_str(), text.size() + 1);
}

}  // namespace

HxException::HxException(const HxString& name, const HxString& reason, const HxDictionary& userInfo)
    : _name(name.copy()),
      _reason(reason.copy()),
      _userInfo(userInfo.copy()),
      _what(whatText(name, reason)) {}

HxException::HxException(const HxException&) noexcept = default;

HxException& HxException::operator=(const HxException&) noexcept = default;

HxException::~HxException() = default;

const char* HxException::what() const noexcept {
  return reinterpret_cast<const char*>(HxData(HxAny::Unchecked{}, _what).bytes());
}

void HxException::raiseWithArguments(const HxString& name, const HxString& format,
                                     HxArguments arguments) {
  throw HxException(name, HxString::initWithFormatArguments(format, arguments));
}

}  // namespace rondel
