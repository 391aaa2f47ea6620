// SPDX-License-Identifier: MIT
//
// Objects, references to them, and the questions that every object answers.
//
// HxObject is the root class, and carries its own reference count. A reference keeps the object
// alive; dropping the last one destroys it. There are three ways to hold one:
//
//   Ref<ZevMoTask> task = ZevMoTask::init();   // an object with identity, used with ->
//   HxString name = "cc"_hx;                   // a value type: a nil-safe handle, used with a dot
//   HxAny any = name;                          // any object at all
//   HxString back = as<HxString>(any);         // and back: nil if it is something else
//
// All three are one pointer wide and may be nil. On a nil value-type handle or HxAny every
// operation does nothing and returns zero: 0, false, nil or an empty answer. A nil Ref must not be
// used with ->.
//
// Assigning. A handle takes objects of its own kind only. A reference to HxHandle cannot be
// assigned. A reference to HxString may refer to an HxMutableString, and no compiler can refuse
// that. The mutable handle then has an immutable string. So every operation that changes an object
// first checks that the object is mutable. It raises HxInvalidArgumentException if it is not.
//
// Threads: reference counts are atomic. An object that no thread changes may be read on any thread.
#pragma once

#include <compare>
#include <concepts>
#include <type_traits>
#include <typeindex>  // for std::hash: the smallest header that has it
#include <utility>

#include "Rondel/core/object/Export.h"
#include "Rondel/core/object/Types.h"
#include "Rondel/core/object/internal/AtomicWord.h"

namespace rondel {

class HxAny;
class HxArray;
class HxClass;
class HxHandle;
class HxObject;
class HxSelector;
class HxString;

template <class T>
class Ref;

// The run-time type identity of the low-level layer: one for all strings, one for all arrays and so
// on, user-defined kinds included.
enum class HxTypeID : std::uint8_t {
  object,
  string,
  array,
  dictionary,
  set,
  indexSet,
  data,
  number,
  date,
  characterSet,
  error,
  bundle,
  enumerator,
};

// An operation's name, interned: two selectors of the same name are the same. The null selector
// names nothing.
class RONDEL_EXPORT HxSelector {
 public:
  constexpr HxSelector() noexcept = default;
  // Copies `name` on the first use of that name. Null makes the null selector.
  explicit HxSelector(const char* name);

  // Returns NUL-terminated text that lives as long as the process; null for the null selector.
  constexpr const char* name() const noexcept { return _name; }
  constexpr explicit operator bool() const noexcept { return _name != nullptr; }
  friend constexpr bool operator==(HxSelector, HxSelector) noexcept = default;

 private:
  const char* _name = nullptr;
};

// One operation that can be called by its name at run time.
struct HxMethod {
  const char* name;  // with its colons: "compare:"
  HxAny (*call)(HxObject& self, const HxHandle& argument);
};

// The description of a class: one static object for each class; see HxClass.
struct HxClassInfo {
  const char* name;
  const HxClassInfo* superclass = nullptr;
  HxAny (*make)() = nullptr;          // a new instance, for classes that can be made by name
  const HxMethod* methods = nullptr;  // only what is called by name
  HxUInteger methodCount = 0;
};

// A class as a value. The null class has no name and no instances.
class RONDEL_EXPORT HxClass {
 public:
  constexpr HxClass() noexcept = default;
  constexpr explicit HxClass(const HxClassInfo* info) noexcept : _info(info) {}

  constexpr const char* name() const noexcept { return _info ? _info->name : nullptr; }
  constexpr const HxClassInfo* info() const noexcept { return _info; }
  constexpr HxClass superclass() const noexcept {
    return HxClass(_info ? _info->superclass : nullptr);
  }
  // Returns a new instance, nil if the class cannot be made by name.
  HxAny make() const;
  // Returns whether this is `other` or derived from it.
  bool isSubclassOfClass(HxClass other) const noexcept;
  bool instancesRespondToSelector(HxSelector selector) const noexcept;

