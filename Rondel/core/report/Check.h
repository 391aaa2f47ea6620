// SPDX-License-Identifier: MIT
//
// Checks of arguments and invariants, and the one function that hears of those that fail.
//
// A failed check is a programming error of the caller. It is reported to the failure sink,
// MoAssertionFailureHandler. Then the code goes on with the next statement: a check neither returns
// from the function nor raises. Code after a check may rely on the value only as far as nil-safe
// handles do. If it must stop, it needs its own branch.
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
//   MO_ADDITION(receiver, "-[HxString(G) op:]")   a free function in the role of an operation of
//                                                 its first argument: a handle, a Ref, a pointer or
//                                                 an object
//   MO_FUNCTION("int f(HxString *)")              a plain function: neither receiver nor name
//
// The forms, and what they ask of their argument (a handle, HxAny, a Ref or a pointer to an
// object):
//
//   MoAssert(condition)                            the condition holds
//   MoAssertWithMessage(condition, format, ...)    the same, with your own message
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
// A form evaluates its argument once and reports at most one failure. The sink receives the source
// text of the argument and of the condition. Names of classes and interfaces are without their
// namespace. If that text must differ from the code, use the variant that takes it:
// ...Text(condition, text) or ...Named(argument, name).
//
// Cost. A check that passes is a comparison or a type query. It makes no text and allocates
// nothing. All that a failure needs is in constants and in cold functions elsewhere.
//
// Threads. Any thread may check. Two failures at the same moment call the sink independently, with
// whatever locks their callers hold.
#pragma once

#include "Rondel/core/report/internal/CheckForms.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// ---- The sink -----------------------------------------------------------------------------------

// The arguments of a sink:
//   self       the place that holds the receiver of the operation with the check
//   _cmd       the place that holds the name of that operation
//   function   the full name of the operation or function
//   file       path of the source file
//   line       of the check in that file
//   format     of the message
//   arguments  what the format takes. After that, for every check, the default format "Assertion
//              failed: %s" and the text of the failed condition. For a plain condition the default
//              format is the format and the text its only argument.
// In a plain function the first two hold a null receiver and a null name. The receiver is lent for
// the call. A sink must not keep it: its destructor may be running.
using MoAssertionFailureSink = void (*)(const HxAny* self, const HxSelector* _cmd,
                                        const char* function, const char* file, int line,
                                        const HxString& format, HxArguments arguments);

// Hands the failure to the installed sink. The default sink writes "file:line: function: message"
// through HxLog and returns. A sink may return, raise or end the process.
RONDEL_EXPORT void MoAssertionFailureHandler(const HxAny* self, const HxSelector* _cmd,
                                             const char* function, const char* file, int line,
                                             const HxString& format, HxArguments arguments);

// Installs `sink`, or the default if null. Returns the previous sink, never null.
RONDEL_EXPORT MoAssertionFailureSink
MoSetAssertionFailureHandler(MoAssertionFailureSink sink) noexcept;

// The format of a failure without a message.
inline constexpr HxString MoDefaultAssertionFormat = "Assertion failed: %s"_hx;

// The receiver and the name of plain functions; always null. They are in a namespace so that a
// parameter may be called self.
namespace globals {
RONDEL_EXPORT extern const HxAny self;
RONDEL_EXPORT extern const HxSelector _cmd;
}  // namespace globals

}  // namespace rondel

// ---- Where a check is -----------------------------------------------------------------------

#define MO_OPERATION(name) MO_CHECKS_IN_(this, name)
#define MO_CLASS_OPERATION(name) MO_CHECKS_IN_(nullptr, name)
#define MO_ADDITION(receiver, name) MO_CHECKS_IN_(&(receiver), name)
#define MO_FUNCTION(signature) MO_CHECKS_IN_(nullptr, signature)

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

// Reports that the class of the receiver should have overridden the operation, and goes on.
#define MoSubclassResponsibility() MO_CHECK_(false, failSubclass, (nullptr, {"0"}))

// Calls the thread's HxAssertionHandler instead of the sink. It raises
// HxInternalInconsistencyException with the reason "Invalid parameter not satisfying: <condition>",
// unless the host tool installed one that returns. See AssertionHandler.h.
#define HxParameterAssert(...) HxParameterAssertText((__VA_ARGS__), #__VA_ARGS__)
#define HxParameterAssertText(condition, text) \
  MO_CHECK_(condition, failParameter, (nullptr, {text}))
