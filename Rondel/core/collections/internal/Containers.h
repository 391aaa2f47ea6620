// SPDX-License-Identifier: MIT
//
// Hash, equality and description of arrays, dictionaries and sets, with all that is in them. None
// of the three needs a stack frame for each level of nesting. Each ends for containers that hold
// themselves.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

class ObjectTable;

// Returns a hash of a container. It looks at all elements, at the elements of the containers among
// them, and at 16 objects deeper down. Other containers count by their kind and count.
HxUInteger hashOfContainer(const HxObject& container);

// Returns whether two containers of the same kind have equal elements, however deep they lie. Two
// that are met again while they are compared count as equal. Raises
// HxInternalInconsistencyException if more than 500 comparisons lie inside each other; see
// ArrayObject.h.
bool areEqualContainers(const HxObject& a, const HxObject& b);

// Returns the description of a container. A container is written as "..." inside itself, and if it
// lies more than 100 levels deep. After 100,000 characters repeated ones are written so too.
HxString descriptionOfContainer(const HxObject& container);

// Return the table of a set, and that of a dictionary; null if the dictionary is not built in.
const ObjectTable& tableOfSet(const HxObject& set) noexcept;
const ObjectTable* tableOfDictionary(const HxObject& dictionary) noexcept;

}  // namespace rondel::internal
