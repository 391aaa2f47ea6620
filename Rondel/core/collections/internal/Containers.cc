// SPDX-License-Identifier: MIT
//
// Equality descends a few levels by recursion; pairs of containers that lie deeper wait in a list.
// A pair in the list is taken for equal until its turn comes. The first pair that is not equal ends
// the comparison:
//
//   [[[1]]] and [[[2]]] with one level of recursion
//     compare [[1]] with [[1]]      recursion; its elements [1] and [2] wait: equal so far
//     take [1] and [2] from the list; 1 and 2 differ: not equal
//
// A pair may wait if no other pair could take its place. Members of sets and keys may if only one
// candidate has their hash. Only among several candidates the answer is needed at once.
#include "Rondel/core/collections/internal/Containers.h"

#include <utility>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/collections/internal/MergeSort.h"
#include "Rondel/core/collections/internal/ObjectTable.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/text/String.h"

namespace rondel::internal {

namespace {

enum class ContainerKind { none, array, dictionary, set };

ContainerKind containerKind(const HxObject& object) noexcept {
  switch (object.typeID()) {
    case HxTypeID::array:
      return ContainerKind::array;
    case HxTypeID::dictionary:
      return ContainerKind::dictionary;
    case HxTypeID::set:
      return ContainerKind::set;
    case HxTypeID::object:
    case HxTypeID::string:
    case HxTypeID::number:
    case HxTypeID::date:
    case HxTypeID::data:
    case HxTypeID::indexSet:
    case HxTypeID::characterSet:
    case HxTypeID::error:
    case HxTypeID::bundle:
    case HxTypeID::enumerator:
      break;
  }
  return ContainerKind::none;
}

bool isContainer(const HxObject& object) noexcept {
  return containerKind(object) != ContainerKind::none;
}

const HxArrayObject& arrayOf(const HxObject& object) noexcept {
  return static_cast<const HxArrayObject&>(object);
}
const HxDictionaryObject& dictionaryOf(const HxObject& object) noexcept {
  return static_cast<const HxDictionaryObject&>(object);
}

HxUInteger countOf(const HxObject& container) {
  switch (containerKind(container)) {
    case ContainerKind::array:
      return arrayOf(container).count();
    case ContainerKind::dictionary:
      return dictionaryOf(container).count();
    case ContainerKind::set:
      return tableOfSet(container).size();
    case ContainerKind::none:
      break;
  }
  return 0;
}

// ---- Hash -------------------------------------------------------------------------------------

HxUInteger hashOfElements(const HxObject& container, int levels);

HxUInteger elementHash(const HxObject* object, int levels) {
  if (!object) return 0;  // an open class has a key without a value
  if (!isContainer(*object)) return tableHash(object);
  return spreadHash(levels > 0 ? hashOfElements(*object, levels - 1) : countOf(*object));
}

HxUInteger hashOfElements(const HxObject& container, int levels) {
  HxUInteger hash = countOf(container) << 8 | static_cast<HxUInteger>(container.typeID());
  if (container.typeID() == HxTypeID::array) {
    const HxUInteger count = arrayOf(container).count();
    HxArray::Iterator object(&arrayOf(container), 0);
    for (HxUInteger i = 0; i < count; ++i, ++object) {
      hash = spreadHash(hash ^ elementHash(object->object(), levels));
    }
  } else if (container.typeID() == HxTypeID::dictionary) {
    // Sums here and for sets, since the order is open.
    const HxDictionary::Iterator end;
    for (HxDictionary::Iterator entry(&dictionaryOf(container)); !(entry == end); ++entry) {
      hash += spreadHash(elementHash(entry->key.object(), levels) +
                         spreadHash(elementHash(entry->value.object(), levels)));
    }
  } else {
    for (const auto& member : tableOfSet(container)) {
      hash += elementHash(member.key.object(), levels);
    }
  }
  return hash;
}

// ---- Equality ---------------------------------------------------------------------------------

// One comparison of two containers, with the pairs that still wait to be compared.
class Comparison {
 public:
  Comparison() {
    if (nested == kMostNested) {
      HxException::raise(HxInternalInconsistencyException,
                         "-[HxObject isEqual:]: keys are nested too deeply to be compared"_hx);
    }
    ++nested;
  }
  Comparison(const Comparison&) = delete;
  Comparison& operator=(const Comparison&) = delete;
  ~Comparison() { --nested; }

