// SPDX-License-Identifier: MIT
#include "Rondel/host/NotificationCenter.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Rondel/testing/AllocationCounter.h"

namespace rondel {
namespace {

class Listener : public HxObject {
 public:
  void heard(const HxNotification& notification) {
    names.push_back(notification.name().toStdString());
    last = HxAny(&notification);
    if (reaction) reaction();
  }
  std::vector<std::string> names;
  HxAny last;
  std::function<void()> reaction;
};

class Thing : public HxObject {};

class NotificationCenter : public testing::Test {
 protected:
  const Ref<HxNotificationCenter> center = HxNotificationCenter::init();
  const Ref<Thing> thing = makeRef<Thing>();
  const Ref<Thing> otherThing = makeRef<Thing>();
  const Ref<Listener> listener = makeRef<Listener>();
  const Ref<Listener> other = makeRef<Listener>();

  void observe(const Ref<Listener>& who, const HxString& name, const HxHandle& object) {
    center->addObserver<&Listener::heard>(who.get(), name, object);
  }
};

TEST_F(NotificationCenter, DefaultCenterIsOne) {
  EXPECT_EQ(HxNotificationCenter::defaultCenter(), HxNotificationCenter::defaultCenter());
}

TEST_F(NotificationCenter, ObserverHearsNameOfObject) {
  observe(listener, "a"_hx, thing);
  center->postNotification("a"_hx, thing);
  center->postNotification("b"_hx, thing);
  center->postNotification("a"_hx, otherThing);
  center->postNotification("a"_hx, nullptr);
  EXPECT_EQ(listener->names, std::vector<std::string>{"a"});
}

TEST_F(NotificationCenter, NamesCompareAsText) {
  observe(listener, HxString(std::string_view("done")), thing);
  center->postNotification("done"_hx, thing);
  EXPECT_EQ(listener->names.size(), 1u);
}

TEST_F(NotificationCenter, NilStandsForAny) {
  observe(listener, nullptr, thing);
  observe(other, "a"_hx, nullptr);
  const auto everything = makeRef<Listener>();
  observe(everything, nullptr, nullptr);
  center->postNotification("a"_hx, thing);
  center->postNotification("b"_hx, thing);
  center->postNotification("a"_hx, otherThing);
  center->postNotification("b"_hx, nullptr);
  EXPECT_EQ(listener->names, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(other->names, (std::vector<std::string>{"a", "a"}));
  EXPECT_EQ(everything->names, (std::vector<std::string>{"a", "b", "a", "b"}));
}

TEST_F(NotificationCenter, NotificationCarriesNameObjectAndUserInfo) {
  observe(listener, "a"_hx, nullptr);
  center->postNotification("a"_hx, thing, HxDictionary::dictionaryWithObject("value"_hx, "key"_hx));
  const auto heard = asRef<HxNotification>(listener->last);
  ASSERT_TRUE(heard);
  EXPECT_EQ(heard->name(), "a"_hx);
  EXPECT_EQ(heard->object().object(), thing.get());
  EXPECT_EQ(heard->userInfo().objectForKey<HxString>("key"_hx), "value"_hx);
}

TEST_F(NotificationCenter, ObserversAreCalledInOrderOfAddition) {
  std::string order;
  const auto third = makeRef<Listener>();
  listener->reaction = [&] { order += '1'; };
  other->reaction = [&] { order += '2'; };
  third->reaction = [&] { order += '3'; };
  observe(listener, nullptr, nullptr);
  observe(other, "a"_hx, thing);
  observe(third, "a"_hx, nullptr);
  center->postNotification("a"_hx, thing);
  EXPECT_EQ(order, "123");
}

TEST_F(NotificationCenter, AddedTwiceIsCalledTwice) {
  observe(listener, "a"_hx, thing);
  observe(listener, "a"_hx, thing);
  center->postNotification("a"_hx, thing);
  EXPECT_EQ(listener->names.size(), 2u);
  center->removeObserver(listener.get(), "a"_hx, thing);
  center->postNotification("a"_hx, thing);
  EXPECT_EQ(listener->names.size(), 2u);
}

TEST_F(NotificationCenter, RemoveByNameAndObjectLeavesTheRest) {
  observe(listener, "a"_hx, thing);
  observe(listener, "b"_hx, thing);
  observe(listener, "a"_hx, otherThing);
  center->removeObserver(listener.get(), "a"_hx, thing);
  center->postNotification("a"_hx, thing);
  center->postNotification("b"_hx, thing);
  center->postNotification("a"_hx, otherThing);
  EXPECT_EQ(listener->names, (std::vector<std::string>{"b", "a"}));
}

TEST_F(NotificationCenter, RemoveWithNilNameOrObjectTakesAllThatFits) {
  observe(listener, "a"_hx, thing);
  observe(listener, "b"_hx, thing);
  observe(listener, "b"_hx, otherThing);
  center->removeObserver(listener.get(), nullptr, thing);
  center->postNotification("a"_hx, thing);
  center->postNotification("b"_hx, thing);
  EXPECT_TRUE(listener->names.empty());
  center->removeObserver(listener.get(), "b"_hx, nullptr);
  center->postNotification("b"_hx, otherThing);
  EXPECT_TRUE(listener->names.empty());
}

TEST_F(NotificationCenter, RemoveObserverTakesEverythingOfIt) {
  observe(listener, "a"_hx, thing);
  observe(listener, nullptr, nullptr);
  observe(other, "a"_hx, thing);
  center->removeObserver(listener.get());
  center->removeObserver(listener.get());
  center->postNotification("a"_hx, thing);
  EXPECT_TRUE(listener->names.empty());
  EXPECT_EQ(other->names.size(), 1u);
}

TEST_F(NotificationCenter, RemovedDuringPostIsNotCalled) {
  listener->reaction = [&] { center->removeObserver(other.get()); };
  observe(listener, "a"_hx, thing);
  observe(other, "a"_hx, thing);
  center->postNotification("a"_hx, thing);
  EXPECT_EQ(listener->names.size(), 1u);
  EXPECT_TRUE(other->names.empty());
}

TEST_F(NotificationCenter, AddedDuringPostHearsTheNextOne) {
  listener->reaction = [&] {
    if (other->names.empty()) observe(other, "a"_hx, thing);
  };
  observe(listener, "a"_hx, thing);
  center->postNotification("a"_hx, thing);
  EXPECT_TRUE(other->names.empty());
  center->removeObserver(listener.get());
  center->postNotification("a"_hx, thing);
  EXPECT_EQ(other->names.size(), 1u);
}

TEST_F(NotificationCenter, ObserverMayPost) {
  listener->reaction = [&] { center->postNotification("b"_hx, thing); };
  observe(listener, "a"_hx, thing);
  observe(other, "b"_hx, thing);
  center->postNotification("a"_hx, thing);
  EXPECT_EQ(other->names.size(), 1u);
}

TEST_F(NotificationCenter, WhatAnObserverRaisesReachesThePoster) {
  listener->reaction = [] { throw std::runtime_error("no"); };
  observe(listener, "a"_hx, thing);
  observe(other, "a"_hx, thing);
  EXPECT_THROW(center->postNotification("a"_hx, thing), std::runtime_error);
  EXPECT_TRUE(other->names.empty());
  listener->reaction = nullptr;
  center->postNotification("a"_hx, thing);
  EXPECT_EQ(other->names.size(), 1u);
}

TEST_F(NotificationCenter, KeepsNeitherObserverNorObject) {
  observe(listener, "a"_hx, thing);
  EXPECT_TRUE(listener->isUniquelyReferenced());
  EXPECT_TRUE(thing->isUniquelyReferenced());
}

TEST_F(NotificationCenter, ForgottenObjectIsObservedNoMore) {
  observe(listener, "a"_hx, thing);
  observe(listener, nullptr, thing);
  observe(other, "a"_hx, nullptr);
  center->forgetObject(thing.get(), "a"_hx);
  center->forgetObject(nullptr, "a"_hx);
  center->postNotification("a"_hx, thing);
  EXPECT_TRUE(listener->names.empty());
  EXPECT_EQ(other->names.size(), 1u);
}

TEST_F(NotificationCenter, PostKeepsTheNotificationThatAnObserverDrops) {
  Ref<HxNotificationCenter> own = HxNotificationCenter::init();
  own->addObserver<&Listener::heard>(listener.get(), "a"_hx);
  own->addObserver<&Listener::heard>(other.get(), "a"_hx);
  Ref<HxNotification> news = HxNotification::notificationWithName("a"_hx, makeRef<Thing>());
  listener->reaction = [&] {
    news = nullptr;
    own = nullptr;
    listener->last = nullptr;
  };
  own->postNotification(news);
  EXPECT_EQ(other->names, std::vector<std::string>{"a"});
}

TEST_F(NotificationCenter, PostOfANotificationTakesNothingFromTheHeap) {
  observe(listener, "a"_hx, nullptr);
  int heard = 0;
  listener->reaction = [&] { ++heard; };
  listener->names.reserve(2);
  const auto news = HxNotification::notificationWithName("a"_hx, nullptr);
  center->postNotification(news);
  const test::AllocationCounter counter;
  center->postNotification(news);
  EXPECT_EQ(counter.count(), 0U);
  EXPECT_EQ(heard, 2);
}

TEST_F(NotificationCenter, ObserverMayDropItself) {
  class Leaver : public HxObject {
   public:
    explicit Leaver(const Ref<HxNotificationCenter>& center) : _center(center) {}
    ~Leaver() override { _center->removeObserver(this); }
    void heard(const HxNotification&) {
      *self = nullptr;
      ++heardSoFar;  // still there
    }
    Ref<Leaver>* self = nullptr;
    int heardSoFar = 0;

   private:
    const Ref<HxNotificationCenter> _center;
  };
  Ref<Leaver> leaver = makeRef<Leaver>(center);
  leaver->self = &leaver;
  center->addObserver<&Leaver::heard>(leaver.get(), "a"_hx);
  observe(other, "a"_hx, nullptr);
  center->postNotification("a"_hx, thing);
  center->postNotification("a"_hx, thing);
  EXPECT_FALSE(leaver);
  EXPECT_EQ(other->names.size(), 2u);
}

TEST_F(NotificationCenter, NullIsNobodyAndNothing) {
  center->addObserver<&Listener::heard>(static_cast<Listener*>(nullptr), "a"_hx);
  observe(listener, nullptr, nullptr);
  center->postNotification(nullptr, thing);
  center->postNotification(nullptr);
  center->removeObserver(nullptr);
  EXPECT_TRUE(listener->names.empty());
}

}  // namespace
}  // namespace rondel