  constexpr explicit operator bool() const noexcept { return _info != nullptr; }
  friend constexpr bool operator==(HxClass, HxClass) noexcept = default;

 private:
  const HxClassInfo* _info = nullptr;
};

// An interface as a value, for conformsToProtocol. Made by protocolOf<T>("T").
class HxProtocol {
 public:
  using Test = bool (*)(const HxObject*);
  constexpr HxProtocol(const char* name, Test test) noexcept : _name(name), _test(test) {}
  constexpr const char* name() const noexcept { return _name; }
  bool isAdoptedBy(const HxObject* object) const { return object && _test(object); }

 private:
  const char* _name;
  Test _test;
};

// The root class.
class RONDEL_EXPORT HxObject {
 public:
  HxObject(const HxObject&) = delete;
  HxObject& operator=(const HxObject&) = delete;

  static HxClass classObject() noexcept;
  virtual HxClass hxClass() const noexcept { return classObject(); }

  // Compares by value if the class defines that, else by identity. Equal objects have equal hashes.
  // A hash of a class of your own must not ask a container that may hold the object: it would not
  // end.
  virtual bool isEqual(const HxObject& other) const { return this == &other; }
  virtual HxUInteger hash() const;

  // Returns human-readable text, never nil. By default "<ClassName: 0x...>".
  virtual HxString description() const;
  // Returns the text for the object in the message of a failed check. By default that is its
  // description.
  virtual HxString descriptionForAssertionMessage() const;

  // Orders objects of one kind: strings, numbers, dates. Orders other objects by address.
  virtual HxComparisonResult compare(const HxObject& other) const;

  // Returns an immutable object with the same value; by default the object itself.
  virtual HxAny copy() const;
  // Returns a new, independent, mutable object with the same value; by default copy().
  virtual HxAny mutableCopy() const;
  // Returns copy(). There are no memory zones: the argument is ignored.
  HxAny copyWithZone(const void* zone) const;

  bool isKindOfClass(HxClass kind) const noexcept { return hxClass().isSubclassOfClass(kind); }
  bool conformsToProtocol(const HxProtocol& protocol) const { return protocol.isAdoptedBy(this); }
  bool respondsToSelector(HxSelector selector) const noexcept {
    return hxClass().instancesRespondToSelector(selector);
  }
  // Calls the operation that the class registered under this name. Raises
  // HxInvalidArgumentException if there is none.
  HxAny performSelector(HxSelector selector) const;
  HxAny performSelector(HxSelector selector, const HxHandle& argument) const;

  constexpr HxTypeID typeID() const noexcept { return static_cast<HxTypeID>(_bits & kTypeMask); }

  // Reference counting, for Ref and the handles; a host tool never calls these.
  constexpr void retain() const noexcept {
    if (!(_bits & kImmortal)) _count.increment();
  }
  constexpr void release() const noexcept {
    if (!(_bits & kImmortal) && _count.decrement() == 0) destroy();
  }
  // Takes a reference and returns true, unless the last one is gone already. It turns a plain
  // pointer into a reference while something keeps the destructor from ending.
  bool retainIfAlive() const noexcept {
    return (_bits & kImmortal) || _count.incrementUnlessZero();
  }
  // Returns whether exactly one reference is left, the caller's.
  bool isUniquelyReferenced() const noexcept {
    return !(_bits & kImmortal) && _count.loadAcquire() == 1;
  }

 protected:
  // Bits beside the type, set at construction.
  static constexpr std::uint32_t kTypeMask = 0xFF;
  static constexpr std::uint32_t kImmortal = 0x100;    // never counted, never destroyed
  static constexpr std::uint32_t kFlatNarrow = 0x200;  // a flat string, one byte a unit
  static constexpr std::uint32_t kFlatWide = 0x400;    // a flat string, two bytes a unit
  static constexpr std::uint32_t kMutable = 0x800;     // the mutable form of a value type
  static constexpr std::uint32_t kBuiltIn = 0x1000;    // a class of this library: final
  static constexpr std::uint32_t kAimable = 0x2000;    // a string that views part of another