  bool areEqual(const HxObject& a, const HxObject& b) {
    if (!haveEqualElements(a, b, 0)) return false;
    while (!_waiting.empty()) {
      const auto [left, right] = std::move(_waiting.back());
      _waiting.pop_back();
      if (!haveEqualElements(*left.object(), *right.object(), 0)) return false;
    }
    return true;
  }

 private:
  static constexpr int kMostLevels = 4;
  static constexpr int kMostNested = 500;

  bool areEqualElements(const HxObject* a, const HxObject* b, int level) {
    if (!a || !b) return false;
    if (a == b) return true;
    if (!isContainer(*a) || a->typeID() != b->typeID()) return equalObjects(a, b);
    if (level < kMostLevels) return haveEqualElements(*a, *b, level + 1);
    _waiting.emplace_back(HxAny(a), HxAny(b));
    return true;
  }

  // Returns the entry of `table` that has an equal key; null if there is none.
  const ObjectTable::Entry* entryWithKey(const ObjectTable& table, const HxObject* key, int level) {
    if (!isContainer(*key)) return table.find(key);
    const ObjectTable::Candidates candidates = table.candidatesFor(key);
    if (candidates.count != 1) return table.find(key);
    return areEqualElements(candidates.first->key.object(), key, level) ? candidates.first
                                                                        : nullptr;
  }

  bool haveEqualElements(const HxObject& a, const HxObject& b, int level) {
    if (&a == &b) return true;
    if (countOf(a) != countOf(b)) return false;
    switch (containerKind(a)) {
      case ContainerKind::array:
        return haveEqualObjects(arrayOf(a), arrayOf(b), level);
      case ContainerKind::dictionary:
        return haveEqualEntries(dictionaryOf(a), dictionaryOf(b), level);
      case ContainerKind::set:
        return haveEqualMembers(tableOfSet(a), tableOfSet(b), level);
      case ContainerKind::none:
        break;
    }
    return false;
  }

  bool haveEqualObjects(const HxArrayObject& a, const HxArrayObject& b, int level) {
    if (!isBuiltInConstant(&a) || !isBuiltInConstant(&b)) return haveEqualNow(a, b, level);
    const HxUInteger count = a.count();
    HxArray::Iterator mine(&a, 0);
    HxArray::Iterator theirs(&b, 0);
    for (HxUInteger i = 0; i < count; ++i, ++mine, ++theirs) {
      if (!areEqualElements(mine->object(), theirs->object(), level)) return false;
    }
    return true;
  }

  // The same for arrays that the isEqual of an object may change.
  bool haveEqualNow(const HxArrayObject& a, const HxArrayObject& b, int level) {
    HxUInteger i = 0;
    for (; i < a.count() && i < b.count(); ++i) {
      const HxAny mine = a.objectAtIndex(i);
      const HxAny theirs = b.objectAtIndex(i);
      if (!areEqualElements(mine.object(), theirs.object(), level)) return false;
    }
    return i >= a.count() && i >= b.count();
  }

  bool haveEqualEntries(const HxDictionaryObject& a, const HxDictionaryObject& b, int level) {
    const ObjectTable* const table = tableOfDictionary(b);
    const HxDictionary::Iterator end;
    for (HxDictionary::Iterator entry(&a); !(entry == end); ++entry) {
      HxAny made;
      const HxObject* value = nullptr;
      if (table) {
        const ObjectTable::Entry* found = entryWithKey(*table, entry->key.object(), level);
        if (found) value = found->value.object();
      } else {
        made = b.objectForKey(entry->key);
        value = made.object();
      }
      if (!value || !areEqualElements(entry->value.object(), value, level)) return false;
    }
    return true;
  }

  bool haveEqualMembers(const ObjectTable& a, const ObjectTable& b, int level) {
    for (const auto& member : a) {
      if (!entryWithKey(b, member.key.object(), level)) return false;
    }
    return true;
  }

  static thread_local int nested;
  std::vector<std::pair<HxAny, HxAny>> _waiting;
};
constinit thread_local int Comparison::nested = 0;

// ---- Description ------------------------------------------------------------------------------

// Writes descriptions, each container by one level further to the right than the one around it.
class Describer {
 public:
  HxString describe(const HxObject& container) const { return describeContainer(container, 0); }

 private:
  static constexpr HxUInteger kMostLevels = 100;

