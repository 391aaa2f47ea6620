// SPDX-License-Identifier: MIT
#include "Rondel/core/report/AspectLog.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <utility>

#include "Rondel/core/collections/Array.h"
#include "Rondel/core/collections/Dictionary.h"
#include "Rondel/core/object/internal/Mutex.h"
#include "Rondel/core/propertylist/Bundle.h"
#include "Rondel/core/propertylist/UserDefaults.h"
#include "Rondel/core/report/Check.h"
#include "Rondel/core/report/Log.h"
#include "Rondel/core/report/internal/AspectLogState.h"
#include "Rondel/core/report/internal/AspectMap.h"
#include "Rondel/core/values/Number.h"

namespace rondel {

constinit internal::LogFlag _MoLogSomeLoggingIsEnabled(true);

namespace {

constexpr HxString kLevelSuffix = "LogLevel"_hx;
constexpr HxString kIndentationUnit = "|  "_hx;

// The log lock. The routines nest: the thread that holds it may take it again.
class RONDEL_CAPABILITY("mutex") LogLock {
 public:
  void lock() RONDEL_ACQUIRE() { _mutex.lock(); }
  void unlock() RONDEL_RELEASE() { _mutex.unlock(); }

 private:
  std::recursive_mutex _mutex;
};

constinit LogLock logLock;

class RONDEL_SCOPED_CAPABILITY LogLockGuard {
 public:
  explicit LogLockGuard(LogLock& lock) RONDEL_ACQUIRE(lock) : _lock(lock) { _lock.lock(); }
  LogLockGuard(const LogLockGuard&) = delete;
  LogLockGuard& operator=(const LogLockGuard&) = delete;
  ~LogLockGuard() RONDEL_RELEASE() { _lock.unlock(); }

