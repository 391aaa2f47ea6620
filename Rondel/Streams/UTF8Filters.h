// SPDX-License-Identifier: MIT
//
// The filters between bytes and text. A child process writes bytes in chunks that end anywhere,
// also within a multi-byte character. Two of these carry a chain across those seams.
//
//   Filter                   takes       sends       holds back                 at the end
//   ZevMoUTF8DecoderFilter   bytes       characters  an incomplete last         sends it decoded,
//                                                    sequence                   malformed or not
//   ZevMoUTF8BufferFilter    bytes       bytes       an incomplete last         drops it
//                                                    sequence
//   ZevMoUTF8EncoderFilter   characters  bytes       nothing
//
//   Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
//   task->byteStream()->setByteStreamConsumer(decoder);
//   decoder->setCharacterStreamConsumer(lines);
//
// All of them bear ZevMoStreamConsumerRetaining: the stream that feeds them owns them. Malformed
// bytes are no failure. A filter serves one run of data, and is not used after its end.
//
// Threads: see Stream.h. There is no lock.
#pragma once

#include "Rondel/Streams/Stream.h"

namespace rondel {

// Bytes to characters. Bytes that are not UTF-8 become a backslash and three octal digits each, so
// that nothing is lost; see initWithPotentiallyMalformedUTF8Bytes.
//
// Every chunk leads to one send. If all of it is held back, the string is empty. Nil data is an
// error of the caller, reported to the failure sink. If that returns, the data is taken as empty.
// The stream argument must not be null either.
class RONDEL_EXPORT ZevMoUTF8DecoderFilter : public ZevMoCharacterStream,
                                             public ZevMoByteStreamConsuming,
                                             public ZevMoStreamConsumerRetaining {
 public:
  // Both return a new filter, for the caller.
  static Ref<ZevMoUTF8DecoderFilter> stream() { return init(); }
  static Ref<ZevMoUTF8DecoderFilter> init() { return makeRef<ZevMoUTF8DecoderFilter>(); }

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  void streamProcessBytes(ZevMoStream* stream, const HxData& data) override;
  void streamDidEnd(ZevMoStream* stream) override;

 private:
  HxData takeBufferedBytesBefore(const HxData& data);
  void holdBack(const std::uint8_t* bytes, HxUInteger count);

  std::uint64_t _numBufferedUTF8Bytes = 0;  // at most 4
  std::uint8_t _bufferedUTF8Bytes[4] = {};
};

// Bytes to bytes, so that its consumer sees whole characters in each chunk. It looks at the last
// four bytes of a chunk and judges nothing. What it does not hold back is sent unchanged. A chunk
// that is all held back sends nothing.
//
// Only text that is UTF-8 is passed on faithfully. An ASCII byte after a lead byte at the end of a
// chunk does not end the pending sequence. Of the bytes E2 41, E2 is sent. E2 comes again, in place
// of 41, with the next chunk. At the end what is held is dropped.
class RONDEL_EXPORT ZevMoUTF8BufferFilter : public ZevMoByteStream,
                                            public ZevMoByteStreamConsuming,
                                            public ZevMoStreamConsumerRetaining {
 public:
  // Both return a new filter, for the caller.
  static Ref<ZevMoUTF8BufferFilter> stream() { return init(); }
  static Ref<ZevMoUTF8BufferFilter> init() { return makeRef<ZevMoUTF8BufferFilter>(); }

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  void streamProcessBytes(ZevMoStream* stream, const HxData& data) override;
  void streamDidEnd(ZevMoStream* stream) override;

 private:
  void saveUnfinishedSequence(const std::uint8_t* bytes, HxUInteger length);

  std::uint64_t _numSavedBytes = 0;
  std::uint8_t _savedBytes[4] = {};
};

// Characters to bytes. A chunk with a lone surrogate cannot be converted, and nil data is sent for
// it, as for nil.
class RONDEL_EXPORT ZevMoUTF8EncoderFilter : public ZevMoByteStream,
                                             public ZevMoCharacterStreamConsuming,
                                             public ZevMoStreamConsumerRetaining {
 public:
  // Both return a new filter, for the caller.
  static Ref<ZevMoUTF8EncoderFilter> stream() { return init(); }
  static Ref<ZevMoUTF8EncoderFilter> init() { return makeRef<ZevMoUTF8EncoderFilter>(); }

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  void streamProcessCharacters(ZevMoStream* stream, const HxString& characters) override;
  void streamDidEnd(ZevMoStream* stream) override;
};

}  // namespace rondel