  static HxString lineFeedAndIndent(HxUInteger level) {
    HxMutableString text = HxMutableString::stringWithString("\n"_hx);
    for (HxUInteger i = 0; i < level; ++i) text.appendString("    "_hx);
    return text.copy();
  }

  // Text stays as it is. What other objects write on several lines is moved to the right.
  HxString describe(const HxAny& object, HxUInteger level) const {
    if (!object) return nullptr;
    const HxObject& described = *object.object();
    if (isContainer(described) && isDescribedHere(described)) {
      return level > kMostLevels ? "..."_hx : describeContainer(described, level);
    }
    HxString text = object.description();
    if (described.typeID() == HxTypeID::string) return text;
    return text.stringByReplacingOccurrencesOfString("\n"_hx, lineFeedAndIndent(level));
  }

  // An open class may describe itself in another way.
  static bool isDescribedHere(const HxObject& container) noexcept {
    return container.typeID() == HxTypeID::set || ObjectBits::isBuiltIn(&container);
  }

  HxString describeContainer(const HxObject& container, HxUInteger level) const {
    switch (containerKind(container)) {
      case ContainerKind::array:
        return describeArray(arrayOf(container), level);
      case ContainerKind::dictionary:
        return describeDictionary(dictionaryOf(container), level);
      case ContainerKind::set:
        return describeSet(tableOfSet(container), level);
      case ContainerKind::none:
        break;
    }
    return {};
  }

  // "(\n    first,\n    second\n)"
  HxString describeArray(const HxArrayObject& array, HxUInteger level) const {
    const HxString lineStart = lineFeedAndIndent(level + 1);
    HxMutableString text = HxMutableString::stringWithString("("_hx);
    // The description of an object may change the array.
    for (HxUInteger i = 0; i < array.count(); ++i) {
      if (i > 0) text.appendString(","_hx);
      text.appendString(lineStart);
      text.appendString(describe(array.objectAtIndex(i), level + 1));
    }
    text.appendString(lineFeedAndIndent(level));
    text.appendString(")"_hx);
    return text.copy();
  }

  // "{\n    key = value;\n}", sorted by the descriptions of the keys.
  HxString describeDictionary(const HxDictionaryObject& dictionary, HxUInteger level) const {
    struct Line {
      HxString key;
      HxAny value;
    };
    std::vector<Line> lines;
    lines.reserve(dictionary.count());
    const HxDictionary::Iterator end;
    for (HxDictionary::Iterator entry(&dictionary); !(entry == end); ++entry) {
      lines.push_back({describe(entry->key, level + 1), entry->value});
    }
    mergeSort(lines, [](const Line& a, const Line& b) { return a.key < b.key; });
    const HxString lineStart = lineFeedAndIndent(level + 1);
    HxMutableString text = HxMutableString::stringWithString("{"_hx);
    for (const Line& line : lines) {
      text.appendString(HxString::stringByConcatenating(lineStart, line.key, " = "_hx,
                                                        describe(line.value, level + 1), ";"_hx));
    }
    text.appendString(lineFeedAndIndent(level));
    text.appendString("}"_hx);
    return text.copy();
  }

  // "{(\n    first,\n    second\n)}", sorted by the descriptions.
  HxString describeSet(const ObjectTable& members, HxUInteger level) const {
    std::vector<HxAny> objects;  // a description may change the set
    objects.reserve(members.size());
    for (const auto& member : members) objects.push_back(member.key);
    std::vector<HxString> lines;
    lines.reserve(objects.size());
    for (const HxAny& object : objects) lines.push_back(describe(object, level + 1));
    mergeSort(lines, [](const HxString& a, const HxString& b) { return a < b; });
    const HxString lineStart = lineFeedAndIndent(level + 1);
    HxMutableString text = HxMutableString::stringWithString("{("_hx);
    for (const HxString& line : lines) {
      if (&line != lines.data()) text.appendString(","_hx);
      text.appendString(lineStart);
      text.appendString(line);
    }
    text.appendString(lineFeedAndIndent(level));
    text.appendString(")}"_hx);
    return text.copy();
  }
};

}  // namespace

HxUInteger hashOfContainer(const HxObject& container) { return hashOfElements(container, 1); }

bool areEqualContainers(const HxObject& a, const HxObject& b) {
  return Comparison().areEqual(a, b);
}

HxString descriptionOfContainer(const HxObject& container) {
  return Describer().describe(container);
}

}  // namespace rondel::internal