  constexpr explicit HxObject(HxTypeID type = HxTypeID::object, std::uint32_t flags = 0) noexcept
      : _bits(static_cast<std::uint32_t>(type) | flags) {}
  constexpr virtual ~HxObject() = default;

  constexpr std::uint32_t bits() const noexcept { return _bits; }

 private:
  void destroy() const noexcept;
  friend class HxHandle;
  mutable internal::AtomicWord _count{1};  // the maker's reference, which it adopts
  const std::uint32_t _bits;
};

namespace internal {

// Accepts nullptr as nil, and no number.
template <class T>
concept IsNil = std::same_as<T, std::nullptr_t>;

}  // namespace internal

// The base of all handles: a pointer to an object, with the operations of HxObject. A parameter for
// any object is a const HxHandle&: it accepts every handle, every Ref and nullptr, and counts
// nothing. An HxHandle cannot be copied, assigned or swapped, so that a variable gets objects of
// its own kind only. HxAny is the variable for any object.
class RONDEL_EXPORT HxHandle {
 public:
  // Marks the constructor for an object that is known to be of the handle's kind; for as<>.
  struct Unchecked {};

  constexpr HxHandle(internal::IsNil auto) noexcept : _object(nullptr) {}  // NOLINT: nullptr is nil
  template <class T>
  HxHandle(const Ref<T>& reference) noexcept;  // NOLINT: every reference is a handle
  // Handles made at compile time refer to immortal objects, which are not counted.
  constexpr ~HxHandle() {
    if (!std::is_constant_evaluated() && _object) _object->release();
  }

  constexpr bool isNil() const noexcept { return !_object; }
  constexpr explicit operator bool() const noexcept { return _object != nullptr; }
  // Returns the object, still owned by the handle; null for nil.
  constexpr HxObject* object() const noexcept { return _object; }

  // As in HxObject; zero, false or nil on nil. isEqual is false if either side is nil.
  bool isEqual(const HxHandle& other) const {
    return _object && other._object &&
           (_object == other._object || _object->isEqual(*other._object));
  }
  HxUInteger hash() const { return _object ? _object->hash() : 0; }
  HxString description() const;
  HxString descriptionForAssertionMessage() const;
  HxComparisonResult compare(const HxHandle& other) const;
  [[nodiscard]] HxAny copy() const;
  [[nodiscard]] HxAny mutableCopy() const;
  [[nodiscard]] HxAny copyWithZone(const void* zone) const;
  HxClass hxClass() const noexcept { return _object ? _object->hxClass() : HxClass(); }
  bool isKindOfClass(HxClass kind) const noexcept {
    return _object && _object->isKindOfClass(kind);
  }
  bool conformsToProtocol(const HxProtocol& protocol) const {
    return protocol.isAdoptedBy(_object);
  }
  bool respondsToSelector(HxSelector selector) const noexcept {
    return _object && _object->respondsToSelector(selector);
  }
  HxAny performSelector(HxSelector selector) const;
  HxAny performSelector(HxSelector selector, const HxHandle& argument) const;

  // Compares by isEqual. Two nils are equal here, so that handles compare as values.
  friend bool operator==(const HxHandle& a, const HxHandle& b) {
    return a._object == b._object || a.isEqual(b);
  }

