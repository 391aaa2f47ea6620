// SPDX-License-Identifier: MIT
//
// The open class of arrays: the base of your own array classes.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel {

namespace internal {
class ArrayStorage;
}

// The open class of arrays. A class supplies two operations; the others follow from them.
class RONDEL_EXPORT HxArrayObject : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  virtual HxUInteger count() const = 0;
  // Returns the object at an index below count(), never nil. The handle has checked the bounds.
  virtual HxAny objectAtIndex(HxUInteger index) const = 0;
  // Returns the objects in place if they lie in one run of count() handles; null otherwise. Valid
  // until the array changes or goes.
  virtual const HxAny* contiguousObjects() const { return nullptr; }

  // Returns whether the objects are equal in order, whatever the classes of the arrays and however
  // deep containers nest. Containers that are met again while they are compared count as equal, so
  // the comparison of an array that holds itself ends. Raises HxInternalInconsistencyException if
  // more than 500 comparisons of containers lie inside each other. One begins where containers of
  // one hash are distinguished as keys or members of sets. Another one begins where an object, such
  // as an error, compares containers of its own.
  bool isEqual(const HxObject& other) const final;
  HxUInteger hash() const final;
  // Returns "(\n    first,\n    second\n)": the descriptions of the objects. A container is written
  // as "..." inside itself and more than 100 levels deep. In a text of more than 100,000
  // characters, containers that repeat are written so as well.
  HxString description() const override;
  // Returns a built-in array of the same objects. If the objects never change, it may be itself.
  HxAny copy() const override;
  HxAny mutableCopy() const final;

 protected:
  HxArrayObject() noexcept : HxObject(HxTypeID::array) {}
  ~HxArrayObject() override = default;

 private:
  friend class internal::ArrayStorage;
  explicit HxArrayObject(std::uint32_t flags) noexcept : HxObject(HxTypeID::array, flags) {}
};

}  // namespace rondel
