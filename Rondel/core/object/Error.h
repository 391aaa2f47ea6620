// SPDX-License-Identifier: MIT
//
// HxError: an immutable record of what went wrong, handed out through an `error` argument.
//
//   HxError error;
//   if (!defaults->synchronize(&error)) HxLog("%@"_hx, error.localizedDescription());
//
// An operation that reports this way takes a pointer to an HxError as its last argument, which may
// be null. It stores an error only if it fails, and its result says that it failed. The error must
// not be read after a success.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class HxDictionary;

// The domain of operating system errors; the code is an errno value.
inline constexpr HxString HxPOSIXErrorDomain = "HxPOSIXErrorDomain"_hx;
// Errors of the library's own readers; see the operation that returns them.
inline constexpr HxString HxPropertyListErrorDomain = "HxPropertyListErrorDomain"_hx;
// User-info keys: the path concerned, and the text to show.
inline constexpr HxString HxFilePathErrorKey = "HxFilePathErrorKey"_hx;
inline constexpr HxString HxLocalizedDescriptionKey = "HxLocalizedDescriptionKey"_hx;

class RONDEL_EXPORT HxError : public HxHandle {
 public:
  constexpr HxError() noexcept = default;
  constexpr HxError(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxError(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::error;
  }

  static HxClass classObject() noexcept;

  static HxError errorWithDomain(const HxString& domain, HxInteger code,
                                 const HxDictionary& userInfo);
  // Returns an error of the operating system with the path concerned, which may be nil.
  static HxError posixError(int code, const HxString& path);

  HxString domain() const;
  HxInteger code() const noexcept;
  HxDictionary userInfo() const;
  // Returns text to show. The value of HxLocalizedDescriptionKey comes first. Without it, an errno
  // value has the system's text, after the path if there is one ("/tmp/x: Permission denied").
  // Other errors have domain and code ("HxOther error 5").
  HxString localizedDescription() const;
};

}  // namespace rondel
