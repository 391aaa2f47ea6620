// SPDX-License-Identifier: MIT
//
// Streams: a chain of objects through which data is pushed, each to its one consumer.
//
// A source hands every chunk to its consumer; a filter is both a consumer of one payload and a
// stream of another, and hands on what it has made. Payloads are bytes (HxData), characters
// (HxString, an arbitrary chunk of text) and lines (HxString, one line or several).
//
//   class Printer final : public HxObject, public ZevMoLineStreamConsuming {
//    public:
//     void streamProcessLine(ZevMoStream*, const HxString& line) override { HxLog("%@"_hx, line); }
//     void streamDidEnd(ZevMoStream*) override { HxLog("end"_hx); }
//   };
//
//   Ref<Printer> printer = makeRef<Printer>();
//   Ref<ZevMoUTF8DecoderFilter> decoder = ZevMoUTF8DecoderFilter::init();
//   Ref<ZevMoLineBufferFilter> lines = ZevMoLineBufferFilter::init();
//   Ref<ZevMoByteStream> source = ZevMoByteStream::init();
//   source->setByteStreamConsumer(decoder);
//   decoder->setCharacterStreamConsumer(lines);
//   lines->setLineStreamConsumer(printer);
//   source->sendBytes(HxData::dataWithBytes("one\ntwo", 7));  // the line "one\n"
//   source->sendStreamDidEnd();                               // the line "two\n", then the end
//
// Sending is calling: the consumer is called at once, on the caller's thread, and the send returns
// when the consumer has returned. Nothing is queued or copied, and what a consumer throws passes
// through to the source. Without a consumer data is dropped silently.
//
// Who owns whom. A stream owns its consumer if and only if the consumer's class bears
// ZevMoStreamConsumerRetaining. The filters bear it, so a chain of filters is owned from its head:
// whoever owns the head owns the chain, and dropping the head destroys head, filters, tail in turn,
// without streamDidEnd and without what the filters held back. A consumer that does not bear the
// mark, such as Printer above, is only referred to: its owner keeps it alive as long as it is
// linked, or unlinks it first. Nothing owns upstream.
//
// Changes during a send. A stream keeps the consumer that it is calling alive until the call
// returns, so a consumer may unlink itself, relink the chain or drop it. What was sent already is
// not taken back, and a filter in the middle of a chunk sends the rest of it to the consumer that
// is linked by then. Destructors may send, too: a source its last data, and a consumer that is
// linked still may make its stream send to it.
//
// Threads: a chain belongs to one thread at a time. There is no lock.
#pragma once

#include "Rondel/core/object/Object.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Data.h"

namespace rondel {

class ZevMoStream;

// ---- What a consumer is -----------------------------------------------------------------------

// Interfaces of consumers. A class may take any number of them beside HxObject. `stream` is always
// the stream that sends, the immediate neighbour; its sourceStream() is the head of the chain.
class RONDEL_EXPORT ZevMoStreamConsuming {
 public:
  // Nothing more will come from `stream`. Called once by a well-behaved source.
  virtual void streamDidEnd(ZevMoStream* stream) = 0;

 protected:
  ~ZevMoStreamConsuming() = default;
};

class RONDEL_EXPORT ZevMoByteStreamConsuming : public virtual ZevMoStreamConsuming {
 public:
  // `data` may be nil or empty when the source sends that.
  virtual void streamProcessBytes(ZevMoStream* stream, const HxData& data) = 0;

 protected:
  ~ZevMoByteStreamConsuming() = default;
};

class RONDEL_EXPORT ZevMoCharacterStreamConsuming : public virtual ZevMoStreamConsuming {
 public:
  // A chunk of text, cut anywhere but inside a character that a decoder has put together. Often
  // empty; may be nil when the source sends that.
  virtual void streamProcessCharacters(ZevMoStream* stream, const HxString& characters) = 0;

 protected:
  ~ZevMoCharacterStreamConsuming() = default;
};

class RONDEL_EXPORT ZevMoLineStreamConsuming : public virtual ZevMoStreamConsuming {
 public:
  // A line with its terminator; several lines when the source puts them together.
  virtual void streamProcessLine(ZevMoStream* stream, const HxString& line) = 0;

 protected:
  ~ZevMoLineStreamConsuming() = default;
};

// The mark by which a consumer's class asks to be owned by the stream that feeds it.
class RONDEL_EXPORT ZevMoStreamConsumerRetaining {
 protected:
  ~ZevMoStreamConsumerRetaining() = default;
};

// ---- What every stream is ---------------------------------------------------------------------

class RONDEL_EXPORT ZevMoStream : public HxObject {
 public:
  // A new stream of this class, without name, consumer or upstream; the caller's. Each class of
  // streams has both operations, and they do the same.
  static Ref<ZevMoStream> stream() { return init(); }
  static Ref<ZevMoStream> init();

  ZevMoStream() noexcept = default;
  // Unhooks the stream from what feeds it, and gives up its consumer, with no streamDidEnd. A chain
  // of any length is taken apart without recursion.
  ~ZevMoStream() override;

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // A name to tell streams apart, shown by ZevMoStreamLogger and nowhere else; nil at first. A
  // copy is kept.
  void setName(const HxString& name);
  const HxString& name() const noexcept { return _name; }

