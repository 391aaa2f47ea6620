// SPDX-License-Identifier: MIT
#include "Rondel/Streams/StreamSink.h"

namespace rondel {

Ref<ZevMoStreamSink> ZevMoStreamSink::streamSink() {
  static auto* const sharedInstance = new ZevMoStreamSink;  // never destroyed
  return Ref<ZevMoStreamSink>(sharedInstance);
}

HxClass ZevMoStreamSink::classObject() noexcept {
  static const HxClassInfo info{"ZevMoStreamSink", HxObject::classObject().info(),
                                []() -> HxAny { return streamSink(); }};
  return HxClass(&info);
}

void ZevMoStreamSink::streamDidEnd(ZevMoStream*) {}
void ZevMoStreamSink::streamProcessBytes(ZevMoStream*, const HxData&) {}
void ZevMoStreamSink::streamProcessCharacters(ZevMoStream*, const HxString&) {}
void ZevMoStreamSink::streamProcessLine(ZevMoStream*, const HxString&) {}

}  // namespace rondel
