// SPDX-License-Identifier: MIT
//
// References to variables inside strings, found and replaced from a dictionary: what lets build
// settings refer to one another by name.
//
//   HxDictionary settings = HxDictionary::dictionaryWithEntries(
//       {{"NAME"_hx, "tool"_hx}, {"PRODUCT"_hx, "$(NAME).app"_hx}});
//   HxString text = MO_stringByExpandingVariables("build/$(PRODUCT)"_hx, settings,
//                                                 MoExpansionRescanExpansions);
//   // build/tool.app
//
// References. There are five forms. A delimited name is any text up to the first close delimiter; a
// bare one is a run of the 63 identifier characters, ASCII letters and digits and '_', of which any
// may come first: $1 is a reference to a variable called 1.
//
//   $(NAME)  ${NAME}  $[NAME]  $%NAME%  $NAME
//
// What hides a reference. Text between single quotes is not looked at; an open quote hides the rest
// of the text. A backslash hides the character behind it: it starts no reference, opens or closes
// no quote, and closes no delimited name. Quotes and backslashes have done their work then, but
// stay in the text, and backslashes in names too. Double quotes mean nothing.
//
// There is no nesting: $(A$(B)) is a reference to "A$(B", and a parenthesis behind it. A delimited
// name that is never closed ends the search: neither it nor anything behind it is a reference. A
// '$' in front of anything else is plain text, so $$(A) is a '$' and a reference. U+FFFF ends the
// text wherever it stands, behind a backslash too.
//
// That is not what a shell does; the guide docs/guides/variable-expansion.md tells the differences.
//
// Bad input does not fail. Nil text gives nil, false or nothing. All of this may be called on any
// thread; the dictionary must not change meanwhile. A description or a dictionary of one's own may
// expand text itself, and may change the text that is being expanded: the expansion has its own.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// ---- Expanding --------------------------------------------------------------------------------

// Bits of the options of an expansion; 0 for none.
using MoExpansionOptions = HxUInteger;
// A reference to a variable that is not defined stays in the text, and the search goes on behind
// it. Without this the empty string takes its place.
//
// Such a reference also moves the end of the search, unless the search that found it began at the
// very start of the text: to as many characters from the start of the text as were left to search
// when that search began. References behind the new end are not expanded. That is wanted as it
// stands, and callers depend on it:
//
//   "$(C) $(C) $(A)", with C undefined, stays as it is.
inline constexpr MoExpansionOptions MoExpansionKeepUndefinedReferences = 1;
// The search goes on at the start of each replacement, so that references in values are expanded
// too, also those that a value and the text behind it make together. Without this it goes on behind
// the replacement. A quote in a value hides what follows it in the text, up to the next one.
//
// Nothing looks for cycles: a variable whose value refers to itself makes the operation run for
// ever. Whoever passes such values brings it on himself.
inline constexpr MoExpansionOptions MoExpansionRescanExpansions = 2;

// A new string: the whole text with the references in the range, or in all of it, replaced by the
// values that the dictionary has for their names. A value that is no string is replaced by its
// description; a variable without one, or whose value has a nil description, is not defined.
//
// A range that does not lie in the text is a failed check (MoAssertWithMessage on the range), and
// behind it no reference is found. A nil dictionary is a failed check (MoCheckInstance on
// "expansionDict"), and defines nothing. What a description or a dictionary of one's own raises
// passes through.
//
// Time and memory grow as the text and all replacements together, whatever their lengths are.
RONDEL_EXPORT HxMutableString MO_stringByExpandingVariables(const HxString& text,
                                                            const HxDictionary& expansionDict,
                                                            HxRange range,
                                                            MoExpansionOptions options);
RONDEL_EXPORT HxMutableString MO_stringByExpandingVariables(const HxString& text,
                                                            const HxDictionary& expansionDict,
                                                            MoExpansionOptions options);

// The same with the environment of the process, as it is now, and MoExpansionRescanExpansions.
// Variables that it does not hold become empty.
RONDEL_EXPORT HxMutableString MO_stringByExpandingEnvironmentVariables(const HxString& text);

// ---- Finding ----------------------------------------------------------------------------------

// The names of all references in the text, in order, each as often as it is referred to. Names are
// not expanded.
//
//   namesOfExpandableVariables("$(A)/$B/${A}"_hx)   // A, B, A
RONDEL_EXPORT HxArray namesOfExpandableVariables(const HxString& text);

// The first reference in the range: where its name and its delimiters stand in the text. The close
// delimiter of the bare form is empty and stands behind the name. A reference that does not end
// within the range is not found. Each of the places may be null; false when there is no reference,
// and then nothing is stored.
//
//   of "a$(B)": name {3, 1}, open delimiter {1, 2}, close delimiter {4, 1}
//
// A range that does not lie in the text is a failed check (MoAssertWithMessage), and gives false.
// The location and the length may add up beyond the greatest HxUInteger; the end of such a range is
// in front of its start, and nothing is found in it.
//
// Text of a class of one's own that does not show its characters in one run is read 32 at a time,
// and only as far as the reference goes.
RONDEL_EXPORT bool _getVariableNameRange(const HxString& text, HxRange* variableNameRange,
                                         HxRange* openDelimiterRange, HxRange* closeDelimiterRange,
                                         HxRange searchRange);

// For people who look for a fault: writes through HxLog what the search finds in the text without
// its last character.
//
//   'a$(B) ' -> 1
//       variableNameRange: {3, 1}
//       openDelimRange:    {1, 2}
//       closeDelimRange:   {4, 1}
//       variableRefRange:  {1, 4}
//
// The last line is the whole reference; when there is none, the first line, with a 0, is the only
// one. Text without characters has no last one, so its range is a failed check.
RONDEL_EXPORT void testMacroExpansion(const HxString& text);

}  // namespace rondel
