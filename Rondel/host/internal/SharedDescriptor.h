// SPDX-License-Identifier: MIT
//
// An open descriptor, owned together by all who use it: it is closed when the last of them lets go.
// So a number cannot be closed, and come to mean another file, while somebody is about to use it.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

class SharedDescriptor final : public HxObject {
 public:
  enum class Ownership { borrowed, owned };

  // A borrowed descriptor is not closed at the end.
  SharedDescriptor(int number, Ownership ownership) noexcept
      : _number(number), _ownership(ownership) {}

  int number() const noexcept { return _number; }

 private:
  ~SharedDescriptor() override;

  const int _number;
  const Ownership _ownership;
};

// An owned descriptor for the result of a system call, null when that is negative. Numbers 0 to 2
// are exchanged for higher ones: a host that has closed its standard files must not find our pipes
// in their place. Keeps errno when it gives null.
Ref<SharedDescriptor> ownDescriptor(int number);

// Closes and keeps errno. It is never tried again: on this system the number is gone in any case.
void closeDescriptor(int number) noexcept;

}  // namespace rondel::internal