  // The consumer, null when there is none. The typed streams below have setters that check what
  // they are given; this one takes any object, and a typed stream sends nothing to a consumer of
  // another kind.
  //
  // Setting the present consumer again changes nothing. Setting another one, or null, first clears
  // the upstream stream of the former consumer if that is a stream, and gives up the ownership of
  // it if it was owned. A new consumer is owned as told at the top, and if it is a stream, its
  // upstream stream becomes this one. It is not taken away from another stream that has it as
  // consumer: both then feed it, its upstream stream is the one that was linked last, and unlinking
  // either of them clears that. A chain must not be closed to a ring.
  void setStreamConsumer(const HxAny& consumer);
  void setStreamConsumer(HxObject* consumer) { setStreamConsumer(HxAny(consumer)); }
  HxObject* streamConsumer() const noexcept { return _streamConsumer; }

  // The stream whose consumer this stream is, null for a head; not owned. Kept up to date by
  // setStreamConsumer and by the destruction of streams: nobody else needs to set it.
  void setUpstreamStream(ZevMoStream* stream) noexcept { _upstreamStream = stream; }
  ZevMoStream* upstreamStream() const noexcept { return _upstreamStream; }
  // The head of the chain; the stream itself when nothing feeds it. Never null.
  ZevMoStream* sourceStream() noexcept;

  // Tells the consumer that this stream has ended; without one does nothing. A subclass that holds
  // something back may override it to send that first.
  virtual void sendStreamDidEnd();

 protected:
  // Called when the consumer has changed, with null when it has gone: where a class with a payload
  // of its own looks up, once, the interface that it will call. An override calls that of its base.
  virtual void streamConsumerDidChange(HxObject* consumer);
  // What a send holds while it calls the consumer, so that this lives until the call returns.
  HxAny keptConsumer() const noexcept;

 private:
  void unlinkConsumer();
  void linkConsumer(HxObject* consumer);
  ZevMoStream* consumingStream() const noexcept;

  HxString _name;
  HxObject* _streamConsumer = nullptr;  // counted by hand if retainConsumer, else its owner's
  ZevMoStreamConsuming* _endConsumer = nullptr;  // the same object
  ZevMoStream* _upstreamStream = nullptr;        // not retained: it clears this before it goes
  struct {
    bool retainConsumer : 1;
    bool consumerIsStream : 1;
  } _flags{};  // they describe the consumer while there is one
};

// ---- Streams of one payload -------------------------------------------------------------------

// In each class below:
//
// The setter is setStreamConsumer behind a check that the object conforms to the class's interface.
// A failed check is reported to the failure sink ("consumer should conform to protocol
// @protocol(ZevMoByteStreamConsuming), but ... doesn't"); when the sink returns, the object is
// linked all the same, and hears of the end if it can but never of data.
//
// The getter gives the consumer under that interface: null when there is none, or one that does not
// conform.
//
// The send calls the consumer with the stream and the payload, which is passed by reference and not
// looked at: nil goes through like anything else.

class RONDEL_EXPORT ZevMoByteStream : public ZevMoStream {
 public:
  static Ref<ZevMoByteStream> stream() { return init(); }
  static Ref<ZevMoByteStream> init();

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  void setByteStreamConsumer(const HxAny& consumer);
  void setByteStreamConsumer(HxObject* consumer) { setByteStreamConsumer(HxAny(consumer)); }
  ZevMoByteStreamConsuming* byteStreamConsumer() const noexcept { return _byteStreamConsumer; }
  void sendBytes(const HxData& data);

 protected:
  void streamConsumerDidChange(HxObject* consumer) override;

 private:
  ZevMoByteStreamConsuming* _byteStreamConsumer = nullptr;  // streamConsumer()
};

class RONDEL_EXPORT ZevMoCharacterStream : public ZevMoStream {
 public:
  static Ref<ZevMoCharacterStream> stream() { return init(); }
  static Ref<ZevMoCharacterStream> init();

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  void setCharacterStreamConsumer(const HxAny& consumer);
  void setCharacterStreamConsumer(HxObject* consumer) {
    setCharacterStreamConsumer(HxAny(consumer));
  }
  ZevMoCharacterStreamConsuming* characterStreamConsumer() const noexcept {
    return _characterStreamConsumer;
  }
  void sendCharacters(const HxString& characters);

 protected:
  void streamConsumerDidChange(HxObject* consumer) override;

 private:
  ZevMoCharacterStreamConsuming* _characterStreamConsumer = nullptr;  // streamConsumer()
};

class RONDEL_EXPORT ZevMoLineStream : public ZevMoStream {
 public:
  static Ref<ZevMoLineStream> stream() { return init(); }
  static Ref<ZevMoLineStream> init();

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  void setLineStreamConsumer(const HxAny& consumer);
  void setLineStreamConsumer(HxObject* consumer) { setLineStreamConsumer(HxAny(consumer)); }
  ZevMoLineStreamConsuming* lineStreamConsumer() const noexcept { return _lineStreamConsumer; }
  void sendLine(const HxString& line);

 protected:
  void streamConsumerDidChange(HxObject* consumer) override;

 private:
  ZevMoLineStreamConsuming* _lineStreamConsumer = nullptr;  // streamConsumer()
};

}  // namespace rondel
