// SPDX-License-Identifier: MIT
//
// Notifications: news of an object, told to whoever observes it.
//
//   auto center = HxNotificationCenter::defaultCenter();
//   center->addObserver<&Watcher::taskEnded>(this, HxTaskDidTerminateNotification, task);
//   ...
//   void Watcher::taskEnded(const HxNotification& notification) { ... }
//   ...
//   center->removeObserver(this);          // at the latest in the observer's destructor
//
// A post calls the observers one after the other on the thread that posts, in the order in which
// they were added, and returns when all of them have. No lock is held meanwhile: an observer may
// add and remove observers and post. One that is removed while a post is under way is not called
// any more, one that is added is not called yet.
//
// Threads: any thread may use a center. An observer that is removed on one thread while another
// one posts may be in its call; so remove an observer on the thread on which it is called.
#pragma once

#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// One piece of news. It never changes.
class RONDEL_EXPORT HxNotification final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // The object and the user info may be nil.
  static Ref<HxNotification> notificationWithName(const HxString& name, const HxAny& object,
                                                  const HxDictionary& userInfo = HxDictionary());

  const HxString& name() const noexcept { return _name; }
  // Whom the news is of; kept alive by the notification.
  const HxAny& object() const noexcept { return _object; }
  const HxDictionary& userInfo() const noexcept { return _userInfo; }

  HxNotification(const HxString& name, const HxAny& object, const HxDictionary& userInfo);

 private:
  ~HxNotification() override;

  const HxString _name;
  const HxAny _object;
  const HxDictionary _userInfo;
};

// What an observer is called by.
using HxNotificationCallback = void (*)(HxObject& observer, const HxNotification& notification);

class RONDEL_EXPORT HxNotificationCenter final : public HxObject {
 public:
  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // The one of the process, which the classes of this library post to.
  static Ref<HxNotificationCenter> defaultCenter();
  // A new one, of the caller's own.
  static Ref<HxNotificationCenter> init();

  // From now on calls `Operation` of the observer for each post with this name and this object; a
  // nil name stands for any name, a nil object for any object. Names compare as strings, objects by
  // identity. Neither observer nor object is kept alive: the observer has to be removed before it
  // goes; and before the object does, unless that is one of this library's, which forgets those who
  // observe it by itself. Adding the same observer twice calls it twice. A null observer is not
  // added.
  template <auto Operation, class T>
  void addObserver(T* observer, const HxString& name, const HxAny& object = HxAny()) {
    addObserver(
        observer,
        [](HxObject& self, const HxNotification& notification) {
          (static_cast<T&>(self).*Operation)(notification);
        },
        name, object);
  }
  void addObserver(HxObject* observer, HxNotificationCallback callback, const HxString& name,
                   const HxAny& object = HxAny());

  // Undoes every addObserver of this observer that has this name and this object; a nil name or
  // object stands for any. Nothing happens when there is none.
  void removeObserver(const HxObject* observer, const HxString& name, const HxAny& object);
  void removeObserver(const HxObject* observer);

  // Undoes every addObserver with this object and this name, or any name, whose object is about to
  // go: another one at its place in memory is not meant. For the destructor of a class that posts.
  void forgetObject(const HxObject* object, const HxString& name);

  // Calls whoever observes. What an observer raises passes to the caller, and those behind it are
  // not called. A nil name or notification does nothing.
  void postNotification(const Ref<HxNotification>& notification);
  void postNotification(const HxString& name, const HxAny& object,
                        const HxDictionary& userInfo = HxDictionary());

 private:
  template <class T, class... Arguments>
  friend Ref<T> makeRef(Arguments&&... arguments);
  HxNotificationCenter();
  ~HxNotificationCenter() override;

  struct Registry;
  Registry* const _registry;  // owned
};

}  // namespace rondel
