// SPDX-License-Identifier: MIT
#pragma once

// Collections of user-defined classes that supply only the primitives, and helpers for tests of
// values.
//
//     HxArray array = openArray({"a"_hx, "b"_hx});
//     EXPECT_EQ(shown(array.lastObject()), "b");
//     EXPECT_EQ(messageOf([&] { array.objectAtIndex(2); }), "HxRangeException: ...");

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/Exception.h"
#include "Rondel/core/text/String.h"

namespace rondel::test {

/// Returns the description in UTF-8; "nil" for nil.
inline std::string shown(const HxHandle& object) {
  return object ? object.description().toStdString() : "nil";
}

/// Returns the name and the reason of what the call raises; empty if it raises nothing.
template <class Call>
std::string messageOf(Call&& call) {
  try {
    call();
  } catch (const HxException& exception) {
    return exception.what();
  }
  return {};
}

/// A string that supplies its length and its units.
class OpenString final : public HxStringObject {
 public:
  explicit OpenString(std::u16string_view text) : _text(text) {}
  HxUInteger length() const override { return _text.size(); }
  HxUniChar characterAtIndex(HxUInteger index) const override { return _text[index]; }
  void getCharacters(HxUniChar* buffer, HxRange range) const override {
    _text.copy(buffer, range.length, range.location);
  }

 private:
  std::u16string _text;
};
inline HxString openString(std::u16string_view text) {
  return HxString::stringWithObject(makeRef<OpenString>(text));
}

/// An array that supplies its count and its objects.
class OpenArray final : public HxArrayObject {
 public:
  explicit OpenArray(std::vector<HxAny> objects) : _objects(std::move(objects)) {}
  HxUInteger count() const override { return _objects.size(); }
  HxAny objectAtIndex(HxUInteger index) const override { return _objects.at(index); }

 private:
  std::vector<HxAny> _objects;
};
inline HxArray openArray(std::vector<HxAny> objects) {
  return HxArray(makeRef<OpenArray>(std::move(objects)));
}

/// A dictionary that supplies its count, keys and values. A look-up compares all keys.
class OpenDictionary final : public HxDictionaryObject {
 public:
  using Entries = std::vector<HxDictionary::Entry>;

  explicit OpenDictionary(Entries entries) : _entries(std::move(entries)) {}
  HxUInteger count() const override { return _entries.size(); }
  HxAny objectForKey(const HxHandle& key) const override {
    for (const HxDictionary::Entry& entry : _entries) {
      if (entry.key.isEqual(key)) return entry.value;
    }
    return nullptr;
  }
  HxEnumerator keyEnumerator() const override { return HxEnumerator(makeRef<Keys>(this)); }

 private:
  class Keys final : public HxEnumeratorObject {
   public:
    explicit Keys(const OpenDictionary* dictionary)
        : _owner(dictionary), _dictionary(*dictionary) {}
    HxAny nextObject() override {
      return _next < _dictionary._entries.size() ? _dictionary._entries[_next++].key : HxAny();
    }

   private:
    HxAny _owner;
    const OpenDictionary& _dictionary;
    std::size_t _next = 0;
  };

  Entries _entries;
};
inline HxDictionary openDictionary(OpenDictionary::Entries entries) {
  return HxDictionary(makeRef<OpenDictionary>(std::move(entries)));
}

}  // namespace rondel::test
