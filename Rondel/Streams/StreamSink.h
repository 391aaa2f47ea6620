// SPDX-License-Identifier: MIT
//
// ZevMoStreamSink: the end of a chain whose output is not needed.
//
//   lines->setLineStreamConsumer(ZevMoStreamSink::streamSink());
//
// It consumes bytes, characters and lines, and does nothing with any of them. It may be linked
// under any number of streams, on any thread.
#pragma once

#include "Rondel/Streams/Stream.h"

namespace rondel {

class RONDEL_EXPORT ZevMoStreamSink : public HxObject,
                                      public ZevMoByteStreamConsuming,
                                      public ZevMoCharacterStreamConsuming,
                                      public ZevMoLineStreamConsuming,
                                      public ZevMoStreamConsumerRetaining {
 public:
  // Returns the one instance, which the first call makes and which lives as long as the process.
  static Ref<ZevMoStreamSink> streamSink();

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  void streamDidEnd(ZevMoStream* stream) override;
  void streamProcessBytes(ZevMoStream* stream, const HxData& data) override;
  void streamProcessCharacters(ZevMoStream* stream, const HxString& characters) override;
  void streamProcessLine(ZevMoStream* stream, const HxString& line) override;

 protected:
  ZevMoStreamSink() = default;
};

}  // namespace rondel