 private:
  LogLock& _lock;
};

constinit internal::AspectMap aspectMap;
// Set once the defaults have been read. Read without the lock.
constinit std::atomic<bool> aspectMapExists{false};

// ---- Levels of aspects --------------------------------------------------------------------------

// Counts the changes of levels.
constinit std::atomic<std::uint64_t> epoch{0};

// Deliberate: the epoch comes before forgetAll, see LogSite::ask.
void storeLevel(const HxString& aspect, HxUInteger level) RONDEL_REQUIRES(logLock) {
  aspectMap.setLevel(aspect, level);
  if (level != 0) _MoLogSomeLoggingIsEnabled.set(true);
  ++epoch;
  internal::LogSite::forgetAll();
}

void checkAndStoreLevel(const HxString& aspect, HxUInteger level) {
  MO_FUNCTION("void MoSetLogDetailLevelForAspect(HxString *, HxUInteger)");
  MoCheckNonEmptyString(aspect);
  const LogLockGuard guard(logLock);
  storeLevel(aspect, level);
}

HxUInteger levelFrom(const HxHandle& value) {
  const HxInteger level = HxNumber::canHold(value.object()) ? as<HxNumber>(value).integerValue()
                                                            : as<HxString>(value).integerValue();
  return static_cast<HxUInteger>(level);
}

// Deliberate: the key that is the suffix alone comes last. It fails a check, whose sink may raise,
// and that must not cost the other levels.
void takeLevelsFrom(const HxDictionary& defaults) {
  for (const auto& [key, value] : defaults) {
    const HxString name = as<HxString>(key);
    if (!name.hasSuffix(kLevelSuffix) || name.length() == kLevelSuffix.length()) continue;
    checkAndStoreLevel(name.substringToIndex(name.length() - kLevelSuffix.length()),
                       levelFrom(value));
  }
  const HxAny nameless = defaults.objectForKey(kLevelSuffix);
  if (nameless) checkAndStoreLevel(""_hx, levelFrom(nameless));
}

// Deliberate: reads the defaults before it takes the lock, since they may log.
void buildAspectMap() {
  const HxDictionary defaults = HxUserDefaults::standardUserDefaults()->dictionaryRepresentation();
  const LogLockGuard guard(logLock);
  if (aspectMapExists.load(std::memory_order_relaxed)) return;
  struct Publish {
    bool isComplete = true;
    ~Publish() { aspectMapExists.store(isComplete, std::memory_order_release); }
  } publish;  // also if a failure sink raises
  _MoLogSomeLoggingIsEnabled.set(false);
  try {
    takeLevelsFrom(defaults);
  } catch (const std::bad_alloc&) {
    publish.isComplete = false;
    _MoLogSomeLoggingIsEnabled.set(true);  // the next query reads them again
    throw;
  }
}

// Reads the levels from the defaults, once. Queries of this thread meanwhile see the levels that
// have been read so far.
void ensureAspectMap() {
  thread_local bool isBuilding = false;
  if (aspectMapExists.load(std::memory_order_acquire) || isBuilding) return;
  struct Building {
    Building() noexcept { isBuilding = true; }
    ~Building() { isBuilding = false; }
  } const building;
  buildAspectMap();
}

}  // namespace

HxUInteger MoGetLogDetailLevelForAspect(const HxString& aspect) {
  MO_FUNCTION("HxUInteger MoGetLogDetailLevelForAspect(HxString *)");
  ensureAspectMap();
  MoCheckNonEmptyString(aspect);
  return aspectMap.levelOf(aspect);
}

void MoSetLogDetailLevelForAspect(const HxString& aspect, HxUInteger level) {
  ensureAspectMap();
  checkAndStoreLevel(aspect, level);
}

bool internal::isLogged(const HxString& aspect, HxUInteger level) try {
  return MoGetLogDetailLevelForAspect(aspect) >= level;
} catch (const std::bad_alloc&) {
  return false;
}

// ---- Call sites ---------------------------------------------------------------------------------

namespace {
constinit internal::Mutex siteLock;  // held for moments; no other lock is taken inside
constinit internal::LogSite* firstSite RONDEL_GUARDED_BY(siteLock) = nullptr;
}  // namespace

internal::LogSite::Registration::Registration(LogSite& site) : _site(site) {
  const internal::MutexLock guard(siteLock);
  site._next = firstSite;
  if (firstSite) firstSite->_previous = &site;
  firstSite = &site;
}

internal::LogSite::Registration::~Registration() {
  const internal::MutexLock guard(siteLock);
  if (_site._previous) {
    _site._previous->_next = _site._next;
  } else {
    firstSite = _site._next;
  }
  if (_site._next) _site._next->_previous = _site._previous;
  _site.remember(kUnknown);
}

void internal::LogSite::forgetAll() {
  const internal::MutexLock guard(siteLock);
  for (LogSite* site = firstSite; site; site = site->_next) site->remember(kUnknown);
}

// A level that is set meanwhile must not leave an old one in the site. Setting a level counts the
// epoch and then makes the sites forget. So either forgetting comes after the store here, or the
// epoch that is read after the store has changed. The level of an aspect that fails its check is
// not kept, so that the check fails at each query.
bool internal::LogSite::ask(const HxString& aspect, HxUInteger level) try {
  const bool isAnyEnabled = _MoLogSomeLoggingIsEnabled;
  ensureAspectMap();
  const std::uint64_t epochBefore = epoch;
  const HxUInteger current =
      isAnyEnabled ? MoGetLogDetailLevelForAspect(aspect) : aspectMap.levelOf(aspect);
  if (current < kUnknown - 1U && !aspect.isEmpty()) remember(static_cast<std::uint8_t>(current));
  if (epoch != epochBefore) remember(kUnknown);
  return isAnyEnabled && current >= level;
} catch (const std::bad_alloc&) {
  return false;
}

// ---- Indentation --------------------------------------------------------------------------------

namespace {

constinit std::atomic<HxUInteger> indentLevel{0};

// Deeper texts are made each time. A table of them would take memory quadratic in the level.
constexpr HxUInteger kKeptIndentations = 1024;
// The level that is shown for all deeper ones, such as one that was counted below 0.
constexpr HxUInteger kDeepestIndentation = 65536;

// Returns the table whose element i is the text for level i.
HxMutableArray& indentationTable() RONDEL_REQUIRES(logLock) {
  static HxMutableArray& table = *new HxMutableArray(nullptr);  // never destroyed
  if (!table) {
    table = HxMutableArray::arrayWithObjects({""_hx, "|  "_hx, "|  |  "_hx, "|  |  |  "_hx});
  }
  return table;
}

HxString indentationText(HxUInteger level) {
  const LogLockGuard guard(logLock);
  HxMutableArray& table = indentationTable();
  while (table.count() <= std::min(level, kKeptIndentations - 1)) {
    table.addObject(as<HxString>(table.lastObject()).stringByAppendingString(kIndentationUnit));
  }
  if (level < table.count()) return table.objectAtIndex<HxString>(level).copy();
  HxMutableString text = HxMutableString::stringWithString(as<HxString>(table.lastObject()));
  for (HxUInteger at = table.count() - 1; at < std::min(level, kDeepestIndentation); ++at) {
    text.appendString(kIndentationUnit);
  }
  return text.copy();
}

}  // namespace

HxUInteger MoGetLogIndentLevel() noexcept { return indentLevel.load(std::memory_order_relaxed); }

void MoSetLogIndentLevel(HxUInteger level) noexcept {
  indentLevel.store(level, std::memory_order_relaxed);
}

// ---- Messages -----------------------------------------------------------------------------------

namespace {

// A mutable string that is kept from one line to the next. A caller that composes a format takes it
// out and puts it back. A second caller meanwhile, on another thread or in a description that logs,
// finds none and makes its own.
class SpareString {
 public:
  constexpr SpareString() noexcept = default;

