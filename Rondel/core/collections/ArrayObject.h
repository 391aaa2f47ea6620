// SPDX-License-Identifier: MIT
//
// The open class of arrays, for array classes of one's own.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel {

namespace internal {
class ArrayStorage;
}

// The open class of arrays: two operations, everything else is derived from them.
class RONDEL_EXPORT HxArrayObject : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  virtual HxUInteger count() const = 0;
  // The object at an index below count(); the handle has checked the bounds. Never nil.
  virtual HxAny objectAtIndex(HxUInteger index) const = 0;
  // All objects where they lie, if they lie in one run of count() handles; null otherwise. Good
  // until the array changes or goes.
  virtual const HxAny* contiguousObjects() const { return nullptr; }

  // Returns whether the objects are equal in order, whatever the classes of the arrays and however
  // deep containers nest. Raises HxInternalInconsistencyException only if more than 500 levels of
  // containers that share a hash have to be told apart as keys or members of sets.
  bool isEqual(const HxObject& other) const final;
  HxUInteger hash() const final;
  // Returns "(\n    first,\n    second\n)": the descriptions of the objects. Containers more than
  // 100 levels deep are written as "...".
  HxString description() const override;
  // A built-in array of the same objects. A class whose objects never change may return itself.
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