 protected:
  constexpr HxHandle() noexcept : _object(nullptr) {}
  // Shares the object.
  constexpr explicit HxHandle(const HxObject* object) noexcept
      : _object(const_cast<HxObject*>(object)) {
    if (!std::is_constant_evaluated() && _object) _object->retain();
  }
  constexpr HxHandle(const HxHandle& other) noexcept : HxHandle(other._object) {}
  constexpr HxHandle(HxHandle&& other) noexcept : _object(std::exchange(other._object, nullptr)) {}
  HxHandle& operator=(const HxHandle& other) noexcept { return *this = HxHandle(other); }
  HxHandle& operator=(HxHandle&& other) noexcept {
    // Releases the old object last: its destructor may read this handle.
    const HxObject* const old = std::exchange(_object, std::exchange(other._object, nullptr));
    if (old) old->release();
    return *this;
  }

  static constexpr std::uint32_t bitsOf(const HxObject* object) noexcept { return object->bits(); }
  static constexpr std::uint32_t kFlatNarrow = HxObject::kFlatNarrow;
  static constexpr std::uint32_t kFlatWide = HxObject::kFlatWide;
  static constexpr std::uint32_t kMutable = HxObject::kMutable;
  static constexpr std::uint32_t kBuiltIn = HxObject::kBuiltIn;
  static constexpr std::uint32_t kAimable = HxObject::kAimable;

  // Returns whether an object is of this library's own class for the kind, with exactly these bits
  // of kMutable and kAimable.
  static constexpr bool isBuiltInKind(const HxObject* object, HxTypeID type,
                                      std::uint32_t bits) noexcept {
    constexpr std::uint32_t kAsked = HxObject::kTypeMask | kBuiltIn | kMutable | kAimable;
    return (object->bits() & kAsked) == (static_cast<std::uint32_t>(type) | kBuiltIn | bits);
  }
  // Returns whether there is an object for an operation that only a derived handle has: false for
  // nil. Raises HxInvalidArgumentException if the object is of another kind: a handle can get one
  // through a reference to its base. `operation` is the full name, for the reason.
  bool isForChange(const char* operation, HxTypeID type,
                   std::uint32_t bits = HxObject::kMutable) const {
    if (!_object) return false;
    if (!isBuiltInKind(_object, type, bits)) [[unlikely]] {
      raiseWrongKind(operation);
    }
    return true;
  }

  HxObject* _object;

 private:
  [[noreturn]] void raiseWrongKind(const char* operation) const;
};

// The variable that holds any object at all. Takes every handle and every Ref.
class RONDEL_EXPORT HxAny final : public HxHandle {
 public:
  constexpr HxAny() noexcept = default;
  constexpr HxAny(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  // Shares the object.
  constexpr explicit HxAny(const HxObject* object) noexcept : HxHandle(object) {}
  template <class T>
  HxAny(const Ref<T>& reference) noexcept : HxHandle(reference) {}    // NOLINT: any object
  HxAny(const HxHandle& handle) noexcept : HxHandle(handle) {}        // NOLINT: any object
  HxAny(HxHandle&& handle) noexcept : HxHandle(std::move(handle)) {}  // NOLINT: any object
  HxAny(Unchecked, HxAny any) noexcept : HxAny(std::move(any)) {}
  // Returns whether a handle of this type can hold the object; for as<>.
  static constexpr bool canHold(const HxObject* object) noexcept { return object != nullptr; }

  // Takes over the reference that the caller holds.
  static HxAny adopt(HxObject* object) noexcept {
    HxAny any;
    any._object = object;
    return any;
  }
};

// A shared-owning reference to an object of class T, nil by default. T may be incomplete where a
// Ref is only declared.
template <class T>
class Ref {
 public:
  constexpr Ref() noexcept = default;
  constexpr Ref(std::nullptr_t) noexcept {}  // NOLINT: nil is written as nullptr
  // Shares the object.
  explicit Ref(T* object) noexcept : _object(object) {
    if (_object) _object->retain();
  }
  Ref(const Ref& other) noexcept : Ref(other._object) {}
  constexpr Ref(Ref&& other) noexcept : _object(std::exchange(other._object, nullptr)) {}
  template <std::derived_from<T> U>
  Ref(const Ref<U>& other) noexcept : Ref(static_cast<T*>(other.get())) {}  // NOLINT: up-cast
  Ref& operator=(Ref other) noexcept {
    std::swap(_object, other._object);
    return *this;
  }
  ~Ref() {
    if (_object) _object->release();
  }

