// SPDX-License-Identifier: MIT
//
// Streams: a chain of objects through which data is pushed, each to its one consumer.
//
// A source hands every chunk to its consumer. A filter is a consumer of one payload and a stream of
// another, and hands on what it has made. Payloads are bytes (HxData), characters (HxString, an
// arbitrary chunk of text) and lines (HxString, one line or several).
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
// Sending is calling: a send calls the consumer at once, on the caller's thread, and returns after
// it. Nothing is queued or copied. What a consumer raises passes through to the source. Without a
// consumer data is dropped silently.
//
// Who owns whom. A stream owns its consumer if and only if the consumer's class bears
// ZevMoStreamConsumerRetaining. The filters bear it, so a chain of filters is owned from its head.
// Dropping the head destroys head, filters and tail in turn, without streamDidEnd and without what
// the filters held back. A consumer without the mark, such as Printer above, is only referred to:
// its owner keeps it alive. If it is destroyed while it is linked, it unlinks itself from every
// stream that feeds it. What is sent after that is dropped. Nothing owns upstream.
//
// Changes during a send. A stream keeps the consumer that it is calling alive until the call
// returns. So a consumer may unlink itself, relink the chain or drop it. What was sent already is
// not taken back. A filter in the middle of a chunk sends the rest to the consumer that is linked
// by then. Destructors may send, too. A source may send its last data. A consumer that is still
// linked may make its stream send to it.
//
// Threads: a chain belongs to one thread at a time. There is no lock. Streams of several threads
// may have one consumer, if that allows calls from several.
#pragma once

#include "Rondel/Streams/internal/ZeroingReference.h"
#include "Rondel/core/object/Object.h"
#include "Rondel/core/text/String.h"
#include "Rondel/core/values/Data.h"

namespace rondel {

class ZevMoStream;

// ---- What a consumer is -----------------------------------------------------------------------

// Interfaces of consumers. A class may take any number of them beside HxObject. `stream` is always
// the stream that sends, the immediate neighbour; its sourceStream() is the head of the chain.
class RONDEL_EXPORT ZevMoStreamConsuming : public internal::Referent {
 public:
  // Hears that nothing more will come from `stream`. A well-behaved source calls it once.
  virtual void streamDidEnd(ZevMoStream* stream) = 0;

 protected:
  ~ZevMoStreamConsuming() = default;
};

class RONDEL_EXPORT ZevMoByteStreamConsuming : public virtual ZevMoStreamConsuming {
 public:
  // Takes a chunk. `data` may be nil or empty if the source sends that.
  virtual void streamProcessBytes(ZevMoStream* stream, const HxData& data) = 0;

 protected:
  ~ZevMoByteStreamConsuming() = default;
};

class RONDEL_EXPORT ZevMoCharacterStreamConsuming : public virtual ZevMoStreamConsuming {
 public:
  // Takes a chunk of text, cut anywhere but inside a character that a decoder has put together. It
  // is often empty, and nil if the source sends that.
  virtual void streamProcessCharacters(ZevMoStream* stream, const HxString& characters) = 0;

 protected:
  ~ZevMoCharacterStreamConsuming() = default;
};

class RONDEL_EXPORT ZevMoLineStreamConsuming : public virtual ZevMoStreamConsuming {
 public:
  // Takes a line with its terminator, or several lines if the source puts them together.
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
  // Both return a new stream of this class, without name, consumer or upstream, for the caller. An
  // inherited static cannot know the class on which it is called. A subclass gets its own from
  // StreamOf, see below.
  static Ref<ZevMoStream> stream() { return init(); }
  static Ref<ZevMoStream> init();

  ZevMoStream() noexcept = default;
  // Unlinks the stream from what feeds it and from its consumer, without streamDidEnd. A chain
  // of any length is taken apart without recursion.
  ~ZevMoStream() override;

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  // Sets a name to distinguish streams, of which a copy is kept. ZevMoStreamLogger shows it. Nil by
  // default.
  void setName(const HxString& name);
  const HxString& name() const noexcept { return _name; }

  // Sets the consumer, or none if null. This takes any object; the typed streams below have setters
  // that check theirs. A typed stream sends nothing to a consumer of another kind.
  //
  // Setting the present consumer again changes nothing. Otherwise the former consumer is unlinked.
  // If it is a stream, its upstream stream is cleared. If it was owned, it is released. The new one
  // is owned as stated at the top. If it is a stream, its upstream stream becomes this one.
  //
  // The new consumer is not taken away from another stream that has it: both then feed it. Its
  // upstream stream is the one that was linked last, and unlinking either of them clears that.
  //
  // An object that is no ZevMoStreamConsuming must outlive the link. A chain must not be closed to
  // a ring.
  void setStreamConsumer(const HxHandle& consumer);
  void setStreamConsumer(HxObject* consumer) { setStreamConsumer(HxAny(consumer)); }
  // Returns the consumer, null if there is none or it has gone.
  HxObject* streamConsumer() const noexcept { return _streamConsumer; }

