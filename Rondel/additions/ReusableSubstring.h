// SPDX-License-Identifier: MIT
//
// A string that is a view of a part of another string, and can be aimed at one part after the
// other: for scanners that ask a dictionary about each word of a text and keep few of them.
//
//   ZevCheapReusableSubstring word = ZevCheapReusableSubstring::initWithRealString(line, {0, 0});
//   for (const HxRange range : words) {
//     word.setRealString(line, range);
//     if (keywords.containsObject(word)) ...   // finds what a plain string was stored under
//     if (isNew) names.addObject(word.copy()); // a plain string, to keep
//   }
//
// It copies no characters and takes nothing from the heap after its making: not to be aimed, not to
// be asked for a character, its hash, or whether it equals another string. It is a string of its
// own class, so that it can stand wherever a string does; what makes a new string, such as copy,
// uppercaseString or substringWithRange, makes a plain one.
//
// What must not happen to it:
//
// - The real string must not change while it is viewed. The view keeps a hash of what it saw. Text
//   that a mutable string has lost raises HxRangeException when it is asked for.
// - A view in a collection must not be aimed anew, since its text and its hash change. The
//   dictionaries of this library copy their keys and are safe; sets, arrays and the values of a
//   dictionary are the view itself. Keep copies.
// - A view must not be aimed at itself.
//
// Nil. On a nil handle every operation gives zero, as for any string. A view of nil has no
// characters.
//
// Threads. A view belongs to one thread, also when it is only read: asking for the hash keeps it.
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

  // A new view of a part of a string. The one allocation that a view needs.
  static ZevCheapReusableSubstring initWithRealString(const HxString& realString, HxRange subrange);

  // Aims the view at a part of a string, which it holds on to until it is aimed at another string
  // or goes. This does not look at the text; counting is spared when the string is the same object
  // as before. A part beyond the end is not refused here: length() tells what was asked for, and
  // HxRangeException is raised by the operation that needs a character which is not there. All
  // handles of one view see the change.
  void setRealString(const HxString& realString, HxRange subrange);

  // The operations below are those of any string; this is what there is to know of them.
  //
  // length                  that of the part; 0 for a view of nil
  // hash                    the same as of any equal string; computed when it is first asked for
  //                         after aiming, and kept until the view is aimed again
  // isEqualToString         false for nil and for another length; where both texts lie as ASCII
  //                         bytes, one comparison of memory
  // rangeOfCharacterFromSet is handed on to the real string, with the location of the part added to
  //                         that of the range, and gives the real string's answer as it is: a
  //                         location in the REAL STRING, unlike all other operations. The end of
  //                         the range is held to the real string, not to the part. That is wanted:
  //                         scanners look for the next word beyond the present one. It holds for
  //                         every handle of the view, HxString as well.
};

}  // namespace rondel
