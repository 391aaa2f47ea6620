// SPDX-License-Identifier: MIT
//
// Many short strings in few blocks, for code that splits text: one allocation serves twenty words
// of up to 23 characters.
//
//   WordMaker maker(text.length());
//   while (...) words.append(maker.make(word, length));
//
//   block:   count | string | characters | string | characters | ... | room
//
// The count is that of the block's strings that are left. The last of them frees the block, so a
// string that is kept keeps its whole block: kMostBytes at most. A string finds its block by its
// distance from it, in its own header.
#pragma once

#include <algorithm>
#include <cstring>

#include "Rondel/core/object/internal/AtomicWord.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/text/internal/Transcode.h"

namespace rondel::internal {

class alignas(FlatString) StringBlock {
 public:
  static constexpr HxUInteger kMostBytes = 1024;
  // Longer strings have a block of their own, so that little room is left over in a full block.
  static constexpr HxUInteger kLongestString = 128;

  // Returns the bytes that a string of so many ASCII characters takes in a block.
  static constexpr HxUInteger bytesFor(HxUInteger length) noexcept {
    return (sizeof(FlatString) + length + kStep) & ~(kStep - 1);
  }
  // Returns the bytes of a block for such a string.
  static constexpr HxUInteger bytesForOne(HxUInteger length) noexcept {
    return sizeof(StringBlock) + bytesFor(length);
  }
  static StringBlock* make(HxUInteger bytes) {
    return new (FlatString::allocate(bytes)) StringBlock(bytes);
  }

  // Returns a new string of characters that it does not set, null if the block is full.
  FlatString* makeString(HxUInteger length) noexcept {
    const HxUInteger bytes = bytesFor(length);
    if (_used + bytes > _bytes) return nullptr;
    FlatString* const string =
        FlatString::makeNarrowIn(reinterpret_cast<char*>(this) + _used, length, _used / kStep);
    _used = static_cast<std::uint16_t>(_used + bytes);
    ++_made;
    return string;
  }
  // No string is made after this. Called once, by the maker.
  void close() noexcept { drop(kOpen - _made); }
  // Ends a string that lies at this distance.
  static void dropString(FlatString* string, HxUInteger distance) noexcept {
    reinterpret_cast<StringBlock*>(reinterpret_cast<char*>(string) - distance * kStep)->drop(1);
  }

 private:
  static constexpr HxUInteger kStep = 8;  // strings begin at multiples of it, as the block does
  // While a block is open, its count is as if it had all strings that it could ever have. So making
  // one counts nothing that other threads see.
  static constexpr std::uint32_t kOpen = 0x10000;

  explicit StringBlock(HxUInteger bytes) noexcept : _bytes(static_cast<std::uint16_t>(bytes)) {}
  void drop(std::uint32_t count) noexcept {
    if (_left.decrement(count) == 0) FlatString::freeBlock(this);
  }

  AtomicWord _left{kOpen};
  const std::uint16_t _bytes;
  std::uint16_t _used = sizeof(StringBlock);
  std::uint16_t _made = 0;
};

// Makes the words of one text. They may be dropped on any thread, before the maker or after it.
class WordMaker {
 public:
  // The length of the text tells the size of the first block.
  explicit WordMaker(HxUInteger textLength) noexcept
      : _blockBytes(std::min(bytesForText(textLength), StringBlock::kMostBytes)) {}
  WordMaker(const WordMaker&) = delete;
  WordMaker& operator=(const WordMaker&) = delete;
  ~WordMaker() {
    if (_block) _block->close();
  }

  // Returns a new string of ASCII bytes.
  HxString make(const char* ascii, HxUInteger length) {
    if (length == 0 || length > StringBlock::kLongestString) return makeString(ascii, length);
    FlatString* string = _block ? _block->makeString(length) : nullptr;
    if (!string) string = makeInNewBlock(length);
    std::memcpy(string->narrow(), ascii, length);
    return HxString(HxAny::Unchecked{}, HxAny::adopt(string));
  }
  // Returns a new string of units. It has an allocation of its own.
  HxString make(const HxUniChar* units, HxUInteger length) { return makeString(units, length); }

 private:
  // The room for a text of one word is all used. Of more words it is a guess.
  static constexpr HxUInteger bytesForText(HxUInteger length) noexcept {
    constexpr HxUInteger kTypicalWordLength = 16;
    constexpr HxUInteger kLongText = StringBlock::kMostBytes;
    const HxUInteger counted = std::min(length, kLongText);
    const HxUInteger words = counted / kTypicalWordLength;
    return StringBlock::bytesForOne(counted) + words * StringBlock::bytesFor(0);
  }
  [[gnu::noinline]] FlatString* makeInNewBlock(HxUInteger length);

  const HxUInteger _blockBytes;
  StringBlock* _block = nullptr;
};

}  // namespace rondel::internal
