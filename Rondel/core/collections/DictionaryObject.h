// SPDX-License-Identifier: MIT
//
// The open class of dictionaries, for dictionary classes of one's own.
#pragma once

#include "Rondel/core/collections/Enumerator.h"

namespace rondel {

namespace internal {
class DictionaryStorage;
}

// The open class of dictionaries: three operations, everything else is derived from them.
class RONDEL_EXPORT HxDictionaryObject : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  virtual HxUInteger count() const = 0;
  // The value, nil if the key is absent.
  virtual HxAny objectForKey(const HxHandle& key) const = 0;
  // Every key once. The enumerator keeps what it needs alive.
  virtual HxEnumerator keyEnumerator() const = 0;

  // Returns whether the same keys have equal values, whatever the classes of the dictionaries. Deep
  // containers are compared as HxArrayObject::isEqual compares them.
  bool isEqual(const HxObject& other) const final;
  HxUInteger hash() const final;
  // Returns "{\n    key = value;\n}", sorted by the descriptions of the keys. Containers more than
  // 100 levels deep are written as "...".
  HxString description() const override;
  // A built-in dictionary of the same entries. A class whose entries never change may return
  // itself.
  HxAny copy() const override;
  HxAny mutableCopy() const final;

 protected:
  HxDictionaryObject() noexcept : HxObject(HxTypeID::dictionary) {}
  ~HxDictionaryObject() override = default;

 private:
  friend class internal::DictionaryStorage;
  explicit HxDictionaryObject(std::uint32_t flags) noexcept
      : HxObject(HxTypeID::dictionary, flags) {}
};

}  // namespace rondel
