// SPDX-License-Identifier: MIT
//
// HxNotificationCenter: calls observers of what happens to an object.
//
//   auto center = HxNotificationCenter::defaultCenter();
//   center->addObserver<&Watcher::taskEnded>(this, HxTaskDidTerminateNotification, task);
//   ...
//   void Watcher::taskEnded(const HxNotification& notification) { ... }
//   ...
//   center->removeObserver(this);          // at the latest in the observer's destructor
//
// A post calls the observers on the posting thread, one after the other, in the order of their
// addition. It returns when the last one has returned. No lock is held meanwhile: an observer may
// add and remove observers, post, and drop the notification and the center. An observer that is
// removed during a post is no longer called by it. One that is added is not called yet.
//
// Threads: any thread may use a center. Remove an observer on the thread that posts to it. If
// another thread posts at that moment, the observer may be in its call.
#pragma once

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/internal/OwnedPointer.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// What is posted. It never changes.
class RONDEL_EXPORT HxNotification final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns a new notification. The object and the user info may be nil.
  static Ref<HxNotification> notificationWithName(const HxString& name, const HxHandle& object,
                                                  const HxDictionary& userInfo = HxDictionary());

  const HxString& name() const noexcept { return _name; }
  // Returns what the notification is about, retained by it, or nil.
  const HxAny& object() const noexcept { return _object; }
  const HxDictionary& userInfo() const noexcept { return _userInfo; }

  HxNotification(const HxString& name, const HxHandle& object, const HxDictionary& userInfo);

 private:
  ~HxNotification() override;

  const HxString _name;
  const HxAny _object;
  const HxDictionary _userInfo;
};

// Calls the observer.
using HxNotificationCallback = void (*)(HxObject& observer, const HxNotification& notification);

class RONDEL_EXPORT HxNotificationCenter final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Returns the center of the process, to which the classes of this library post. Never nil.
  static Ref<HxNotificationCenter> defaultCenter();
  // Returns a new center.
  static Ref<HxNotificationCenter> init();

  // Calls `Operation` of the observer at each later post with this name and this object. A nil name
  // means any name, a nil object any object. Names compare as strings, objects by
  // identity. An observer that is added twice is called twice. A null observer is not added.
  //
  // Neither the observer nor the object is retained. Remove the observer before it is destroyed,
  // and before the object is. Objects of this library forget their observers by themselves.
  template <auto Operation, class T>
  void addObserver(T* observer, const HxString& name, const HxHandle& object = nullptr) {
    addObserver(
        observer,
        [](HxObject& self, const HxNotification& notification) {
          (static_cast<T&>(self).*Operation)(notification);
        },
        name, object);
  }
  void addObserver(HxObject* observer, HxNotificationCallback callback, const HxString& name,
                   const HxHandle& object = nullptr);

  // Undoes every addObserver of this observer with this name and this object. A nil name or object
  // means any. Does nothing if there is none.
  void removeObserver(const HxObject* observer, const HxString& name, const HxHandle& object);
  void removeObserver(const HxObject* observer);

  // Undoes every addObserver with this object and this name, or any name. For the destructor of a
  // class that posts: the next object at the same address must not inherit its observers.
  void forgetObject(const HxObject* object, const HxString& name);

  // Calls the observers. An exception that an observer raises passes to the caller, and the
  // observers after it are not called. A nil name or notification does nothing.
  void postNotification(const Ref<HxNotification>& notification);
  void postNotification(const HxString& name, const HxHandle& object,
                        const HxDictionary& userInfo = HxDictionary());

 private:
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxNotificationCenter();
  ~HxNotificationCenter() override;

  struct Impl;
  const internal::OwnedPointer<Impl> _impl;
};

}  // namespace rondel
