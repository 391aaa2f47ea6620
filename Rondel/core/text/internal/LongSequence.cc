// SPDX-License-Identifier: MIT
#include "Rondel/core/text/internal/LongSequence.h"

#include "Rondel/core/object/internal/Mutex.h"

namespace rondel::internal {

namespace {

constinit Mutex lock;  // held for moments; no other lock is taken inside
constinit HxUInteger lengthOfString RONDEL_GUARDED_BY(lock) = 0;
constinit HxRange sequenceInString RONDEL_GUARDED_BY(lock) = {};

void setString(const HxObject* string) noexcept {
  __atomic_store_n(&stringOfLongSequence, string, __ATOMIC_RELAXED);
}

bool isRemembered(const HxObject* string) noexcept {
  return __atomic_load_n(&stringOfLongSequence, __ATOMIC_RELAXED) == string;
}

}  // namespace

constinit const HxObject* stringOfLongSequence = nullptr;

HxRange rememberedSequence(const HxObject& string, HxUInteger length, HxUInteger index) {
  if (!isRemembered(&string)) return {};
  const MutexLock held(lock);
  const bool isInside = isRemembered(&string) && length == lengthOfString &&
                        index - sequenceInString.location < sequenceInString.length;
  return isInside ? sequenceInString : HxRange{};
}

void rememberSequence(const HxObject& string, HxUInteger length, HxRange sequence) {
  const MutexLock held(lock);
  setString(&string);
  lengthOfString = length;
  sequenceInString = sequence;
}

void forgetLongSequence(const HxObject* string) noexcept {
  const MutexLock held(lock);
  if (isRemembered(string)) setString(nullptr);
}

}  // namespace rondel::internal