  // The stream whose consumer this stream is, null for a head; not owned. setStreamConsumer and the
  // destruction of streams keep it up to date. No other code needs to set it.
  void setUpstreamStream(ZevMoStream* stream) noexcept { _upstreamStream = stream; }
  ZevMoStream* upstreamStream() const noexcept { return _upstreamStream; }
  // Returns the head of the chain, the stream itself if nothing feeds it. Never null.
  ZevMoStream* sourceStream() noexcept;

  // Sends the end of this stream to the consumer. Does nothing without one. A subclass that holds
  // something back may override it to send that first.
  virtual void sendStreamDidEnd();

 protected:
  // Called after the consumer has changed, with null if it has gone. Here a class with a payload of
  // its own looks up, once, the interface that it will call. An override calls that of its base,
  // and raises nothing.
  virtual void streamConsumerDidChange(HxObject* consumer);
  // Returns what a send holds while it calls the consumer, so that this lives until the call
  // returns.
  HxAny keptConsumer() const noexcept;

 private:
  // Clears the link if a consumer is destroyed that this stream does not own.
  class ConsumerLink final : private internal::ReferenceLink {
   public:
    explicit ConsumerLink(ZevMoStream& stream) noexcept : _stream(stream) {}
    using ReferenceLink::linkTo;

   private:
    void referentDidGo() noexcept override { _stream.consumerDidGo(); }
    ZevMoStream& _stream;
  };

  void unlinkConsumer();
  void linkConsumer(HxObject* consumer);
  HxObject* clearConsumer() noexcept;
  void consumerDidGo() noexcept;
  ZevMoStream* consumingStream() const noexcept;

  HxString _name;
  HxObject* _streamConsumer = nullptr;  // counted by hand if retainConsumer, else its owner's
  ZevMoStreamConsuming* _endConsumer = nullptr;  // the same object
  ConsumerLink _consumerLink{*this};             // to the same, unless it is owned
  ZevMoStream* _upstreamStream = nullptr;        // not retained: it clears this before it goes
  struct {
    bool retainConsumer : 1;
    bool consumerIsStream : 1;
  } _flags{};  // they describe the consumer while there is one
};

// Returns a new stream of class T.
template <std::derived_from<ZevMoStream> T, class... Arguments>
Ref<T> makeStream(Arguments&&... arguments) {
  return makeRef<T>(std::forward<Arguments>(arguments)...);
}

// The base of your own stream classes. It supplies the two class operations, with the arguments
// of the class's constructors:
//
//   class WordFilter final : public StreamOf<WordFilter, ZevMoLineStream>, ... {
//    public:
//     explicit WordFilter(HxString word);
//   };
//   Ref<WordFilter> filter = WordFilter::stream("error"_hx);
template <class T, std::derived_from<ZevMoStream> Base>
class StreamOf : public Base {
 public:
  using Base::Base;
  template <class... Arguments>
  static Ref<T> stream(Arguments&&... arguments) {
    return makeRef<T>(std::forward<Arguments>(arguments)...);
  }
  template <class... Arguments>
  static Ref<T> init(Arguments&&... arguments) {
    return makeRef<T>(std::forward<Arguments>(arguments)...);
  }
};

// ---- Streams of one payload -------------------------------------------------------------------

// In each class below:
//
// The setter checks that the object conforms to the class's interface, and then does what
// setStreamConsumer does. A failed check is reported to the failure sink: "consumer should conform
// to protocol @protocol(ZevMoByteStreamConsuming), but ... doesn't". If the sink returns, the
// object is linked all the same. It then hears of the end if it can, but never of data.
//
// The getter returns the consumer under that interface: null if there is none, or one that does not
// conform.
//
// The send calls the consumer with the stream and the payload. The payload is passed by reference
// and not looked at: nil goes through like anything else.

class RONDEL_EXPORT ZevMoByteStream : public ZevMoStream {
 public:
  static Ref<ZevMoByteStream> stream() { return init(); }
  static Ref<ZevMoByteStream> init();

  static HxClass classObject() noexcept;
  HxClass hxClass() const noexcept override { return classObject(); }

  void setByteStreamConsumer(const HxHandle& consumer);
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

  void setCharacterStreamConsumer(const HxHandle& consumer);
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

  void setLineStreamConsumer(const HxHandle& consumer);
  void setLineStreamConsumer(HxObject* consumer) { setLineStreamConsumer(HxAny(consumer)); }
  ZevMoLineStreamConsuming* lineStreamConsumer() const noexcept { return _lineStreamConsumer; }
  void sendLine(const HxString& line);

 protected:
  void streamConsumerDidChange(HxObject* consumer) override;

 private:
  ZevMoLineStreamConsuming* _lineStreamConsumer = nullptr;  // streamConsumer()
};

}  // namespace rondel
