// SPDX-License-Identifier: MIT
//
// Checks of arguments and invariants, and the one function that hears of those that fail.
//
// A failed check is a programming error of the caller. It is told to the failure sink,
// MoAssertionFailureHandler, and then the code goes on with the next statement: a check neither
// returns from the function nor raises. Code behind a check may count on the value only as far as
// nil-safe handles carry it; where it must stop, it has a branch of its own.
//
//   bool MoRegularExpression::matchesString(const HxString& candidate) {
//     MO_OPERATION("-[MoRegularExpression matchesString:]");
//     MoCheckString(candidate);
//     ...
//   }
//
// Each function that checks states its full name once, at its top, in one of these ways:
//
//   MO_OPERATION("-[Class op:]")                  a member function; `this` is the receiver
//   MO_CLASS_OPERATION("+[Class op:]")            a static one; there is no receiver to show, so
//                                                 the sink reads a null one, but a name
//   MO_ADDITION(receiver, "-[HxString(G) op:]")   a free function that stands for an operation of
//                                                 its first argument: a handle, a Ref, a pointer or
//                                                 an object
//   MO_FUNCTION("int f(HxString *)")              a plain function: neither receiver nor name
//
// The forms, and what they ask of their argument (a handle, HxAny, a Ref or a pointer to an
// object):
//
//   MoAssert(condition)                            the condition holds
//   MoAssertWithMessage(condition, format, ...)    the same, with a message of its own
//   MoCheckString(s)                               a string, not nil
//   MoCheckStringOrNil(s)                          a string or nil
//   MoCheckNonEmptyString(s)                       a string with at least one character
//   MoCheckArray(a)                                an array, not nil
//   MoCheckInstance(x, Class)                      an instance of Class or a class derived from it
//   MoCheckInstanceOrNil(x, Class)                 the same, or nil
//   MoCheckConformsToProtocolOrNil(x, Interface)   an object that adopts Interface, or nil
//   MoCheckRespondsToSelector(x, selector)         an object that has the operation
//   MoSubclassResponsibility()                     always fails: the body of an abstract operation
//   HxParameterAssert(condition)                   the condition holds; see its own comment
//
// A form evaluates its argument once and tells at most one failure. The source text of arguments
// and conditions is part of what the sink is told. Where that text must be another one than stands
// in the code, a form has a variant that takes it: ...Text(condition, text) and ...Named(argument,
// name).
//
// Cost. A check that passes is a comparison or a type query; it makes no text and takes nothing
// from the heap. All that a failure needs lies in constants and in cold functions elsewhere.
//
// Threads. Any thread may check; two failures at the same moment call the sink independently, with
// whatever locks their callers hold.
#pragma once

#include <type_traits>

#include "Rondel/core/text/String.h"

