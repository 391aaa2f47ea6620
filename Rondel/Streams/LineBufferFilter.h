// SPDX-License-Identifier: MIT
//
// ZevMoLineBufferFilter: characters in, lines out.
//
//   Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
//   decoder->setCharacterStreamConsumer(lines);
//   lines->setLineStreamConsumer(printer);
//
// Chunks "a\nb" and "c\n" make the lines "a\n" and "bc\n". A line is sent with its terminator, as
// soon as that has come: LF, CR, CR LF, U+0085, U+2028 or U+2029. The unfinished last line is held
// back, however long it is. A line that arrives in many chunks takes time in proportion to its
// length. At the end of the stream what is held is sent as a line with an LF added.
//
// A CR at the end of a chunk ends its line at once. If the next chunk begins with LF, that LF is
// sent as a separate line.
//
// The filter bears ZevMoStreamConsumerRetaining: the stream that feeds it owns it. Each line is one
// new string. If a consumer raises, the lines that it was sent are gone. The rest of the chunk is
// kept, and sent with the next one or at the end.
//
// Threads: see Stream.h. There is no lock.
#pragma once

#include "Rondel/Streams/Stream.h"

namespace rondel {

class RONDEL_EXPORT ZevMoLineBufferFilter : public ZevMoLineStream,
                                            public ZevMoCharacterStreamConsuming,
                                            public ZevMoStreamConsumerRetaining {
 public:
  // Both return a new filter that holds nothing and sends line by line, for the caller.
  static Ref<ZevMoLineBufferFilter> stream() { return init(); }
  static Ref<ZevMoLineBufferFilter> init() { return makeRef<ZevMoLineBufferFilter>(); }

  ZevMoLineBufferFilter();

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Whether all complete lines of a chunk are sent as one string, terminators inside; false by
  // default. Set it before data flows: a change holds from the next chunk on.
  bool coalescesCompleteLines() const noexcept { return _coalesceLines; }
  void setCoalescesCompleteLines(bool flag) noexcept { _coalesceLines = flag; }

  // Sends the lines that the chunk completes. Nil and empty chunks send nothing.
  void streamProcessCharacters(ZevMoStream* stream, const HxString& characters) override;
  void streamDidEnd(ZevMoStream* stream) override;

 private:
  template <class Unit>
  void sendCompleteLines(const HxString& input, const Unit* units, HxUInteger& offset);
  template <class Unit>
  void sendLineByLine(const HxString& input, const Unit* units, HxUInteger& offset);
  template <class Unit>
  void sendLinesTogether(const HxString& input, const Unit* units, HxUInteger& offset);
  HxString savedStringWith(const HxString& input, HxUInteger end);
  HxString takeSavedString();
  void keepRest(const HxString& input, HxUInteger offset);

  HxMutableString _savedString = nullptr;  // the unfinished line
  bool _coalesceLines = false;
  bool _savedStringHasLines = false;  // a consumer raised: complete lines wait before it
};

}  // namespace rondel
