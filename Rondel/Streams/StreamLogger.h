// SPDX-License-Identifier: MIT
//
// ZevMoStreamLogger: reports all that a stream sends on the console log (HxLog). For looking into a
// chain while it is being built.
//
//   Ref<ZevMoStreamLogger> logger = ZevMoStreamLogger::init();
//   source->setName("compiler"_hx);
//   source->setByteStreamConsumer(logger);
//
// writes, for the bytes 0, 10 and 255,
//
//   Stream Logger
//     0: stream:0x55d0c3f2a2b0(compiler)/src:0x55d0c3f2a2b0(compiler)
//   	  0: 0x0 0xa 0xff
//   ----
//
// The number counts the reports of all loggers of the process, from 0. After the stream comes the
// head of its chain; streams without a name show none. Then follows what was sent:
//
//   the end       EndOfStream
//   bytes         16 a row after the decimal offset of the first; "empty HxData" if there are none,
//                 also for nil
//   characters    chars->'text'
//   a line        line->'text'
//
// A logger passes nothing on, so it can only stand at the end of a chain. A stream does not own it:
// a logger that is destroyed unlinks itself, and then nothing is reported. It may be called on any
// thread.
#pragma once

#include "Rondel/Streams/Stream.h"

namespace rondel {

class RONDEL_EXPORT ZevMoStreamLogger : public HxObject,
                                        public ZevMoByteStreamConsuming,
                                        public ZevMoCharacterStreamConsuming,
                                        public ZevMoLineStreamConsuming {
 public:
  // Returns a new logger, for the caller.
  static Ref<ZevMoStreamLogger> init() { return makeRef<ZevMoStreamLogger>(); }

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  void streamDidEnd(ZevMoStream* stream) override;
  void streamProcessBytes(ZevMoStream* stream, const HxData& data) override;
  void streamProcessCharacters(ZevMoStream* stream, const HxString& characters) override;
  void streamProcessLine(ZevMoStream* stream, const HxString& line) override;

 private:
  void _logMessage(const HxString& message, ZevMoStream* stream);
};

}  // namespace rondel
