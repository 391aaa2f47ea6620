// SPDX-License-Identifier: MIT
//
// Hash, equality and description of arrays, dictionaries and sets, with all that is in them. None
// of the three needs a stack frame for each level of nesting, and each ends for containers that
// hold themselves.
#pragma once

#include "Rondel/core/object/Object.h"

namespace rondel::internal {

class ObjectTable;

// Returns a hash of a container's elements, of the elements of the containers among them, and of at
// most 256 objects that lie deeper. What it does not look at counts by its kind and count.
HxUInteger hashOfContainer(const HxObject& container);

// Returns whether two containers of the same kind have equal elements, however deep they lie. Two
// that are met again while they are compared count as equal. Raises
// HxInternalInconsistencyException if more than 500 comparisons lie inside each other: one begins
// where containers that share a hash are distinguished as keys or members, and where an object
// compares containers of its own.
bool areEqualContainers(const HxObject& a, const HxObject& b);

// Returns the description of a container. A container is written as "..." inside itself, and if it
// lies more than 100 levels deep. After 100,000 characters this holds for repeated ones too.
HxString descriptionOfContainer(const HxObject& container);

// Return the table of a set, and that of a dictionary; null if the dictionary is not built in.
const ObjectTable& tableOfSet(const HxObject& set) noexcept;
const ObjectTable* tableOfDictionary(const HxObject& dictionary) noexcept;

}  // namespace rondel::internal
