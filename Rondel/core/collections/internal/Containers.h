// SPDX-License-Identifier: MIT
//
// What arrays, dictionaries and sets answer about all that is in them: hash, equality and
// description. None of the three needs a stack frame for each level of nesting.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

class ObjectTable;

// Returns a hash of a container's elements and of the elements of the containers among them. What
// lies deeper counts by its kind and count.
HxUInteger hashOfContainer(const HxObject& container);

// Returns whether two containers of the same kind have equal elements, however deep they lie.
// Raises HxInternalInconsistencyException if more than 500 levels of containers that share a hash
// have to be told apart as keys or members.
bool areEqualContainers(const HxObject& a, const HxObject& b);

// Returns the description of a container. Containers more than 100 levels deep are written as
// "...".
HxString descriptionOfContainer(const HxObject& container);

// Return the table of a set, and that of a dictionary; null if the dictionary is not built in.
const ObjectTable& tableOfSet(const HxObject& set) noexcept;
const ObjectTable* tableOfDictionary(const HxObject& dictionary) noexcept;

}  // namespace rondel::internal
