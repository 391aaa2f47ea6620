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
// candidate has their hash. Only among several candidates the answer is needed at once: a
// comparison of its own finds it. The isEqual of other objects may begin further ones. All of them
// share what they know of pairs; see ComparedPairs.h.
#include "Rondel/core/collections/internal/Containers.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/collections/Set.h"
#include "Rondel/core/collections/internal/ComparedPairs.h"
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

// What a hash may look at: all objects of the first levels, and below them a number of objects in
// all. Each container passes an equal part of what it leaves to the containers in it.
//
//   [[[1, 2, 3], "x"]] with one level and five objects
//     [ ]              all: one container, which gets the five
//     [[1, 2, 3], "x"] two of five; three are left for the one container in it
//     [1, 2, 3]        three of three
struct HashBudget {
  int wholeLevels;
  HxUInteger objects;
};

// A part depends on kinds and counts alone, not on the identity or the order of objects. So equal
// containers hash alike.
class ElementHashes {
 public:
  ElementHashes(const HxObject& container, HashBudget budget)
      : _container(container),
        _budget(budget),
        _count(countOf(container)),
        _looked(budget.wholeLevels > 0 ? _count : std::min(_count, budget.objects)) {}

  HxUInteger combined() {
    HxUInteger hash = _count << 8 | static_cast<HxUInteger>(_container.typeID());
    switch (containerKind(_container)) {
      case ContainerKind::array:
        forEachOfArray([&](const HxObject* object) { hash = spreadHash(hash ^ hashOf(object)); });
        break;
      case ContainerKind::dictionary:  // sums here and for sets, since the order is open
        forEachEntry([&](const HxObject* key, const HxObject* value) {
          hash += spreadHash(hashOf(key) + spreadHash(hashOf(value)));
        });
        break;
      case ContainerKind::set:
        forEachMember([&](const HxObject* member) { hash += hashOf(member); });
        break;
      case ContainerKind::none:
        break;
    }
    return hash;
  }

 private:
  // Calls visit with the objects that the budget allows: the first and the last ones of an array.
  template <class Visit>
  void forEachOfArray(const Visit& visit) const {
    const HxArrayObject& array = arrayOf(_container);
    const HxAny* const objects = isBuiltInConstant(&array) ? array.contiguousObjects() : nullptr;
    const HxUInteger atStart = _looked - _looked / 2;
    for (HxUInteger i = 0; i < _looked; ++i) {
      const HxUInteger index = i < atStart ? i : i + (_count - _looked);
      if (objects) {
        visit(objects[index].object());
      } else if (index < array.count()) {  // the hash of an object may change the array
        visit(array.objectAtIndex(index).object());
      }
    }
  }
  // Call visit with all or none, since the order is open.
  template <class Visit>
  void forEachEntry(const Visit& visit) const {
    if (_looked < _count) return;
    const HxDictionary::Iterator end;
    for (HxDictionary::Iterator entry(&dictionaryOf(_container)); !(entry == end); ++entry) {
      visit(entry->key.object(), entry->value.object());
    }
  }
  template <class Visit>
  void forEachMember(const Visit& visit) const {
    if (_looked < _count) return;
    tableOfSet(_container).forEach([&](const HxObject* member, const HxObject*) {
      visit(member);
      return true;
    });
  }

  HxUInteger hashOf(const HxObject* object) {
    if (!object) return 0;  // an open class has a key without a value
    if (!isContainer(*object)) return tableHash(object);
    if (!_isPartKnown) findPart();
    return spreadHash(ElementHashes(*object, _part).combined());
  }

  void findPart() {
    HxUInteger containers = 0;
    const auto count = [&](const HxObject* object) {
      containers += object && isContainer(*object) && countOf(*object) > 0;
    };
    if (_container.typeID() == HxTypeID::array) {
      forEachOfArray(count);
    } else if (_container.typeID() == HxTypeID::set) {
      forEachMember(count);
    } else {
      forEachEntry([&](const HxObject* key, const HxObject* value) {
        count(key);
        count(value);
      });
    }
    const bool isWhole = _budget.wholeLevels > 0;
    const HxUInteger left = _budget.objects - (isWhole ? 0 : _looked);
    _part = {isWhole ? _budget.wholeLevels - 1 : 0, left / std::max<HxUInteger>(containers, 1)};
    _isPartKnown = true;
  }

