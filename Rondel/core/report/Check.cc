// SPDX-License-Identifier: MIT
#include "Rondel/core/report/Check.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>

#include "Rondel/core/report/AssertionHandler.h"
#include "Rondel/core/report/Log.h"

namespace rondel {

namespace globals {
constexpr HxAny self;
constexpr HxSelector _cmd;
}  // namespace globals

// ---- The sink -----------------------------------------------------------------------------------

namespace {

void writeFailure(const HxAny*, const HxSelector*, const char* function, const char* file, int line,
                  const HxString& format, HxArguments arguments) {
  HxLog("%s:%d: %s: %@"_hx, file, line, function,
        HxString::initWithFormatArguments(format, arguments));
}

constinit std::atomic<MoAssertionFailureSink> sinkInCharge{writeFailure};

}  // namespace

void MoAssertionFailureHandler(const HxAny* self, const HxSelector* _cmd, const char* function,
                               const char* file, int line, const HxString& format,
                               HxArguments arguments) {
  sinkInCharge.load()(self, _cmd, function, file, line, format, arguments);
}

MoAssertionFailureSink MoSetAssertionFailureHandler(MoAssertionFailureSink sink) noexcept {
  return sinkInCharge.exchange(sink ? sink : writeFailure);
}

namespace internal {

// ---- Receiver and name --------------------------------------------------------------------------

namespace {

// A handle that does not count. A check may be in a destructor, where counting up and down would
// destroy the object again.
class LentObject {
 public:
  explicit LentObject(const HxObject* object) noexcept
      : _handle(HxAny::adopt(const_cast<HxObject*>(object))) {}
  LentObject(const LentObject&) = delete;
  LentObject& operator=(const LentObject&) = delete;
  ~LentObject() {}  // NOLINT: the handle below is not destroyed, and so releases nothing

  const HxAny& handle() const noexcept { return _handle; }

