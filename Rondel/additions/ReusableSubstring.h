// SPDX-License-Identifier: MIT
//
// A string that is a view of a part of another string, and can be aimed at one part after the
// other. It is for scanners that look up each word of a text in a dictionary and keep few of them.
//
//   ZevCheapReusableSubstring word = ZevCheapReusableSubstring::initWithRealString(line, {0, 0});
//   for (const HxRange range : words) {
//     word.setRealString(line, range);
//     if (keywords.containsObject(word)) ...   // finds what a plain string was stored under
//     if (isNew) names.addObject(word.copy()); // a plain string, to keep
//   }
//
// A view copies no characters. After it was made it allocates nothing. That holds for aiming it,
// and for asking for a character, its hash or its equality. It is a string of its own class, so it
// can stand wherever a string does. Operations that make a new string, such as copy,
// uppercaseString or substringWithRange, make a plain one.
//
// What must not happen to it:
//
// - The real string must not change while it is viewed. The view keeps a hash of what it saw. Text
//   that a mutable string has lost raises HxRangeException when it is asked for.
// - A view in a collection must not be aimed anew, since its text and its hash change. The
//   dictionaries of this library copy their keys and are safe. Sets, arrays and the values of a
//   dictionary hold the view itself: put copies into them.
// - A view must not be aimed at itself.
// - Additions that return the receiver if there is nothing to do return the view. Examples are
//   stringByRemovingPrefix, stringByQuotingIfNeeded and stringByReplacingCharacter. Copy what they
//   return before the view is aimed anew.
//
// Nil. On a nil handle every operation returns zero, as for any string. A view of nil has no
// characters.
//
// Threads. A view belongs to one thread, even if it is only read: asking for the hash stores it.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class RONDEL_EXPORT ZevCheapReusableSubstring : public HxString {
 public:
  constexpr ZevCheapReusableSubstring(internal::IsNil auto) noexcept {}  // NOLINT: nullptr is nil
  ZevCheapReusableSubstring(Unchecked, HxAny any) noexcept
      : HxString(Unchecked{}, std::move(any)) {}
  static bool canHold(const HxObject* object) noexcept;
  // A class below that of all strings.
  static HxClass classObject() noexcept;

  // Returns a new view of a part of a string. This is the one allocation that a view needs.
  static ZevCheapReusableSubstring initWithRealString(const HxString& realString, HxRange subrange);

  // Aims the view at a part of a string. The view keeps the string alive until it is aimed at
  // another string or goes. This does not look at the text. A part beyond the end is not refused
  // here, however long it is: length() returns what was asked for. An operation that needs a
  // character which is not there raises HxRangeException. All handles of one view see the change.
  void setRealString(const HxString& realString, HxRange subrange);

  // These operations are those of any string, with the following particulars.
  //
  // length                  that of the part; 0 for a view of nil
  // hash                    the same as of any equal string; computed when it is first asked for
  //                         after aiming, and kept until the view is aimed again
  // isEqualToString         false for nil and for another length; one comparison of memory if both
  //                         texts lie as ASCII bytes
  // rangeOfCharacterFromSet asks the real string, with the location of the part added to that of
  //                         the range. It returns the answer as it is: a location in the REAL
  //                         STRING, unlike all other operations. The end of the range is held to
  //                         the real string, not to the part. Deliberate: scanners look for the
  //                         next word after the present one. It holds for every handle of the view,
  //                         HxString as well.
};

}  // namespace rondel
