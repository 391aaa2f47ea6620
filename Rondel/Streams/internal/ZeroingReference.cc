// SPDX-License-Identifier: MIT
#include "Rondel/Streams/internal/ZeroingReference.h"

#include "Rondel/core/object/internal/Mutex.h"

namespace rondel::internal {

namespace {

constinit Mutex listsLock;

}  // namespace

void Referent::clearLinks() noexcept {
  MutexLock held(listsLock);
  while (ReferenceLink* const link = _links) {
    link->detach();
    held.unlock();  // the reference may set others
    link->referentDidGo();
    held.lock();
  }
}

void ReferenceLink::linkTo(Referent* referent) noexcept {
  const MutexLock held(listsLock);
  if (_referent) detach();
  if (!referent) return;
  _referent = referent;
  _place = &referent->_links;
  _next = *_place;
  if (_next) _next->_place = &_next;
  *_place = this;
}

void ReferenceLink::detach() noexcept {
  *_place = _next;
  if (_next) _next->_place = _place;
  _referent = nullptr;
}

}  // namespace rondel::internal
