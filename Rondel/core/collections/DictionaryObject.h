// SPDX-License-Identifier: MIT
//
// The open class of dictionaries: the base of your own dictionary classes.
#pragma once

#include "Rondel/core/collections/Enumerator.h"

namespace rondel {

namespace internal {
class DictionaryStorage;
}

// The open class of dictionaries. A class supplies three operations; the others follow from them.
class RONDEL_EXPORT HxDictionaryObject : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  virtual HxUInteger count() const = 0;
  // Returns the value, nil if the key is absent.
  virtual HxAny objectForKey(const HxHandle& key) const = 0;
  // Returns an enumerator of every key once. It keeps alive what it needs.
  virtual HxEnumerator keyEnumerator() const = 0;

  // Returns whether the same keys have equal values, whatever the classes of the dictionaries. Deep
  // containers are compared as HxArrayObject::isEqual compares them.
  bool isEqual(const HxObject& other) const final;
  HxUInteger hash() const final;
  // Returns "{\n    key = value;\n}", sorted by the descriptions of the keys. Containers in it are
  // written as HxArrayObject::description writes them.
  HxString description() const override;
  // Returns a built-in dictionary of the same entries. A class whose entries never change may
  // return itself.
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
