// SPDX-License-Identifier: MIT
//
// Enumerators of dictionaries and sets, and their open class.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel {

// The open class of enumerators. A class supplies one operation.
class RONDEL_EXPORT HxEnumeratorObject : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }
  // Returns the next object, nil if none is left.
  virtual HxAny nextObject() = 0;

 protected:
  HxEnumeratorObject() noexcept : HxObject(HxTypeID::enumerator) {}
};

// Returns objects one after the other. All handles of one enumerator advance together.
//
//   HxEnumerator keys = settings.keyEnumerator();
//   while (const HxAny key = keys.nextObject()) ...
class RONDEL_EXPORT HxEnumerator : public HxHandle {
 public:
  constexpr HxEnumerator() noexcept = default;
  constexpr HxEnumerator(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  HxEnumerator(Unchecked, HxAny any) noexcept : HxHandle(std::move(any)) {}
  // Wraps an object of your own enumerator class. Nil makes nil.
  template <std::derived_from<HxEnumeratorObject> T>
  explicit HxEnumerator(const Ref<T>& object) noexcept : HxHandle(object) {}
  static bool canHold(const HxObject* object) noexcept {
    return object && object->typeID() == HxTypeID::enumerator;
  }
  static HxClass classObject() noexcept { return HxEnumeratorObject::classObject(); }

  // Returns the next object, nil if none is left or the enumerator is nil.
  HxAny nextObject() const {
    return _object ? static_cast<HxEnumeratorObject*>(_object)->nextObject() : HxAny();
  }
};

}  // namespace rondel
