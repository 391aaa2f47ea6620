// SPDX-License-Identifier: MIT
#include "Rondel/host/NotificationCenter.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <unordered_map>
#include <vector>

#include "Rondel/core/object/internal/KeptAlive.h"
#include "Rondel/core/object/internal/Mutex.h"

namespace rondel {

using internal::MutexLock;

namespace {

// One addObserver. Shared by the registry and by the posts that are under way.
class Observation final : public HxObject {
 public:
  Observation(HxObject* observer, HxNotificationCallback callback, std::uint64_t number)
      : _observer(observer), _callback(callback), _number(number) {}

  const HxObject* observer() const { return _observer; }
  std::uint64_t number() const { return _number; }
  void remove() { _removed.store(true, std::memory_order_relaxed); }
  // Calls the observer unless it was removed. Keeps it, since it may be dropped by its own
  // callback.
  void tell(const HxNotification& notification) const {
    if (_removed.load(std::memory_order_relaxed)) return;
    const HxAny alive = internal::keptAlive(_observer);
    _callback(*_observer, notification);
  }

 private:
  HxObject* const _observer;  // not retained: removed before it goes
  const HxNotificationCallback _callback;
  const std::uint64_t _number;  // in order of addition
  std::atomic<bool> _removed = false;
};

// The key of an observation. Nil and null mean any.
struct Topic {
  HxString name;
  const HxObject* object;

