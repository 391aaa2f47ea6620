// SPDX-License-Identifier: MIT
//
// Makes text safe for XML and for formats.
//
//   stringByEscapingForXML("if (a < b && c)"_hx);  // if (a &lt; b &amp;&amp; c)
//   stringByEscapingPercents("100 %"_hx);          // 100 %%
//
// For words of command lines and string lists see Quoting.h.
//
// Each escaper returns a new string, even if there is nothing to escape. Text that is escaped
// already is escaped once more. The result for nil is nil. All of this may be called on any thread.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

// Returns the text with the five characters replaced that XML 1.0 has entities for (section 4.6).
// All else is copied, even characters that XML does not allow. The result is fit for character data
// and for attribute values between quotes of either kind.
//
//   <    &lt;
//   >    &gt;
//   &    &amp;
//   "    &quot;
//   '    &apos;
RONDEL_EXPORT HxString stringByEscapingForXML(const HxString& text);

// Returns the receiver itself, with its entities. Deliberate: the text that callers pass comes from
// a parser, which has undone the escapes.
RONDEL_EXPORT HxString stringByUnescapingFromXML(const HxString& text);

// Returns the text with each "%" doubled, so that a format prints the text itself.
RONDEL_EXPORT HxString stringByEscapingPercents(const HxString& text);

}  // namespace rondel
