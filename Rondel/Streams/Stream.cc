// SPDX-License-Identifier: MIT
#include "Rondel/Streams/Stream.h"

#include <utility>

#include "Rondel/core/object/internal/KeptAlive.h"
#include "Rondel/core/report/Check.h"

namespace rondel {

// ---- ZevMoStream ------------------------------------------------------------------------------

namespace {

// The destruction of a stream destroys its consumer from within, and so on down the chain. From a
// certain depth a loop does it instead: a stream that it releases leaves its own consumer to it.
struct Teardown {
  const HxObject* stream;  // the one that is being released
  HxObject* consumer;      // what it has left
  int depth;
};
constexpr int kDeepestTeardown = 64;
constinit thread_local Teardown* innermostTeardown = nullptr;

void releaseChain(HxObject* consumer) noexcept {
  Teardown* const outer = innermostTeardown;
  Teardown teardown{nullptr, nullptr, outer ? outer->depth + 1 : 1};
  innermostTeardown = &teardown;
  while (consumer) {
    teardown.stream = consumer;
    consumer->release();
    consumer = std::exchange(teardown.consumer, nullptr);
  }
  innermostTeardown = outer;
}

// Drops the share that `stream`, which is being destroyed, has of its consumer.
void releaseConsumerOf(const HxObject* stream, HxObject* consumer) noexcept {
  Teardown* const teardown = innermostTeardown;
  if (teardown && teardown->depth >= kDeepestTeardown && teardown->stream == stream) {
    teardown->consumer = consumer;
  } else {
    releaseChain(consumer);
  }
}

}  // namespace

HxClass ZevMoStream::classObject() noexcept {
  static const HxClassInfo info{"ZevMoStream", HxObject::classObject().info(),
                                []() -> HxAny { return init(); }};
  return HxClass(&info);
}

Ref<ZevMoStream> ZevMoStream::init() { return makeRef<ZevMoStream>(); }

ZevMoStream::~ZevMoStream() {
  _name = nullptr;
  if (_upstreamStream) _upstreamStream->setStreamConsumer(nullptr);
  if (!_streamConsumer) return;
  if (_flags.consumerIsStream) consumingStream()->setUpstreamStream(nullptr);
  _consumerLink.linkTo(nullptr);
  HxObject* const consumer = clearConsumer();
  if (_flags.retainConsumer) releaseConsumerOf(this, consumer);
}

void ZevMoStream::setName(const HxString& name) {
  if (name.object() != _name.object()) _name = name.copy();
}

void ZevMoStream::setStreamConsumer(const HxHandle& consumer) {
  if (consumer.object() == _streamConsumer) return;
  // The former consumer may hold the last reference to this stream, or the only other share of the
  // new consumer. It may hold the very handle that was passed. Its destructor may link something in
  // between.
  const HxAny alive = internal::keptAlive(this);
  const HxAny kept(consumer);  // NOLINT(performance-unnecessary-copy-initialization)
  while (_streamConsumer) unlinkConsumer();
  if (kept) linkConsumer(kept.object());
}

// The back link is cut while the consumer is surely alive. The fields are cleared before its
// destructor may look at them.
void ZevMoStream::unlinkConsumer() {
  if (_flags.consumerIsStream) consumingStream()->setUpstreamStream(nullptr);
  _consumerLink.linkTo(nullptr);
  HxObject* const consumer = clearConsumer();
  const HxAny owned = _flags.retainConsumer ? HxAny::adopt(consumer) : HxAny();
  streamConsumerDidChange(nullptr);
}

// Clears the fields and returns the former consumer.
HxObject* ZevMoStream::clearConsumer() noexcept {
  _endConsumer = nullptr;
  return std::exchange(_streamConsumer, nullptr);
}

// The consumer goes at this moment, and is touched no more.
void ZevMoStream::consumerDidGo() noexcept {
  clearConsumer();
  streamConsumerDidChange(nullptr);
}

void ZevMoStream::linkConsumer(HxObject* consumer) {
  _flags.retainConsumer = dynamic_cast<ZevMoStreamConsumerRetaining*>(consumer) != nullptr;
  if (_flags.retainConsumer) consumer->retain();
  _streamConsumer = consumer;
  _endConsumer = dynamic_cast<ZevMoStreamConsuming*>(consumer);
  if (!_flags.retainConsumer) _consumerLink.linkTo(_endConsumer);
  _flags.consumerIsStream = dynamic_cast<ZevMoStream*>(consumer) != nullptr;
  if (_flags.consumerIsStream) consumingStream()->setUpstreamStream(this);
  streamConsumerDidChange(consumer);
}

ZevMoStream* ZevMoStream::consumingStream() const noexcept {
  return static_cast<ZevMoStream*>(_streamConsumer);
}

void ZevMoStream::streamConsumerDidChange(HxObject*) {}

ZevMoStream* ZevMoStream::sourceStream() noexcept {
  ZevMoStream* head = this;
  while (head->_upstreamStream) head = head->_upstreamStream;
  return head;
}

// A consumer that is owned is surely alive. One that is not may be on its way to its end, and have
// made this stream send.
HxAny ZevMoStream::keptConsumer() const noexcept {
  return _flags.retainConsumer ? HxAny(_streamConsumer) : internal::keptAlive(_streamConsumer);
}

// A send touches no field after the call: the consumer may have dropped this very stream.
void ZevMoStream::sendStreamDidEnd() {
  if (!_endConsumer) return;
  const HxAny alive = keptConsumer();
  _endConsumer->streamDidEnd(this);
}

// ---- ZevMoByteStream --------------------------------------------------------------------------

HxClass ZevMoByteStream::classObject() noexcept {
  static const HxClassInfo info{"ZevMoByteStream", ZevMoStream::classObject().info(),
                                []() -> HxAny { return init(); }};
  return HxClass(&info);
}

Ref<ZevMoByteStream> ZevMoByteStream::init() { return makeRef<ZevMoByteStream>(); }

void ZevMoByteStream::setByteStreamConsumer(const HxHandle& consumer) {
  MO_OPERATION("-[ZevMoByteStream setByteStreamConsumer:]");
  MoCheckConformsToProtocolOrNil(consumer, ZevMoByteStreamConsuming);
  setStreamConsumer(consumer);
}

void ZevMoByteStream::streamConsumerDidChange(HxObject* consumer) {
  _byteStreamConsumer = dynamic_cast<ZevMoByteStreamConsuming*>(consumer);
}

void ZevMoByteStream::sendBytes(const HxData& data) {
  if (!_byteStreamConsumer) return;
  const HxAny alive = keptConsumer();
  _byteStreamConsumer->streamProcessBytes(this, data);
}

// ---- ZevMoCharacterStream ---------------------------------------------------------------------

HxClass ZevMoCharacterStream::classObject() noexcept {
  static const HxClassInfo info{"ZevMoCharacterStream", ZevMoStream::classObject().info(),
                                []() -> HxAny { return init(); }};
  return HxClass(&info);
}

Ref<ZevMoCharacterStream> ZevMoCharacterStream::init() { return makeRef<ZevMoCharacterStream>(); }

void ZevMoCharacterStream::setCharacterStreamConsumer(const HxHandle& consumer) {
  MO_OPERATION("-[ZevMoCharacterStream setCharacterStreamConsumer:]");
  MoCheckConformsToProtocolOrNil(consumer, ZevMoCharacterStreamConsuming);
  setStreamConsumer(consumer);
}

void ZevMoCharacterStream::streamConsumerDidChange(HxObject* consumer) {
  _characterStreamConsumer = dynamic_cast<ZevMoCharacterStreamConsuming*>(consumer);
}

void ZevMoCharacterStream::sendCharacters(const HxString& characters) {
  if (!_characterStreamConsumer) return;
  const HxAny alive = keptConsumer();
  _characterStreamConsumer->streamProcessCharacters(this, characters);
}

// ---- ZevMoLineStream --------------------------------------------------------------------------

HxClass ZevMoLineStream::classObject() noexcept {
  static const HxClassInfo info{"ZevMoLineStream", ZevMoStream::classObject().info(),
                                []() -> HxAny { return init(); }};
  return HxClass(&info);
}

Ref<ZevMoLineStream> ZevMoLineStream::init() { return makeRef<ZevMoLineStream>(); }

void ZevMoLineStream::setLineStreamConsumer(const HxHandle& consumer) {
  MO_OPERATION("-[ZevMoLineStream setLineStreamConsumer:]");
  MoCheckConformsToProtocolOrNil(consumer, ZevMoLineStreamConsuming);
  setStreamConsumer(consumer);
}

void ZevMoLineStream::streamConsumerDidChange(HxObject* consumer) {
  _lineStreamConsumer = dynamic_cast<ZevMoLineStreamConsuming*>(consumer);
}

void ZevMoLineStream::sendLine(const HxString& line) {
  if (!_lineStreamConsumer) return;
  const HxAny alive = keptConsumer();
  _lineStreamConsumer->streamProcessLine(this, line);
}

}  // namespace rondel