  const HxObject& _container;
  const HashBudget _budget;
  const HxUInteger _count;
  const HxUInteger _looked;  // at so many of the objects
  HashBudget _part{};        // of each container in it
  bool _isPartKnown = false;
};

// ---- Equality ---------------------------------------------------------------------------------

// One comparison of two containers, with the pairs that still wait to be compared.
class Comparison {
 public:
  Comparison() : _outer(innermost), _shared(_outer ? _outer->_shared : _own) {
    if (_shared.depth == kMostNested) {
      HxException::raise(HxInternalInconsistencyException,
                         "-[HxObject isEqual:]: objects are nested too deeply to be compared"_hx);
    }
    ++_shared.depth;
    _shared.work += kWorkOfComparison;
    innermost = this;
  }
  Comparison(const Comparison&) = delete;
  Comparison& operator=(const Comparison&) = delete;
  // The pairs go after the thread has forgotten them: dropping them may begin a new comparison.
  ~Comparison() {
    if (!_areEqual) _shared.pairs.forgetSince(_firstPair);
    --_shared.depth;
    innermost = _outer;
  }

  bool areEqual(const HxObject& a, const HxObject& b) {
    bool isEqual = haveEqualElements(a, b, 0);
    while (isEqual && !_waiting.empty()) {
      const auto [left, right] = std::move(_waiting.back());
      _waiting.pop_back();
      isEqual = haveEqualElements(*left.object(), *right.object(), 0);
    }
    if (!isEqual) _shared.pairs.setDifferent(a, b);
    _areEqual = isEqual;  // last: a comparison that raised has found nothing equal
    return isEqual;
  }

 private:
  static constexpr int kMostLevels = 4;
  static constexpr int kMostNested = 500;
  // Pairs are remembered after so much work. Small containers are compared without.
  static constexpr HxUInteger kWorkWithoutMemory = 1000;
  static constexpr HxUInteger kWorkOfComparison = 16;

  // What comparisons share that are under way inside each other.
  struct Shared {
    ComparedPairs pairs;
    HxUInteger work = 0;  // objects and comparisons
    int depth = 0;        // comparisons
  };

  bool areEqualElements(const HxObject* a, const HxObject* b, int level) {
    if (!a || !b) return false;
    if (a == b) return true;
    if (!isContainer(*a) || a->typeID() != b->typeID()) return equalObjects(a, b);
    if (level < kMostLevels) return haveEqualElements(*a, *b, level + 1);
    _waiting.emplace_back(HxAny(a), HxAny(b));
    return true;
  }

  // Returns whether `table` has an entry with an equal key and, unless it is null, an equal value.
  // One of several candidates is searched for by both, and each is decided at once. Their keys may
  // be equal only as long as for pairs that wait. So the first one of an equal key need not be it.
  bool hasEqualEntry(const ObjectTable& table, const HxObject* key, const HxObject* value,
                     int level) {
    if (ObjectBits::isFlatString(key)) {  // decided by its text alone
      const ObjectTable::Entry* const found = table.find(key);
      const HxAny other = found ? found->value : HxAny();
      return found && (!value || areEqualElements(other.object(), value, level));
    }
    const ObjectTable::Candidates candidates = table.candidatesFor(key);
    if (candidates.count == 0) return false;
    if (candidates.count > 1) {
      return table.hasCandidate(key, [&](const HxObject* otherKey, const HxObject* otherValue) {
        return equalObjects(otherKey, key) && (!value || equalObjects(otherValue, value));
      });
    }
    const ObjectTable::Entry candidate =
        *candidates.first;  // held: an isEqual may change the table
    const HxUInteger before = table.generation();
    const bool areEqual = areEqualElements(candidate.key.object(), key, level) &&
                          (!value || areEqualElements(candidate.value.object(), value, level));
    table.requireUnchangedSince(before);
    return areEqual;
  }

  bool haveEqualElements(const HxObject& a, const HxObject& b, int level) {
    if (&a == &b) return true;
    const HxUInteger count = countOf(a);
    if (count != countOf(b)) return false;
    const bool isRemembered = _shared.work > kWorkWithoutMemory;
    _shared.work += count + 1;
    if (!isRemembered) return compareElements(a, b, level);
    const ComparedPairs::Verdict known = _shared.pairs.meet(a, b);
    if (known != ComparedPairs::Verdict::unknown) return known == ComparedPairs::Verdict::equal;
    const bool areEqual = compareElements(a, b, level);
    if (!areEqual) _shared.pairs.setDifferent(a, b);
    return areEqual;
  }