 private:
  union {
    HxAny _handle;
  };
};

bool isOperation(const char* function) { return function[0] == '-' || function[0] == '+'; }

// "op:with:" of "-[Class(Group) op:with:]"; null for a plain function.
HxSelector selectorOf(const char* function) {
  const char* const blank = isOperation(function) ? std::strchr(function, ' ') : nullptr;
  if (!blank) return HxSelector();
  std::string name = blank + 1;
  if (name.ends_with(']')) name.pop_back();
  return HxSelector(name.c_str());
}

void tell(const HxObject* receiver, const CheckSite& site, const HxString& format,
          HxArguments arguments) {
  if (!isOperation(site.function)) {
    return MoAssertionFailureHandler(&globals::self, &globals::_cmd, site.function, site.file,
                                     site.line, format, arguments);
  }
  const LentObject self(receiver);
  const HxSelector _cmd = selectorOf(site.function);
  MoAssertionFailureHandler(&self.handle(), &_cmd, site.function, site.file, site.line, format,
                            arguments);
}

// A message with its own arguments, and the two after them.
template <class... Arguments>
void tellMessage(const HxObject* receiver, const CheckSite& site, const char* condition,
                 const HxString& format, const Arguments&... arguments) {
  tell(receiver, site, format, HxArgumentPack(arguments..., MoDefaultAssertionFormat, condition));
}

HxString describe(const HxObject* object) { return object->descriptionForAssertionMessage(); }

}  // namespace

// ---- The forms ----------------------------------------------------------------------------------

void failCondition(const HxObject* receiver, const CheckSite& site) {
  tell(receiver, site, MoDefaultAssertionFormat, HxArgumentPack(site.conditions[0]));
}

void failWithMessage(const HxObject* receiver, const CheckSite& site, const HxString& format,
                     HxArguments arguments) {
  tell(receiver, site, format, arguments);
}

void failString(const HxObject* receiver, const CheckSite& site, const HxObject* value) {
  if (!value) {
    return tellMessage(receiver, site, site.conditions[0],
                       "%s should be a string, but it is nil"_hx, site.name);
  }
  tellMessage(receiver, site, site.conditions[1], "%s should be a string, but it is %@"_hx,
              site.name, describe(value));
}

void failNonEmptyString(const HxObject* receiver, const CheckSite& site, const HxObject* value) {
  if (!value) {
    return tellMessage(receiver, site, site.conditions[0],
                       "%s should be a non-empty string, but it is nil"_hx, site.name);
  }
  if (!isString(value)) {
    return tellMessage(receiver, site, site.conditions[1],
                       "%s should be a non-empty string, but it is %@"_hx, site.name,
                       describe(value));
  }
  // The description is more than the format takes; it keeps the shape of the stage before.
  tellMessage(receiver, site, site.conditions[2],
              "%s should be a non-empty string, but it's an empty string"_hx, site.name,
              describe(value));
}

void failArray(const HxObject* receiver, const CheckSite& site, const HxObject* value) {
  if (!value) {
    return tellMessage(receiver, site, site.conditions[0], "%s should be a array, but it is nil"_hx,
                       site.name);  // sic
  }
  tellMessage(receiver, site, site.conditions[1], "%s should be an array, but it is %@"_hx,
              site.name, describe(value));
}

namespace {

bool isPartOfName(char c) {
  return c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Returns "rondel::HxArray" without the namespaces.
std::string withoutNamespaces(std::string_view text) {
  std::string result(text);
  for (std::size_t colons; (colons = result.find("::")) != std::string::npos;) {
    std::size_t start = colons;
    while (start > 0 && isPartOfName(result[start - 1])) --start;
    result.erase(start, colons + 2 - start);
  }
  return result;
}

// Does the same for a condition whose last part, from `marker` on, names a class or an interface.
std::string conditionWithoutNamespaces(std::string_view condition, std::string_view marker) {
  const std::size_t start = std::min(condition.rfind(marker), condition.size());
  return std::string(condition.substr(0, start)) + withoutNamespaces(condition.substr(start));
}

}  // namespace

void failInstance(const HxObject* receiver, const CheckSite& site, const HxObject* value,
                  const char* className) {
  const HxString kind(withoutNamespaces(className));
  if (!value) {
    return tellMessage(receiver, site, site.conditions[0],
                       "%s should be an instance inheriting from %@, but it is nil"_hx, site.name,
                       kind);
  }
  const std::string condition = conditionWithoutNamespaces(site.conditions[1], " isKindOfClass:[");
  tellMessage(receiver, site, condition.c_str(),
              "%s should be an instance inheriting from %@, but it is %@"_hx, site.name, kind,
              describe(value));
}

void failProtocol(const HxObject* receiver, const CheckSite& site, const HxObject* value,
                  const char* protocol) {
  const std::string condition =
      conditionWithoutNamespaces(site.conditions[0], " conformsToProtocol:");
  tellMessage(receiver, site, condition.c_str(),
              "%s should conform to protocol %s, but %@ doesn't"_hx, site.name,
              withoutNamespaces(protocol), describe(value));
}

void failSelector(const HxObject* receiver, const CheckSite& site, const HxObject* value,
                  HxSelector selector) {
  const HxString name = HxStringFromSelector(selector);
  if (!value) {
    return tellMessage(receiver, site, site.conditions[0],
                       "%s should respond to '%@', but it is nil"_hx, site.name, name);
  }
  tellMessage(receiver, site, site.conditions[1], "%s should respond to '%@', but %@ doesn't"_hx,
              site.name, name, describe(value));
}

void failSubclass(const HxObject* receiver, const CheckSite& site) {
  const HxClass kind = receiver ? receiver->hxClass() : HxClass();
  tellMessage(receiver, site, site.conditions[0],
              "method %s is a responsibility of subclasses of %@"_hx, site.function,
              HxStringFromClass(kind));
}

void failParameter(const HxObject* receiver, const CheckSite& site) {
  const LentObject object(receiver);
  HxAssertionHandler::currentHandler()->handleFailureInMethod(
      selectorOf(site.function), object.handle(), HxString::stringWithUTF8String(site.file),
      site.line, "Invalid parameter not satisfying: %s"_hx, HxArgumentPack(site.conditions[0]));
}

}  // namespace internal
}  // namespace rondel
