// SPDX-License-Identifier: MIT
#include "Rondel/core/object/Object.h"

#include <cstring>
#include <string>
#include <unordered_set>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/LongSequence.h"
#include "Rondel/core/values/Number.h"

namespace rondel {

// ---- Selectors --------------------------------------------------------------------------------

namespace {

// Every name that was ever made a selector. Never destroyed: selectors live as long as the process.
const char* internedName(const char* name) {
  static constinit internal::Mutex lock;
  static auto* names = new std::unordered_set<std::string>;
  const internal::MutexLock held(lock);
  return names->insert(name).first->c_str();
}

}  // namespace

HxSelector::HxSelector(const char* name) : _name(name ? internedName(name) : nullptr) {}

HxString HxStringFromSelector(HxSelector selector) {
  return HxString::stringWithUTF8String(selector.name());
}

HxSelector HxSelectorFromString(const HxString& name) {
  return HxSelector(name.UTF8String().c_str());
}

// ---- Classes ----------------------------------------------------------------------------------

HxAny HxClass::make() const { return _info && _info->make ? _info->make() : HxAny(); }

bool HxClass::isSubclassOfClass(HxClass other) const noexcept {
  if (!other) return false;
  for (const HxClassInfo* info = _info; info; info = info->superclass) {
    if (info == other._info) return true;
  }
  return false;
}

namespace {

const HxMethod* methodOf(HxClass kind, HxSelector selector) noexcept {
  if (!selector) return nullptr;
  for (const HxClassInfo* info = kind.info(); info; info = info->superclass) {
    for (HxUInteger i = 0; i < info->methodCount; ++i) {
      if (std::strcmp(info->methods[i].name, selector.name()) == 0) return &info->methods[i];
    }
  }
  return nullptr;
}

}  // namespace

bool HxClass::instancesRespondToSelector(HxSelector selector) const noexcept {
  return methodOf(*this, selector) != nullptr;
}

HxString HxStringFromClass(HxClass kind) { return HxString::stringWithUTF8String(kind.name()); }

// ---- Objects ----------------------------------------------------------------------------------

namespace {

constexpr HxMethod kObjectMethods[] = {
    {"compare:",
     [](HxObject& self, const HxHandle& other) -> HxAny {
       return HxNumber::numberWithInt(HxAny(&self).compare(other));
     }},
    {"isEqual:",
     [](HxObject& self, const HxHandle& other) -> HxAny {
       return HxNumber::numberWithBool(HxAny(&self).isEqual(other));
     }},
    {"description", [](HxObject& self, const HxHandle&) -> HxAny { return self.description(); }},
};

}  // namespace

// Most dropped objects are flat strings: there is nothing in them to destroy.
void HxObject::destroy() const noexcept {
  if (_bits & kFlatWide) internal::forgetSequence(this);
  if (_bits & (kFlatNarrow | kFlatWide)) {
    internal::FlatString::drop(static_cast<internal::FlatString*>(const_cast<HxObject*>(this)));
  } else {
    delete this;
  }
}

HxClass HxObject::classObject() noexcept {
  static constexpr HxClassInfo info{"HxObject", nullptr, nullptr, kObjectMethods,
                                    std::size(kObjectMethods)};
  return HxClass(&info);
}

HxUInteger HxObject::hash() const {
  return reinterpret_cast<HxUInteger>(this) >> 4;  // blocks are aligned to 16 bytes
}

HxString HxObject::description() const {
  return HxString::stringWithFormat("<%s: %p>"_hx, hxClass().name(),
                                    static_cast<const void*>(this));
}

HxString HxObject::descriptionForAssertionMessage() const { return description(); }

HxComparisonResult HxObject::compare(const HxObject& other) const {
  if (this == &other) return HxOrderedSame;
  return std::less<>()(this, &other) ? HxOrderedAscending : HxOrderedDescending;
}

HxAny HxObject::copy() const { return HxAny(this); }

HxAny HxObject::mutableCopy() const { return copy(); }

HxAny HxObject::copyWithZone(const void*) const { return copy(); }

HxAny HxObject::performSelector(HxSelector selector) const {
  return performSelector(selector, HxAny());
}

HxAny HxObject::performSelector(HxSelector selector, const HxHandle& argument) const {
  const HxMethod* method = methodOf(hxClass(), selector);
  if (!method) {
    HxException::raise(HxInvalidArgumentException, "-[%s %s]: no such operation"_hx,
                       hxClass().name(), selector.name());
  }
  return method->call(const_cast<HxObject&>(*this), argument);
}

// ---- Handles ----------------------------------------------------------------------------------

HxString HxHandle::description() const { return _object ? _object->description() : HxString(); }

HxString HxHandle::descriptionForAssertionMessage() const {
  return _object ? _object->descriptionForAssertionMessage() : HxString();
}

HxComparisonResult HxHandle::compare(const HxHandle& other) const {
  if (!_object) return HxOrderedSame;
  return other._object ? _object->compare(*other._object) : HxOrderedDescending;
}

HxAny HxHandle::copy() const { return _object ? _object->copy() : HxAny(); }

HxAny HxHandle::copyWithZone(const void*) const { return copy(); }

HxAny HxHandle::mutableCopy() const { return _object ? _object->mutableCopy() : HxAny(); }

HxAny HxHandle::performSelector(HxSelector selector) const {
  return _object ? _object->performSelector(selector) : HxAny();
}

HxAny HxHandle::performSelector(HxSelector selector, const HxHandle& argument) const {
  return _object ? _object->performSelector(selector, argument) : HxAny();
}

void HxHandle::raiseWrongKind(const char* operation) const {
  HxException::raise(HxInvalidArgumentException, "%s: the receiver is an object of class %s"_hx,
                     operation, hxClass().name());
}

}  // namespace rondel
