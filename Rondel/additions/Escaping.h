// SPDX-License-Identifier: MIT
//
// Text made safe to stand in XML and in formats.
//
//   stringByEscapingForXML("if (a < b && c)"_hx);  // if (a &lt; b &amp;&amp; c)
//   stringByEscapingPercents("100 %"_hx);          // 100 %%
//
// For words of command lines and string lists see Quoting.h.
//
// Each escaper gives a new string, also when there is nothing to escape. Nothing tells text that is
// escaped already: it is escaped once more. Nil gives nil. All of this may be called on any thread.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

// The five characters that XML 1.0 has entities for (section 4.6) replaced by these; all else is
// copied, characters that XML does not allow included. The result can stand in character data and
// in attribute values between quotes of either kind.
//
//   <    &lt;
//   >    &gt;
//   &    &amp;
//   "    &quot;
//   '    &apos;
RONDEL_EXPORT HxString stringByEscapingForXML(const HxString& text);

// The receiver itself, its entities as they are. Wanted: what callers pass has come through a
// parser, which has undone the escapes.
RONDEL_EXPORT HxString stringByUnescapingFromXML(const HxString& text);

// Each "%" doubled, so that the text stands for itself in a format.
RONDEL_EXPORT HxString stringByEscapingPercents(const HxString& text);

}  // namespace rondel
