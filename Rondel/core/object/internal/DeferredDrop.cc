// SPDX-License-Identifier: MIT
#include "Rondel/core/object/internal/DeferredDrop.h"

namespace rondel::internal {

namespace {

// Deep enough that ordinary nesting never waits, shallow enough for the smallest of stacks.
constexpr int kMaximumDepth = 64;

struct DropState {
  int depth = 0;
  DropLink* waiting = nullptr;
};
constinit thread_local DropState threadState;

void destroyNested(DropState& state, DropLink* link) noexcept {
  ++state.depth;
  link->destroy(link);
  --state.depth;
}

}  // namespace

void dropBounded(DropLink* link, void (*destroy)(DropLink*) noexcept) noexcept {
  DropState& state = threadState;
  link->destroy = destroy;
  if (state.depth == kMaximumDepth) {
    link->nextToDrop = state.waiting;
    state.waiting = link;
    return;
  }
  destroyNested(state, link);
  while (state.depth == 0 && state.waiting) {
    DropLink* next = state.waiting;
    state.waiting = next->nextToDrop;
    destroyNested(state, next);
  }
}

}  // namespace rondel::internal
