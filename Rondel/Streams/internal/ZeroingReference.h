// SPDX-License-Identifier: MIT
//
// A reference that owns nothing, and becomes null when its object goes.
//
//   class Listener : public internal::Referent { protected: ~Listener() = default; };
//
//   internal::ZeroingReference<Listener> _listener;
//   if (_listener) _listener->hear();
//
// An object costs one pointer by it, and a reference five words. Using one costs a load, as with a
// plain pointer.
//
// Threads: references to one object may be set on different threads. The object must go on a thread
// when no other thread uses it.
#pragma once

#include "Rondel/core/object/Export.h"

namespace rondel::internal {

class ReferenceLink;

// The base of what can be referred to.
class RONDEL_EXPORT Referent {
 protected:
  Referent() noexcept = default;
  // A copy is a separate object without references.
  Referent(const Referent&) noexcept {}
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is assigned
  Referent& operator=(const Referent&) noexcept { return *this; }
  ~Referent() {
    if (_links) clearLinks();
  }

 private:
  friend class ReferenceLink;
  void clearLinks() noexcept;
  ReferenceLink* _links = nullptr;  // a list through all references to this object
};

// The part of a reference that is in the list of its object. One lock of the process guards all
// lists.
class RONDEL_EXPORT ReferenceLink {
 public:
  ReferenceLink(const ReferenceLink&) = delete;
  ReferenceLink& operator=(const ReferenceLink&) = delete;

 protected:
  ReferenceLink() noexcept = default;
  ~ReferenceLink() {
    if (_referent) linkTo(nullptr);
  }

  // Refers to this object from now on, or to none if null.
  void linkTo(Referent* referent) noexcept;
  // Called when the object goes. It refers to none by then.
  virtual void referentDidGo() noexcept = 0;

 private:
  friend class Referent;
  void detach() noexcept;
  Referent* _referent = nullptr;
  ReferenceLink* _next = nullptr;
  ReferenceLink** _place = nullptr;  // what points to this one
};

template <class T>
class ZeroingReference final : private ReferenceLink {
 public:
  ZeroingReference& operator=(T* object) noexcept {
    linkTo(object);
    _object = object;
    return *this;
  }
  T* get() const noexcept { return _object; }
  T* operator->() const noexcept { return _object; }
  explicit operator bool() const noexcept { return _object != nullptr; }

 private:
  void referentDidGo() noexcept override { _object = nullptr; }
  T* _object = nullptr;
};

}  // namespace rondel::internal
