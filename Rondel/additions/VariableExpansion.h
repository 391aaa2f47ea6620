// SPDX-License-Identifier: MIT
//
// Finds references to variables in strings and replaces them from a dictionary, so that build
// settings can refer to one another by name.
//
//   HxDictionary settings = HxDictionary::dictionaryWithEntries(
//       {{"NAME"_hx, "tool"_hx}, {"PRODUCT"_hx, "$(NAME).app"_hx}});
//   HxString text = MO_stringByExpandingVariables("build/$(PRODUCT)"_hx, settings,
//                                                 MoExpansionRescanExpansions);
//   // build/tool.app
//
// References. There are five forms. A delimited name is any text up to the first close delimiter. A
// bare name is a run of the 63 identifier characters: ASCII letters and digits and '_'. Any of them
// may come first: $1 is a reference to a variable called 1.
//
//   $(NAME)  ${NAME}  $[NAME]  $%NAME%  $NAME
//
// What hides a reference. Text between single quotes is not looked at; an open quote hides the rest
// of the text. A backslash hides the character after it: it starts no reference, opens or closes no
// quote, and closes no delimited name. Quotes and backslashes stay in the text, and backslashes in
// names too. Double quotes mean nothing.
//
// There is no nesting: $(A$(B)) is a reference to "A$(B", followed by a parenthesis. A delimited
// name that is never closed ends the search: neither it nor anything after it is a reference. A '$'
// before anything else is plain text, so $$(A) is a '$' and a reference. U+FFFF ends the text
// everywhere, even after a backslash.
//
// That is not what a shell does; the guide docs/guides/variable-expansion.md lists the differences.
//
// Bad input does not fail. The result for nil text is nil, false or nothing. All of this may be
// called on any thread; the dictionary must not change meanwhile. A description, or a dictionary
// class of your own, may expand text itself. It may also change the text that is being expanded:
// the expansion works on a copy.
#pragma once

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/text/String.h"

namespace rondel {

// ---- Expanding --------------------------------------------------------------------------------

// Bits of the options of an expansion; 0 for none.
using MoExpansionOptions = HxUInteger;
// Keeps a reference to a variable that is not defined in the text; the search continues after it.
// Without this option the empty string takes its place.
//
// Such a reference also moves the end of the search, unless the search that found it began at the
// very start of the text. The new end is as many characters from the start of the text as were left
// to search when that search began. References after the new end are not expanded. Deliberate:
// callers depend on it.
//
//   "$(C) $(C) $(A)", with C undefined, stays as it is.
inline constexpr MoExpansionOptions MoExpansionKeepUndefinedReferences = 1;
// Continues the search at the start of each replacement. So references in values are expanded too,
// even those that a value and the text after it form together. Without this option the search
// continues after the replacement. A quote in a value hides what follows it in the text, up to the
// next quote.
//
// Nothing looks for cycles: a variable whose value refers to itself makes the operation run for
// ever. The caller must not pass such values.
inline constexpr MoExpansionOptions MoExpansionRescanExpansions = 2;

// Returns a new string: the whole text with references replaced, in the range or in all of it. The
// dictionary has the values for their names. The description is taken of a value that is no string.
// A variable without a value, or whose value has a nil description, is not defined.
//
// A range that does not lie in the text fails a check (MoAssertWithMessage on the range), and no
// reference is expanded. Nil, and an object that is no dictionary, fails a check (MoCheckInstance
// on "expansionDict") and defines nothing. What a description or a dictionary of your own raises
// passes through.
//
// Time and memory are linear in the text and all replacements together.
RONDEL_EXPORT HxMutableString MO_stringByExpandingVariables(const HxString& text,
                                                            const HxDictionary& expansionDict,
                                                            HxRange range,
                                                            MoExpansionOptions options);
RONDEL_EXPORT HxMutableString MO_stringByExpandingVariables(const HxString& text,
                                                            const HxDictionary& expansionDict,
                                                            MoExpansionOptions options);

// Does the same with the present environment of the process and MoExpansionRescanExpansions.
// Variables that it does not define become empty.
RONDEL_EXPORT HxMutableString MO_stringByExpandingEnvironmentVariables(const HxString& text);

// ---- Finding ----------------------------------------------------------------------------------

// Returns the names of all references in the text, in order, each as often as it is referred to.
// Names are not expanded.
//
//   namesOfExpandableVariables("$(A)/$B/${A}"_hx)   // A, B, A
RONDEL_EXPORT HxArray namesOfExpandableVariables(const HxString& text);

// Returns whether there is a reference in the range, and stores where the name and the delimiters
// of the first one are in the text. The close delimiter of the bare form is empty, after the name.
// A reference that does not end within the range is not found. Each of the pointers may be null.
// Nothing is stored if there is no reference.
//
//   of "a$(B)": name {3, 1}, open delimiter {1, 2}, close delimiter {4, 1}
//
// A range that does not lie in the text fails a check (MoAssertWithMessage); the result is false.
// If location and length add up beyond the greatest HxUInteger, the end of the range is before its
// start, and nothing is found in it.
//
// Text of a class of your own that does not show its characters in one run is read 32 at a time,
// and only as far as the reference goes.
RONDEL_EXPORT bool _getVariableNameRange(const HxString& text, HxRange* variableNameRange,
                                         HxRange* openDelimiterRange, HxRange* closeDelimiterRange,
                                         HxRange searchRange);

// Writes through HxLog what the search finds in the text without its last character. A help for
// debugging.
//
//   'a$(B) ' -> 1
//       variableNameRange: {3, 1}
//       openDelimRange:    {1, 2}
//       closeDelimRange:   {4, 1}
//       variableRefRange:  {1, 4}
//
// The last line is the whole reference. If there is none, the first line, with a 0, is the only
// one. Text without characters has no last one, so its range fails a check.
RONDEL_EXPORT void testMacroExpansion(const HxString& text);

}  // namespace rondel
