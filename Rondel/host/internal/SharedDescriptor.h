// SPDX-License-Identifier: MIT
//
// An open descriptor that its users own together. It is closed when the last of them lets go. So no
// fd is closed, and comes to mean another file, while a user is about to use it.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

// Descriptors 0, 1 and 2. No pipe or file of the library takes one of these.
inline constexpr int kStandardFiles = 3;

class SharedDescriptor final : public HxObject {
 public:
  enum class Ownership { borrowed, owned };

  // Makes an empty one, for a descriptor that is yet to come: own() then needs no memory.
  SharedDescriptor() noexcept = default;
  // Holds an open descriptor. A borrowed one is not closed at the end.
  SharedDescriptor(int fd, Ownership ownership) noexcept : _fd(fd), _ownership(ownership) {}

  // Takes the result of a system call into an empty object, before others see the object. Returns
  // false, with errno kept, if that is negative. Exchanges 0 to 2 for a higher fd. A host that has
  // closed its standard files must not find our pipes in their place.
  bool own(int fd) noexcept;

  // Closes a borrowed descriptor at the end from now on. Before others see the object.
  void takeOver() noexcept { _ownership = Ownership::owned; }

  // Returns the descriptor, or -1 if there is none.
  int fd() const noexcept { return _fd; }

 private:
  ~SharedDescriptor() override;

  int _fd = -1;
  Ownership _ownership = Ownership::owned;
};

// Returns an owned descriptor for the result of a system call; null, with errno kept, if that is
// negative. Closes it if memory is short.
Ref<SharedDescriptor> ownDescriptor(int fd);

// Closes the descriptor and keeps errno. Never retries: on Linux the fd is free in any case.
void closeDescriptor(int fd) noexcept;

}  // namespace rondel::internal