  // Takes over the reference that the caller holds; for new objects.
  static Ref adopt(T* object) noexcept {
    Ref reference;
    reference._object = object;
    return reference;
  }

  constexpr T* get() const noexcept { return _object; }
  constexpr T* operator->() const noexcept { return _object; }
  constexpr T& operator*() const noexcept { return *_object; }
  constexpr explicit operator bool() const noexcept { return _object != nullptr; }
  constexpr bool isNil() const noexcept { return !_object; }
  // Compare by identity, and order by address, nil first.
  friend constexpr bool operator==(const Ref& a, const Ref& b) noexcept {
    return a._object == b._object;
  }
  friend constexpr std::strong_ordering operator<=>(const Ref& a, const Ref& b) noexcept {
    return std::compare_three_way()(a._object, b._object);
  }

 private:
  T* _object = nullptr;
};

// Returns a new object, with its first reference adopted.
template <class T, class... Arguments>
[[nodiscard]] Ref<T> makeRef(Arguments&&... arguments) {
  return Ref<T>::adopt(new T(std::forward<Arguments>(arguments)...));
}

template <class T>
HxHandle::HxHandle(const Ref<T>& reference) noexcept
    : HxHandle(static_cast<const HxObject*>(reference.get())) {}

// Returns the same object as a handle of type H, nil if it is of another kind. For mutable forms
// the object must be mutable.
template <std::derived_from<HxHandle> H>
[[nodiscard]] H as(HxAny any) {
  return H::canHold(any.object()) ? H(HxAny::Unchecked{}, std::move(any)) : H(nullptr);
}
// Returns the same object as class T, nil if it is of another class.
template <std::derived_from<HxObject> T>
[[nodiscard]] Ref<T> asRef(const HxHandle& any) {
  return Ref<T>(dynamic_cast<T*>(any.object()));
}

// Returns the interface T as a value. `name` is its name in messages.
template <class T>
constexpr HxProtocol protocolOf(const char* name) {
  return HxProtocol(
      name, [](const HxObject* object) { return dynamic_cast<const T*>(object) != nullptr; });
}

// Return the name as text, nil for the null selector; and the selector of a name, null for nil.
RONDEL_EXPORT HxString HxStringFromSelector(HxSelector selector);
RONDEL_EXPORT HxSelector HxSelectorFromString(const HxString& name);
// Returns the class's name, nil for the null class.
RONDEL_EXPORT HxString HxStringFromClass(HxClass kind);

// Returns the run-time type identity; for nil, that of a plain object.
inline HxTypeID HcGetTypeID(const HxHandle& any) noexcept {
  return any ? any.object()->typeID() : HxTypeID::object;
}
constexpr HxTypeID HcStringGetTypeID() noexcept { return HxTypeID::string; }
constexpr HxTypeID HcArrayGetTypeID() noexcept { return HxTypeID::array; }
constexpr HxTypeID HcDictionaryGetTypeID() noexcept { return HxTypeID::dictionary; }
constexpr HxTypeID HcDataGetTypeID() noexcept { return HxTypeID::data; }

}  // namespace rondel

// Every Ref is a key by identity.
template <class T>
struct std::hash<rondel::Ref<T>> {
  std::size_t operator()(const rondel::Ref<T>& reference) const noexcept {
    return std::hash<T*>()(reference.get());
  }
};
// Every handle is a key for the hash tables of the standard library; a nil one too.
template <std::derived_from<rondel::HxHandle> Handle>
struct std::hash<Handle> {
  std::size_t operator()(const Handle& handle) const { return handle.hash(); }
};
