// SPDX-License-Identifier: MIT
#include "Rondel/core/propertylist/internal/DefaultsDomain.h"

namespace rondel::internal {

HxDictionary DefaultsDomain::contents() {
  if (!_copy) _copy = _current.copy();
  return _copy;
}

void DefaultsDomain::setObject(const HxHandle& value, const HxString& key) {
  DefaultsChanges change;  // made first: if memory is short, nothing has changed
  if (hasFile()) {
    change.emplace(key, value);
    _changes.reserve(_changes.size() + 1);
  }
  if (value && !_current) _current = HxMutableDictionary::dictionary();
  _copy = nullptr;
  if (value) {
    _current.setObject(value, key);
  } else {
    _current.removeObjectForKey(key);
  }
  if (!hasFile()) return;
  _changes.erase(key);
  _changes.merge(change);
}

void DefaultsDomain::takeReading(const DefaultsReading& reading, Reports& reports) {
  using State = DefaultsReading::State;
  reportReading(reading, reports);
  if (reading.state == State::missing || reading.state == State::whole) {
    setStored(_stored.refreshed(reading.entries));
  }
}

void DefaultsDomain::takeWriting(const DefaultsWriting& writing, const DefaultsChanges& changes,
                                 Reports& reports) {
  if (writing.error) {
    if (!_writeErrorIsLogged) {
      reports.push_back(
          HxString::stringWithFormat("Settings not written, will be tried again: %@"_hx,
                                     writing.error.localizedDescription()));
    }
    _writeErrorIsLogged = true;
    return;
  }
  reportReading(writing.found, reports);
  _writeErrorIsLogged = false;
  for (const auto& [key, value] : changes) {
    const auto entry = _changes.find(key);
    const bool isStillTheSame = entry != _changes.end() && entry->second.object() == value.object();
    if (isStillTheSame) _changes.erase(entry);
  }
  setStored(writing.contents);
}

void DefaultsDomain::reportReading(const DefaultsReading& reading, Reports& reports) {
  if (reading.error && !_readErrorIsLogged) {
    const HxString format = _stored.values ? "Settings not read again, the last ones stay: %@"_hx
                                           : "Settings treated as empty: %@"_hx;
    reports.push_back(HxString::stringWithFormat(format, reading.error.localizedDescription()));
  }
  _readErrorIsLogged = !reading.error.isNil();
}

void DefaultsDomain::setStored(const DefaultsContents& stored) {
  _stored = stored;
  _copy = nullptr;
  if (!_stored.values && _changes.empty()) {
    _current = nullptr;
  } else {
    _current = entriesWithChanges(_stored.values, _changes).mutableCopy();
  }
}

}  // namespace rondel::internal