namespace rondel {

// ---- The sink -----------------------------------------------------------------------------------

// What a sink is told:
//   self       the place that holds the receiver of the operation in which the check stands
//   _cmd       the place that holds the name of that operation
//   function   the full name of the operation or function
//   file       path of the source file
//   line       of the check in that file
//   format     of the message
//   arguments  what the format takes, and behind that, for every check, the default format
//              "Assertion failed: %s" and the text of the failed condition. For a plain condition
//              the default format is the format and the text its only argument.
// In a plain function a null receiver and a null name are read through the first two. The receiver
// is lent for the call: a sink does not keep it, since it may be on its way to its end.
using MoAssertionFailureSink = void (*)(const HxAny* self, const HxSelector* _cmd,
                                        const char* function, const char* file, int line,
                                        const HxString& format, HxArguments arguments);

// Hands the failure to the sink in charge. At first that is one that writes "file:line: function:
// message" through HxLog and returns. A sink may return, raise or end the process.
RONDEL_EXPORT void MoAssertionFailureHandler(const HxAny* self, const HxSelector* _cmd,
                                             const char* function, const char* file, int line,
                                             const HxString& format, HxArguments arguments);

// Puts another sink in charge, null for that of the beginning, and gives the one before, never
// null.
RONDEL_EXPORT MoAssertionFailureSink
MoSetAssertionFailureHandler(MoAssertionFailureSink sink) noexcept;

// The format of a failure that has none of its own.
inline constexpr HxString MoDefaultAssertionFormat = "Assertion failed: %s"_hx;

// What stands for receiver and name in plain functions; permanently null. They have a namespace of
// their own so that a parameter may be called self.
namespace globals {
RONDEL_EXPORT extern const HxAny self;
RONDEL_EXPORT extern const HxSelector _cmd;
}  // namespace globals

// ---- What the forms are made of -----------------------------------------------------------------

namespace internal {

// The constants of one check.
struct CheckSite {
  const char* function;
  const char* file;
  int line;
  const char* name;           // text of the argument
  const char* conditions[3];  // text of the condition of each stage
};

inline const HxObject* checkedObject(const HxHandle& any) noexcept { return any.object(); }
inline const HxObject* checkedObject(std::nullptr_t) noexcept { return nullptr; }
inline const HxObject* checkedObject(const HxObject& object) noexcept { return &object; }
template <class T>
const HxObject* checkedObject(const T* object) noexcept {
  if constexpr (std::is_base_of_v<HxObject, T>) {
    return object;
  } else if constexpr (std::is_base_of_v<HxHandle, T>) {
    return object ? object->object() : nullptr;
  } else if constexpr (std::is_pointer_v<T>) {
    return object ? checkedObject(*object) : nullptr;
  } else if constexpr (std::is_polymorphic_v<T>) {
    return dynamic_cast<const HxObject*>(object);
  } else {
    return nullptr;  // a receiver that is no object
  }
}
template <class T>
const HxObject* checkedObject(const Ref<T>& reference) noexcept {
  return checkedObject(reference.get());
}
template <class T>
const HxObject* checkedObject(const Ref<T>* reference) noexcept {
  return checkedObject(reference->get());
}

inline bool isString(const HxObject* object) noexcept {
  return object && object->typeID() == HcStringGetTypeID();
}
inline bool isArray(const HxObject* object) noexcept {
  return object && object->typeID() == HcArrayGetTypeID();
}
// `argument` holds the object; a string handle reads built-in strings without a virtual call.
template <class Argument>
bool isNonEmptyString(const Argument& argument, const HxObject* object) {
  if (!isString(object)) return false;
  if constexpr (std::is_base_of_v<HxString, Argument>) return argument.length() > 0;
  return static_cast<const HxStringObject*>(object)->length() > 0;
}
// T is a class or a handle.
template <class T>
bool isInstanceOf(const HxObject* object) noexcept {
  if constexpr (std::is_base_of_v<HxObject, T>) {
    return object && object->isKindOfClass(T::classObject());
  } else {
    return T::canHold(object);
  }
}
template <class T>
const char* checkedClassName(const char* text) noexcept {
  if constexpr (std::is_base_of_v<HxObject, T>) {
    return T::classObject().name();
  } else {
    return text;
  }
}
template <class T>
bool conformsTo(const HxObject* object) noexcept {
  return dynamic_cast<const T*>(object) != nullptr;
}

// Each finds the stage that failed, and tells the sink. The receiver may be null.
#define MO_COLD_ [[gnu::cold, gnu::noinline]] RONDEL_EXPORT
MO_COLD_ void failCondition(const HxObject* receiver, const CheckSite& site);
// The arguments hold the two that stand behind every message.
MO_COLD_ void failWithMessage(const HxObject* receiver, const CheckSite& site,
                              const HxString& format, HxArguments arguments);
MO_COLD_ void failString(const HxObject* receiver, const CheckSite& site, const HxObject* value);
MO_COLD_ void failNonEmptyString(const HxObject* receiver, const CheckSite& site,
                                 const HxObject* value);
MO_COLD_ void failArray(const HxObject* receiver, const CheckSite& site, const HxObject* value);
MO_COLD_ void failInstance(const HxObject* receiver, const CheckSite& site, const HxObject* value,
                           const char* className);
MO_COLD_ void failProtocol(const HxObject* receiver, const CheckSite& site, const HxObject* value,
                           const char* protocol);
MO_COLD_ void failSelector(const HxObject* receiver, const CheckSite& site, const HxObject* value,
                           HxSelector selector);
MO_COLD_ void failSubclass(const HxObject* receiver, const CheckSite& site);
MO_COLD_ void failParameter(const HxObject* receiver, const CheckSite& site);
#undef MO_COLD_

}  // namespace internal
}  // namespace rondel

