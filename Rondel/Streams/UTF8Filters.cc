// SPDX-License-Identifier: MIT
#include "Rondel/Streams/UTF8Filters.h"

#include <algorithm>
#include <cstring>

#include "Rondel/additions/TextDecoding.h"
#include "Rondel/core/object/internal/KeptAlive.h"
#include "Rondel/core/report/Check.h"

namespace rondel {

namespace {

HxMutableData joined(const std::uint8_t* held, HxUInteger count, const HxData& data) {
  HxMutableData bytes = HxMutableData::initWithCapacity(count + data.length());
  bytes.appendBytes(held, count);
  bytes.appendData(data);
  return bytes;
}

}  // namespace

// ---- ZevMoUTF8DecoderFilter -------------------------------------------------------------------

HxClass ZevMoUTF8DecoderFilter::classObject() noexcept {
  static const HxClassInfo info{"ZevMoUTF8DecoderFilter",
                                ZevMoCharacterStream::classObject().info(),
                                []() -> HxAny { return init(); }};
  return HxClass(&info);
}

void ZevMoUTF8DecoderFilter::streamProcessBytes(ZevMoStream* stream, const HxData& utf8Data) {
  MO_OPERATION("-[ZevMoUTF8DecoderFilter stream:processBytes:]");
  MoCheckInstance(stream, ZevMoStream);
  MoCheckInstance(utf8Data, HxData);
  const HxData working = takeBufferedBytesBefore(utf8Data);
  const HxUInteger utf8DataLength = working.length();
  HxUInteger numDecodedBytes = 0;
  const HxString string = initWithPotentiallyMalformedUTF8Bytes(working.bytes(), utf8DataLength,
                                                                true, &numDecodedBytes, nullptr);
  MoCheckString(string);
  MoAssert(numDecodedBytes <= utf8DataLength);
  if (numDecodedBytes < utf8DataLength) {
    holdBack(working.bytes() + numDecodedBytes, utf8DataLength - numDecodedBytes);
  }
  sendCharacters(string);
}

// Returns what was held back, if anything, with `data` after it.
HxData ZevMoUTF8DecoderFilter::takeBufferedBytesBefore(const HxData& data) {
  if (_numBufferedUTF8Bytes == 0) return data;
  HxData bytes = joined(_bufferedUTF8Bytes, _numBufferedUTF8Bytes, data);
  _numBufferedUTF8Bytes = 0;
  return bytes;
}

void ZevMoUTF8DecoderFilter::holdBack(const std::uint8_t* bytes, HxUInteger count) {
  MO_OPERATION("-[ZevMoUTF8DecoderFilter stream:processBytes:]");
  _numBufferedUTF8Bytes = count;
  MoAssertWithMessage(_numBufferedUTF8Bytes <= 4, "_numBufferedUTF8Bytes=%u"_hx,
                      _numBufferedUTF8Bytes);
  _numBufferedUTF8Bytes = std::min<std::uint64_t>(count, sizeof _bufferedUTF8Bytes);
  std::memcpy(_bufferedUTF8Bytes, bytes, _numBufferedUTF8Bytes);
}

void ZevMoUTF8DecoderFilter::streamDidEnd(ZevMoStream*) {
  MO_OPERATION("-[ZevMoUTF8DecoderFilter streamDidEnd:]");
  const HxAny alive = internal::keptAlive(this);
  if (_numBufferedUTF8Bytes != 0) {
    HxUInteger numDecodedBytes = 0;
    const HxString string = initWithPotentiallyMalformedUTF8Bytes(
        _bufferedUTF8Bytes, _numBufferedUTF8Bytes, false, &numDecodedBytes, nullptr);
    MoCheckString(string);
    MoAssert(numDecodedBytes == _numBufferedUTF8Bytes);
    sendCharacters(string);
  }
  sendStreamDidEnd();
}

// ---- ZevMoUTF8BufferFilter --------------------------------------------------------------------

HxClass ZevMoUTF8BufferFilter::classObject() noexcept {
  static const HxClassInfo info{"ZevMoUTF8BufferFilter", ZevMoByteStream::classObject().info(),
                                []() -> HxAny { return init(); }};
  return HxClass(&info);
}

void ZevMoUTF8BufferFilter::streamProcessBytes(ZevMoStream*, const HxData& data) {
  HxData working = data;
  if (_numSavedBytes != 0) {
    working = joined(_savedBytes, _numSavedBytes, data);
    _numSavedBytes = 0;
  }
  const HxUInteger length = working.length();
  if (length == 0) return;
  saveUnfinishedSequence(working.bytes(), length);
  if (_numSavedBytes == 0) {
    sendBytes(working);
  } else if (length != _numSavedBytes) {
    sendBytes(working.subdataWithRange({0, length - _numSavedBytes}));
  }
}

namespace {

// Returns how many bytes follow a lead byte; for F8 to FF, which lead nothing, as many as before.
unsigned continuationsAfter(std::uint8_t lead, unsigned expected) {
  return lead >= 0xF8 ? expected : lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
}

}  // namespace

// Deliberate: ASCII bytes change nothing here. Consumers are used to what becomes of damaged text.
void ZevMoUTF8BufferFilter::saveUnfinishedSequence(const std::uint8_t* bytes, HxUInteger length) {
  unsigned expected = 0;
  for (HxUInteger i = length - std::min<HxUInteger>(length, sizeof _savedBytes); i < length; ++i) {
    const std::uint8_t byte = bytes[i];
    if (byte < 0x80) continue;
    if (byte < 0xC0) {
      if (expected == 0) continue;
      --expected;
      if (expected > 0) {
        _savedBytes[_numSavedBytes++] = byte;
      } else {
        _numSavedBytes = 0;
      }
    } else {
      expected = continuationsAfter(byte, expected);
      if (expected == 0) continue;
      _numSavedBytes = 1;
      _savedBytes[0] = byte;
    }
  }
}

void ZevMoUTF8BufferFilter::streamDidEnd(ZevMoStream*) {
  _numSavedBytes = 0;
  sendStreamDidEnd();
}

// ---- ZevMoUTF8EncoderFilter -------------------------------------------------------------------

HxClass ZevMoUTF8EncoderFilter::classObject() noexcept {
  static const HxClassInfo info{"ZevMoUTF8EncoderFilter", ZevMoByteStream::classObject().info(),
                                []() -> HxAny { return init(); }};
  return HxClass(&info);
}

void ZevMoUTF8EncoderFilter::streamProcessCharacters(ZevMoStream*, const HxString& characters) {
  sendBytes(characters.dataUsingEncoding(HxUTF8StringEncoding));
}

void ZevMoUTF8EncoderFilter::streamDidEnd(ZevMoStream*) { sendStreamDidEnd(); }

}  // namespace rondel
