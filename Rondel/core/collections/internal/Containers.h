// SPDX-License-Identifier: MIT
//
// Hash, equality and description of arrays, dictionaries and sets, with all that is in them. None
// of the three needs a stack frame for each level of nesting.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

class ObjectTable;

// Returns a hash of a container's elements and of the elements of the containers among them. What
// lies deeper counts by its kind and count.
HxUInteger hashOfContainer(const HxObject& container);

// Returns whether two containers of the same kind have equal elements, however deep they lie.
// Raises HxInternalInconsistencyException if more than 500 levels of containers that share a hash
// must be distinguished as keys or members.
bool areEqualContainers(const HxObject& a, const HxObject& b);

// Returns the description of a container. Containers more than 100 levels deep are written as
// "...".
HxString descriptionOfContainer(const HxObject& container);

// Return the table of a set, and that of a dictionary; null if the dictionary is not built in.
const ObjectTable& tableOfSet(const HxObject& set) noexcept;
const ObjectTable* tableOfDictionary(const HxObject& dictionary) noexcept;

}  // namespace rondel::internal