// ---- Where a check stands -----------------------------------------------------------------------

#define MO_OPERATION(name) MO_CHECKS_IN_(this, name)
#define MO_CLASS_OPERATION(name) MO_CHECKS_IN_(nullptr, name)
#define MO_ADDITION(receiver, name) MO_CHECKS_IN_(&(receiver), name)
#define MO_FUNCTION(signature) MO_CHECKS_IN_(nullptr, signature)

#define MO_CHECKS_IN_(receiver, function)              \
  [[maybe_unused]] const auto moReceiver = (receiver); \
  [[maybe_unused]] static constexpr const char* moFunction = function

// ---- The forms ----------------------------------------------------------------------------------

#define MoAssert(...) MoAssertText((__VA_ARGS__), #__VA_ARGS__)
#define MoAssertText(condition, text) MO_CHECK_(condition, failCondition, (nullptr, {text}))

#define MoAssertWithMessage(condition, format, ...) \
  MoAssertWithMessageText(condition, #condition, format __VA_OPT__(, ) __VA_ARGS__)
#define MoAssertWithMessageText(condition, text, format, ...)                                      \
  MO_CHECK_(condition, failWithMessage, (nullptr, {text}), format,                                 \
            ::rondel::HxArgumentPack(__VA_ARGS__ __VA_OPT__(, )::rondel::MoDefaultAssertionFormat, \
                                     static_cast<const char*>(text)))

#define MoCheckString(argument) MoCheckStringNamed(argument, #argument)
#define MoCheckStringNamed(argument, name)                                       \
  MO_CHECK_OBJECT_(argument, ::rondel::internal::isString(moObject), failString, \
                   (name, {"(" name ") != nil", MO_HAS_TYPE_(name, "String")}))

#define MoCheckStringOrNil(argument) MoCheckStringOrNilNamed(argument, #argument)
#define MoCheckStringOrNilNamed(argument, name)                                  \
  MO_CHECK_OBJECT_(                                                              \
      argument, !moObject || ::rondel::internal::isString(moObject), failString, \
      (name, {nullptr, "((" name ")) == nil || " MO_HAS_TYPE_("(" name ")", "String")}))

#define MoCheckNonEmptyString(argument) MoCheckNonEmptyStringNamed(argument, #argument)
#define MoCheckNonEmptyStringNamed(argument, name)                                       \
  MO_CHECK_OBJECT_(argument, ::rondel::internal::isNonEmptyString(moArgument, moObject), \
                   failNonEmptyString,                                                   \
                   (name, {"(" name ") != nil", MO_HAS_TYPE_(name, "String"),            \
                           "![(" name ") isEqualToString:@\"\"]"}))

#define MoCheckArray(argument) MoCheckArrayNamed(argument, #argument)
#define MoCheckArrayNamed(argument, name)                                      \
  MO_CHECK_OBJECT_(argument, ::rondel::internal::isArray(moObject), failArray, \
                   (name, {"(" name ") != nil", MO_HAS_TYPE_(name, "Array")}))

#define MoCheckInstance(argument, Class) MoCheckInstanceNamed(argument, #argument, Class)
#define MoCheckInstanceNamed(argument, name, Class)                                           \
  MO_CHECK_OBJECT_(argument, ::rondel::internal::isInstanceOf<Class>(moObject), failInstance, \
                   (name, {"(" name ") != nil", MO_IS_KIND_OF_(name, #Class)}),               \
                   ::rondel::internal::checkedClassName<Class>(#Class))

#define MoCheckInstanceOrNil(argument, Class) MoCheckInstanceOrNilNamed(argument, #argument, Class)
#define MoCheckInstanceOrNilNamed(argument, name, Class)                                     \
  MO_CHECK_OBJECT_(argument, !moObject || ::rondel::internal::isInstanceOf<Class>(moObject), \
                   failInstance,                                                             \
                   (name, {nullptr, "(" name ") == nil || " MO_IS_KIND_OF_(name, #Class)}),  \
                   ::rondel::internal::checkedClassName<Class>(#Class))

#define MoCheckConformsToProtocolOrNil(argument, Interface) \
  MoCheckConformsToProtocolOrNilNamed(argument, #argument, Interface)
#define MoCheckConformsToProtocolOrNilNamed(argument, name, Interface)                          \
  MO_CHECK_OBJECT_(                                                                             \
      argument, !moObject || ::rondel::internal::conformsTo<Interface>(moObject), failProtocol, \
      (name,                                                                                    \
       {"(" name ") == nil || [(id)(" name ") conformsToProtocol:@protocol(" #Interface ")]"}), \
      "@protocol(" #Interface ")")

#define MoCheckRespondsToSelector(argument, selector) \
  MoCheckRespondsToSelectorNamed(argument, #argument, selector, #selector)
#define MoCheckRespondsToSelectorNamed(argument, name, selector, selectorName)               \
  MO_CHECK_OBJECT_(                                                                          \
      argument, moObject && moObject->respondsToSelector(selector), failSelector,            \
      (name, {"(" name ") != nil", "[(id)(" name ") respondsToSelector:" selectorName "]"}), \
      selector)

// Tells the sink that the class of the receiver should have overridden the operation, and goes on.
#define MoSubclassResponsibility() MO_CHECK_(false, failSubclass, (nullptr, {"0"}))

// Does not call the sink: the thread's HxAssertionHandler is told, which raises
// HxInternalInconsistencyException with the reason "Invalid parameter not satisfying: <condition>"
// unless the host tool has put in one that returns. See AssertionHandler.h.
#define HxParameterAssert(...) HxParameterAssertText((__VA_ARGS__), #__VA_ARGS__)
#define HxParameterAssertText(condition, text) \
  MO_CHECK_(condition, failParameter, (nullptr, {text}))

// ---- Impl the forms ---------------------------------------------------------------------------

#define MO_HAS_TYPE_(name, type) "HcGetTypeID(" name ") == Hc" type "GetTypeID()"
#define MO_IS_KIND_OF_(name, kind) "[(id)(" name ") isKindOfClass:[" kind " class]]"
#define MO_UNPACK_(...) __VA_ARGS__

// `texts` is, in brackets, what a CheckSite holds behind the line.
#define MO_CHECK_(condition, fail, texts, ...)                                              \
  do {                                                                                      \
    if (!(condition)) [[unlikely]] {                                                        \
      static constexpr ::rondel::internal::CheckSite moSite{moFunction, __FILE__, __LINE__, \
                                                            MO_UNPACK_ texts};              \
      ::rondel::internal::fail(::rondel::internal::checkedObject(moReceiver),               \
                               moSite __VA_OPT__(, ) __VA_ARGS__);                          \
    }                                                                                       \
  } while (false)

// The same for a condition on `moObject`, the object that the argument holds.
#define MO_CHECK_OBJECT_(argument, condition, fail, texts, ...)                               \
  do {                                                                                        \
    const auto& moArgument = (argument);                                                      \
    const ::rondel::HxObject* const moObject = ::rondel::internal::checkedObject(moArgument); \
    MO_CHECK_(condition, fail, texts, moObject __VA_OPT__(, ) __VA_ARGS__);                   \
  } while (false)
