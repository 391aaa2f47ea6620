// SPDX-License-Identifier: MIT
//
// The parts of the forms of Check.h: type queries, for checks that pass, and cold functions, which
// report the others to the sink. Nothing here is for users.
#pragma once

#include <type_traits>

#include "Rondel/core/text/String.h"

namespace rondel::internal {

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

// Each finds the stage that failed, and reports it to the sink. The receiver may be null.
#define MO_COLD_ [[gnu::cold, gnu::noinline]] RONDEL_EXPORT
MO_COLD_ void failCondition(const HxObject* receiver, const CheckSite& site);
// The arguments end with the two that follow every message.
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

}  // namespace rondel::internal

#define MO_CHECKS_IN_(receiver, function)              \
  [[maybe_unused]] const auto moReceiver = (receiver); \
  [[maybe_unused]] static constexpr const char* moFunction = function

#define MO_HAS_TYPE_(name, type) "HcGetTypeID(" name ") == Hc" type "GetTypeID()"
#define MO_IS_KIND_OF_(name, kind) "[(id)(" name ") isKindOfClass:[" kind " class]]"
#define MO_UNPACK_(...) __VA_ARGS__

// `texts` is, in brackets, the fields of a CheckSite after the line.
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
