// SPDX-License-Identifier: MIT
#pragma once

// Consumers that write down what they hear, for the tests of streams.
//
//     StreamRecorder recorder;
//     filter->setLineStreamConsumer(&recorder);
//     filter->streamProcessCharacters(nullptr, "a\nb"_hx);
//     EXPECT_EQ(recorder.events, Events({"line:a\n"}));

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Rondel/Streams/Stream.h"

namespace rondel::test {

using Events = std::vector<std::string>;

/// Hears everything and may be linked under any stream, which does not own it.
class StreamRecorder : public HxObject,
                       public ZevMoByteStreamConsuming,
                       public ZevMoCharacterStreamConsuming,
                       public ZevMoLineStreamConsuming {
 public:
  /// `bytes:...`, `chars:...`, `line:...` with the payload in UTF-8, `nil` for no payload, `end`.
  Events events;
  /// The streams that sent them.
  std::vector<ZevMoStream*> senders;
  /// What else to do at each event.
  std::function<void()> action;

  void streamDidEnd(ZevMoStream* stream) override { note(stream, "end"); }
  void streamProcessBytes(ZevMoStream* stream, const HxData& data) override {
    const char* const bytes = reinterpret_cast<const char*>(data.bytes());
    note(stream, "bytes:" + (data ? std::string(bytes, data.length()) : "nil"));
  }
  void streamProcessCharacters(ZevMoStream* stream, const HxString& characters) override {
    note(stream, "chars:" + (characters ? characters.toStdString() : "nil"));
  }
  void streamProcessLine(ZevMoStream* stream, const HxString& line) override {
    note(stream, "line:" + (line ? line.toStdString() : "nil"));
  }

  /// The payloads of all events together.
  std::string text() const {
    std::string all;
    for (const std::string& event : events) all += event.substr(event.find(':') + 1);
    return all;
  }

 private:
  void note(ZevMoStream* stream, std::string event) {
    events.push_back(std::move(event));
    senders.push_back(stream);
    // The action may destroy the recorder's owner, but never the recorder in the midst of a call;
    // and it may take itself out.
    if (const std::function<void()> called = action) called();
  }
};

/// One that is owned by the stream that it is linked under, and tells of its destruction.
class RetainedStreamRecorder : public StreamRecorder, public ZevMoStreamConsumerRetaining {
 public:
  explicit RetainedStreamRecorder(int& destroyed) : _destroyed(destroyed) {}
  ~RetainedStreamRecorder() override { ++_destroyed; }

 private:
  int& _destroyed;
};

/// A filter that passes bytes on, tells of its destruction, and may note its place in the order.
class Relay : public ZevMoByteStream, public ZevMoByteStreamConsuming {
 public:
  explicit Relay(std::string name = "", Events* destroyed = nullptr)
      : _label(std::move(name)), _destroyed(destroyed) {}
  ~Relay() override {
    if (_destroyed) _destroyed->push_back(_label);
  }
  void streamProcessBytes(ZevMoStream*, const HxData& data) override { sendBytes(data); }
  void streamDidEnd(ZevMoStream*) override { sendStreamDidEnd(); }

 private:
  std::string _label;
  Events* _destroyed;
};

/// One that is owned by the stream that it is linked under.
class OwnedRelay final : public Relay, public ZevMoStreamConsumerRetaining {
 public:
  using Relay::Relay;
};

inline HxData dataOf(std::string_view bytes) {
  return HxData::dataWithBytes(bytes.data(), bytes.size());
}

}  // namespace rondel::test
