// SPDX-License-Identifier: MIT
//
// HxException: a failure that is raised and caught by unwinding.
//
//   try {
//     array.objectAtIndex(9);
//   } catch (const HxException& exception) {
//     HxLog("%@: %@"_hx, exception.name(), exception.reason());
//   }
//
// It derives from std::exception, and what() returns "name: reason" in UTF-8. Objects and locks
// held across a raise are released by the frames that hold them.
#pragma once

#include <exception>

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/text/String.h"

namespace rondel {

inline constexpr HxString HxInvalidArgumentException = "HxInvalidArgumentException"_hx;
inline constexpr HxString HxRangeException = "HxRangeException"_hx;
inline constexpr HxString HxInternalInconsistencyException = "HxInternalInconsistencyException"_hx;
// A read, a write or a launch that the system refused; raised by HxFileHandle and HxTask.
inline constexpr HxString HxFileHandleOperationException = "HxFileHandleOperationException"_hx;

class RONDEL_EXPORT HxException : public std::exception {
 public:
  // Keeps copies of its arguments, each of which may be nil.
  HxException(const HxString& name, const HxString& reason,
              const HxDictionary& userInfo = HxDictionary());
  // Copying shares the contents and never fails.
  HxException(const HxException&) noexcept;
  HxException& operator=(const HxException&) noexcept;
  ~HxException() override;

  const HxString& name() const noexcept { return _name; }
  const HxString& reason() const noexcept { return _reason; }
  const HxDictionary& userInfo() const noexcept { return _userInfo; }
  // Returns "name: reason" in UTF-8. It lives as long as the exception.
  const char* what() const noexcept override;

  // Makes an exception with a formatted reason and raises it.
  template <class... Arguments>
  [[noreturn]] static void raise(const HxString& name, const HxString& format,
                                 const Arguments&... arguments) {
    raiseWithArguments(name, format, HxArgumentPack(arguments...));
  }
  [[noreturn]] static void raiseWithArguments(const HxString& name, const HxString& format,
                                              HxArguments arguments);
  // Raises this exception. A derived class overrides this with the same body. So it is raised whole
  // even through a reference to this class.
  [[noreturn]] virtual void raise() const { throw *this; }

 private:
  HxString _name;
  HxString _reason;
  HxDictionary _userInfo;
  HxAny _what;  // data, NUL-terminated and made beforehand: what() must not fail
};

}  // namespace rondel