  bool operator==(const Topic&) const = default;
  // Returns whether the topic has this name and this object. Nil means any.
  bool isWithin(const HxString& anyName, const HxHandle& anyObject) const {
    return (!anyName || anyName == name) && (!anyObject || anyObject.object() == object);
  }
};

struct TopicHash {
  std::size_t operator()(const Topic& topic) const {
    return topic.name.hash() ^ (reinterpret_cast<std::size_t>(topic.object) >> 4);
  }
};

using Observations = std::vector<Ref<Observation>>;  // in order of addition

// Returns whether none is left.
bool removeFrom(Observations& observations, const HxObject* observer) {
  std::erase_if(observations, [observer](const Ref<Observation>& observation) {
    if (observation->observer() != observer) return false;
    observation->remove();
    return true;
  });
  return observations.empty();
}

}  // namespace

// ---- Notifications ----------------------------------------------------------------------------

HxNotification::HxNotification(const HxString& name, const HxHandle& object,
                               const HxDictionary& userInfo)
    : _name(name), _object(object), _userInfo(userInfo) {}

HxNotification::~HxNotification() = default;

HxClass HxNotification::classObject() noexcept {
  static const HxClassInfo info{"HxNotification", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxNotification> HxNotification::notificationWithName(const HxString& name,
                                                         const HxHandle& object,
                                                         const HxDictionary& userInfo) {
  return makeRef<HxNotification>(name, object, userInfo);
}

// ---- The center -------------------------------------------------------------------------------

struct HxNotificationCenter::Impl {
  mutable internal::Mutex lock;
  std::unordered_map<Topic, Observations, TopicHash> topics RONDEL_GUARDED_BY(lock);
  std::uint64_t additions RONDEL_GUARDED_BY(lock) = 0;

  // A post on its way from one observer to the next, in order of addition.
  struct Post {
    std::uint64_t last;         // additions up to here are told
    std::uint64_t reached = 0;  // the latest that was
    std::size_t left = 0;       // how many there are after it
  };
  void advance(Post& post, const Topic& topic, Ref<Observation>& next) const RONDEL_REQUIRES(lock);
  Ref<Observation> nextOf(Post& post, const HxNotification& notification) const
      RONDEL_REQUIRES(lock);
};

// Takes the topic's first observation after the one that was reached, if it comes before `next`.
void HxNotificationCenter::Impl::advance(Post& post, const Topic& topic,
                                         Ref<Observation>& next) const {
  const auto place = topics.find(topic);
  if (place == topics.end()) return;
  const auto isAddedAfter = [](std::uint64_t number, const Ref<Observation>& observation) {
    return number < observation->number();
  };
  const auto begin = place->second.begin();
  const auto end = place->second.end();
  const auto first = std::upper_bound(begin, end, post.reached, isAddedAfter);
  const auto afterLast = std::upper_bound(first, end, post.last, isAddedAfter);
  if (first == afterLast) return;
  post.left += static_cast<std::size_t>(afterLast - first);
  if (!next || (*first)->number() < next->number()) next = *first;
}

Ref<Observation> HxNotificationCenter::Impl::nextOf(Post& post,
                                                    const HxNotification& notification) const {
  const HxString& name = notification.name();
  const HxObject* const object = notification.object().object();
  Ref<Observation> next;
  post.left = 0;
  advance(post, {name, object}, next);
  advance(post, {nullptr, object}, next);
  if (object) {
    advance(post, {name, nullptr}, next);
    advance(post, {nullptr, nullptr}, next);
  }
  if (!next) return nullptr;
  post.reached = next->number();
  --post.left;
  return next;
}

HxNotificationCenter::HxNotificationCenter() : _impl(new Impl) {}

HxNotificationCenter::~HxNotificationCenter() = default;

HxClass HxNotificationCenter::classObject() noexcept {
  static const HxClassInfo info{"HxNotificationCenter", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxNotificationCenter> HxNotificationCenter::init() { return makeRef<HxNotificationCenter>(); }

Ref<HxNotificationCenter> HxNotificationCenter::defaultCenter() {
  static const auto& center = *new Ref<HxNotificationCenter>(init());  // lives to the very end
  return center;
}

void HxNotificationCenter::addObserver(HxObject* observer, HxNotificationCallback callback,
                                       const HxString& name, const HxHandle& object) {
  if (!observer || !callback) return;
  const MutexLock held(_impl->lock);
  _impl->topics[{name.copy(), object.object()}].push_back(
      makeRef<Observation>(observer, callback, ++_impl->additions));
}

void HxNotificationCenter::removeObserver(const HxObject* observer) {
  removeObserver(observer, nullptr, nullptr);
}

void HxNotificationCenter::removeObserver(const HxObject* observer, const HxString& name,
                                          const HxHandle& object) {
  const MutexLock held(_impl->lock);
  auto& topics = _impl->topics;
  if (name && object) {  // the usual case needs no look at the others
    const auto place = topics.find({name, object.object()});
    if (place != topics.end() && removeFrom(place->second, observer)) topics.erase(place);
    return;
  }
  for (auto place = topics.begin(); place != topics.end();) {
    const bool emptied = place->first.isWithin(name, object) && removeFrom(place->second, observer);
    place = emptied ? topics.erase(place) : std::next(place);
  }
}

void HxNotificationCenter::forgetObject(const HxObject* object, const HxString& name) {
  if (!object) return;
  const MutexLock held(_impl->lock);
  _impl->topics.erase({name, object});
  _impl->topics.erase({nullptr, object});
}

void HxNotificationCenter::postNotification(const HxString& name, const HxHandle& object,
                                            const HxDictionary& userInfo) {
  if (name) postNotification(HxNotification::notificationWithName(name, object, userInfo));
}

// Makes no list of the observers: a post needs no memory, so that no exit of a child is lost.
void HxNotificationCenter::postNotification(const Ref<HxNotification>& posted) {
  if (!posted) return;
  // An observer may drop the caller's reference, and the center.
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const Ref<HxNotification> notification = posted;
  const HxAny alive = internal::keptAlive(this);
  Ref<Observation> observation;  // outlives the lock
  MutexLock held(_impl->lock);
  Impl::Post post{.last = _impl->additions};
  do {
    observation = _impl->nextOf(post, *notification);
    held.unlock();
    if (observation) observation->tell(*notification);
    held.lock();
  } while (post.left > 0);
}

}  // namespace rondel
