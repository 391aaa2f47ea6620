// SPDX-License-Identifier: MIT
//
// The pointer by which a class owns its hidden implementation. <memory> would cost every user
// thousands of lines.
//
//   struct Impl;
//   const internal::OwnedPointer<Impl> _impl;
//
// Impl must be complete where the constructors and the destructor of the owner are defined.
#pragma once

namespace rondel::internal {

template <class T>
class OwnedPointer {
 public:
  explicit OwnedPointer(T* object) noexcept : _object(object) {}
  OwnedPointer(const OwnedPointer&) = delete;
  OwnedPointer& operator=(const OwnedPointer&) = delete;
  ~OwnedPointer() { delete _object; }

  T* get() const noexcept { return _object; }
  T* operator->() const noexcept { return _object; }
  T& operator*() const noexcept { return *_object; }

 private:
  T* const _object;
};

}  // namespace rondel::internal