  HxMutableString take() {
    HxObject* const kept = _kept.exchange(nullptr, std::memory_order_acquire);
    return kept ? HxMutableString(HxAny::Unchecked{}, HxAny::adopt(kept))
                : HxMutableString::string();
  }
  void putBack(const HxMutableString& string) noexcept {
    string.object()->retain();
    HxObject* const other = _kept.exchange(string.object(), std::memory_order_acq_rel);
    if (other) other->release();
  }

 private:
  std::atomic<HxObject*> _kept{nullptr};
};

constinit SpareString indentedFormat;        // of MoLogv
constinit SpareString lockedIndentedFormat;  // of _MoLogv

// The indentation is part of the format. The line is dropped if there is no memory for it.
void write(SpareString& spare, const HxString& format, HxArguments arguments) try {
  const HxUInteger level = MoGetLogIndentLevel();
  if (level == 0 || !format) return HxLogv(format, arguments);
  HxMutableString indented = spare.take();
  indented.setString(indentationText(level));
  indented.appendString(format);
  HxLogv(indented, arguments);
  spare.putBack(indented);
} catch (const std::bad_alloc&) {
  return;
}

}  // namespace

void MoLogv(const HxString& aspect, HxUInteger level, const HxString& format,
            HxArguments arguments) {
  if (internal::isLogged(aspect, level)) write(indentedFormat, format, arguments);
}

void _MoLogv(const HxString& format, HxArguments arguments) {
  const LogLockGuard guard(logLock);
  write(lockedIndentedFormat, format, arguments);
}

void internal::logIndent(const HxString& format, HxArguments arguments) {
  if (format) _MoLogv(format, arguments);
  indentLevel.fetch_add(1, std::memory_order_relaxed);
}

void internal::logOutdent(const HxString& format, HxArguments arguments) {
  HxUInteger level = MoGetLogIndentLevel();
  while (level > 0 && !indentLevel.compare_exchange_weak(level, level - 1)) {
  }
  if (format) _MoLogv(format, arguments);
}

// ---- For tests ----------------------------------------------------------------------------------

void internal::resetAspectLog() {
  const LogLockGuard guard(logLock);
  aspectMap.clear();
  aspectMapExists.store(false);
  _MoLogSomeLoggingIsEnabled.set(true);
  ++epoch;
  LogSite::forgetAll();
  MoSetLogIndentLevel(0);
  indentationTable() = nullptr;
}

HxUInteger internal::indentationTableCount() {
  const LogLockGuard guard(logLock);
  return indentationTable().count();
}

// ---- Localised strings --------------------------------------------------------------------------

namespace {
constinit internal::LogFlag checksLocalizedStrings(false);
constexpr HxString kMissing = "**>>Funky!Stuff!NonLocalizedString<<**"_hx;
}  // namespace

void ZevMoSetCheckingOfLocalizedStrings(int flag) noexcept {
  checksLocalizedStrings.set(static_cast<std::uint8_t>(flag) != 0);
}

HxString ZevMoCheckLocalizedStringInBundle(const HxBundle& bundle, const HxString& key,
                                           const HxString& value, const HxString& table) {
  if (!checksLocalizedStrings) return bundle.localizedStringForKey(key, value, table);
  HxString text = bundle.localizedStringForKey(key, kMissing, table);
  if (text.isEqualToString(kMissing)) text = (value.isEmpty() ? key : value).uppercaseString();
  return text ? HxString::stringWithFormat("!%@"_hx, text) : HxString();
}

}  // namespace rondel
