// SPDX-License-Identifier: MIT
//
// Drops containers that hold containers, without a stack frame for each level. A few levels are
// destroyed where they are dropped. Deeper ones wait in a list of the thread until the outermost is
// done.
//
//   class Storage final : public HxArrayObject, private DropLink {
//     static void operator delete(Storage* storage, std::destroying_delete_t) {
//       dropBounded(storage, [](DropLink* link) noexcept { ... destroy and free ... });
//     }
//   };
#pragma once

namespace rondel::internal {

// The base of a container that is dropped this way. Waiting takes no further memory.
struct DropLink {
  DropLink* nextToDrop = nullptr;
  void (*destroy)(DropLink*) noexcept = nullptr;
};

// Calls `destroy` for an object without references, now or before the outermost call on this thread
// returns.
void dropBounded(DropLink* link, void (*destroy)(DropLink*) noexcept) noexcept;

}  // namespace rondel::internal