  bool compareElements(const HxObject& a, const HxObject& b, int level) {
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
      const HxObject* const value = entry->value.object();
      if (!value) return false;  // an open class has a key without a value
      const bool isThere =
          table ? hasEqualEntry(*table, entry->key.object(), value, level)
                : areEqualElements(value, b.objectForKey(entry->key).object(), level);
      if (!isThere) return false;
    }
    return true;
  }

  bool haveEqualMembers(const ObjectTable& a, const ObjectTable& b, int level) {
    return a.forEach([&](const HxObject* member, const HxObject*) {
      return hasEqualEntry(b, member, nullptr, level);
    });
  }

  static thread_local Comparison* innermost;
  Comparison* const _outer;
  Shared _own;  // of the outermost alone
  Shared& _shared;
  const std::size_t _firstPair = _shared.pairs.added();
  bool _areEqual = false;
  std::vector<std::pair<HxAny, HxAny>> _waiting;
};
constinit thread_local Comparison* Comparison::innermost = nullptr;

// ---- Description ------------------------------------------------------------------------------

// Writes descriptions, each container by one level further to the right than the one around it. The
// description of an object may begin others: all of them keep the bounds together.
class Describer {
 public:
  Describer() noexcept : _isOutermost(!shared) {
    if (_isOutermost) shared = &_own;
  }
  Describer(const Describer&) = delete;
  Describer& operator=(const Describer&) = delete;
  ~Describer() {
    if (_isOutermost) shared = nullptr;
  }

  HxString describe(const HxObject& container) const { return describeContainer(container, 0); }

 private:
  static constexpr HxUInteger kMostLevels = 100;
  static constexpr HxUInteger kIndent = 4;
  static constexpr HxUInteger kLengthWithRepetitions = 100000;

  // What descriptions share that are under way inside each other.
  struct Shared {
    std::vector<const HxObject*> open;  // the containers around, from the outermost on
    HxUInteger length = 0;
    std::map<const HxObject*, HxAny> described;  // since the length was reached
  };

  // A container that is being described.
  class Opened {
   public:
    explicit Opened(const HxObject& container) { shared->open.push_back(&container); }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    ~Opened() { shared->open.pop_back(); }
  };

  // Returns whether a container is written as "...": inside itself, too deep, or once more in a
  // long text.
  static bool isCut(const HxObject& container) {
    const std::vector<const HxObject*>& open = shared->open;
    if (open.size() > kMostLevels) return true;
    if (std::find(open.begin(), open.end(), &container) != open.end()) return true;
    return shared->length > kLengthWithRepetitions &&
           !shared->described.try_emplace(&container, &container).second;
  }

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
      return describeContainer(described, level);
    }
    const HxUInteger before = shared->length;
    HxString text = object.description();  // may describe containers, which count in it
    shared->length = std::max(shared->length, before + text.length() + kIndent * level);
    if (described.typeID() == HxTypeID::string) return text;
    return text.stringByReplacingOccurrencesOfString("\n"_hx, lineFeedAndIndent(level));
  }

  // An open class may describe itself in another way.
  static bool isDescribedHere(const HxObject& container) noexcept {
    return container.typeID() == HxTypeID::set || ObjectBits::isBuiltIn(&container);
  }

  HxString describeContainer(const HxObject& container, HxUInteger level) const {
    shared->length += kIndent * level;
    if (isCut(container)) return "..."_hx;
    const Opened opened(container);
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

  static thread_local Shared* shared;
  Shared _own;  // of the outermost alone
  const bool _isOutermost;
};
constinit thread_local Describer::Shared* Describer::shared = nullptr;

}  // namespace

HxUInteger hashOfContainer(const HxObject& container) {
  constexpr HashBudget kBudget{2, 16};
  return ElementHashes(container, kBudget).combined();
}

bool areEqualContainers(const HxObject& a, const HxObject& b) {
  return Comparison().areEqual(a, b);
}

HxString descriptionOfContainer(const HxObject& container) {
  return Describer().describe(container);
}

}  // namespace rondel::internal
