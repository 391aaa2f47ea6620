// SPDX-License-Identifier: MIT
//
// A call that is made later: a callable of any type as a counted object.
#pragma once

#include <type_traits>
#include <utility>

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

class Closure : public HxObject {
 public:
  virtual void call() = 0;

 protected:
  ~Closure() override = default;
};

template <class F>
class ClosureOf final : public Closure {
 public:
  explicit ClosureOf(F&& function) : _function(std::move(function)) {}
  explicit ClosureOf(const F& function) : _function(function) {}
  void call() override { _function(); }

 private:
  ~ClosureOf() override = default;
  F _function;
};

template <class F>
Ref<Closure> makeClosure(F&& function) {
  return makeRef<ClosureOf<std::decay_t<F>>>(std::forward<F>(function));
}

// Returns a call of `Operation` of the target, which takes nothing or the argument. It owns both.
// The target is not null.
template <auto Operation, class T>
Ref<Closure> makeOperationClosure(T* target, const HxHandle& argument) {
  return makeClosure([kept = Ref<T>(target), argument = HxAny(argument)] {
    if constexpr (std::is_invocable_v<decltype(Operation), T&, const HxAny&>) {
      (kept.get()->*Operation)(argument);
    } else {
      (kept.get()->*Operation)();
    }
  });
}

}  // namespace rondel::internal
