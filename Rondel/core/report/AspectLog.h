// SPDX-License-Identifier: MIT
//
// Aspect logging: diagnostics by topic, with levels and indentation.
//
// Each message belongs to an aspect, a short name for a topic, and has a level. An aspect has a
// level too, 0 by default. HxLog writes a message if the aspect's level is at least the message's.
//
//   constexpr HxString kScanner = "Scanner"_hx;
//   MO_LOG(kScanner, 2, "%@: %d headers"_hx, path, count);     // the usual call site
//   MoLogIndent(kScanner, 1, "scanning %@"_hx, path);           // indents what follows
//   MoLogOutdent(kScanner, 1, "scanned"_hx);
//
// Levels come from the user's defaults. A key with the suffix "LogLevel", in any domain, sets the
// level of the aspect before it (ScannerLogLevel = 2). They are read once, at the first query.
// After that, MoSetLogDetailLevelForAspect changes them.
//
// Indentation is "|  " for each level, before the message. The indent level is one number for all
// aspects and threads. It has no limit, but no line is indented deeper than level 65,536.
//
// Cost. A MO_LOG that is off costs a byte load and a branch, whether other aspects are on or not.
// The call site remembers the level of its aspect until any level changes. Its arguments are not
// evaluated. A query by name takes no lock and costs a table look-up.
//
// Threads. Any thread may log and set levels. One recursive lock, the log lock, guards the setting
// of levels and the indentation texts. It is held for the whole of _MoLogv, until the line is
// written. Nothing is destroyed at exit.
//
// Errors. Logging reports no failure. A message is dropped if there is no memory for it, or for
// asking whether it is wanted. Getting or setting a level throws std::bad_alloc then, and no level
// is lost.
#pragma once

#include "Rondel/core/text/String.h"

namespace rondel {

class HxBundle;

// ---- Levels of aspects --------------------------------------------------------------------------

// Returns the aspect's level, 0 by default. A nil or empty aspect fails a check. After that, the
// empty one is read like any other, and nil reads as 0.
RONDEL_EXPORT HxUInteger MoGetLogDetailLevelForAspect(const HxString& aspect);
// Sets the aspect's level. A nil or empty aspect fails a check. After that, the empty one is set
// like any other. Nil sets no level, but a level other than 0 sets _MoLogSomeLoggingIsEnabled.
RONDEL_EXPORT void MoSetLogDetailLevelForAspect(const HxString& aspect, HxUInteger level);

namespace internal {

// A bool that threads share.
class LogFlag {
 public:
  constexpr explicit LogFlag(bool value) noexcept : _byte(value) {}
  operator bool() const noexcept {  // NOLINT: it is a bool
    return __atomic_load_n(&_byte, __ATOMIC_RELAXED) != 0;
  }
  void set(bool value) noexcept {
    __atomic_store_n(&_byte, static_cast<std::uint8_t>(value), __ATOMIC_RELAXED);
  }

 private:
  std::uint8_t _byte;
};

}  // namespace internal

// True if any aspect ever had a level other than 0: a fast test before a query by name. It is true
// until the first such query, so that this query is made. Once a level other than 0 has
// been set it stays true.
RONDEL_EXPORT extern internal::LogFlag _MoLogSomeLoggingIsEnabled;

// ---- Messages -----------------------------------------------------------------------------------

// Writes the message if the aspect's level is at least `level`. A nil format writes nothing.
RONDEL_EXPORT void MoLogv(const HxString& aspect, HxUInteger level, const HxString& format,
                          HxArguments arguments);
template <class... Arguments>
void MoLog(const HxString& aspect, HxUInteger level, const HxString& format,
           const Arguments&... arguments) {
  MoLogv(aspect, level, format, HxArgumentPack(arguments...));
}

// Writes at any level, and holds the log lock until the line is written.
RONDEL_EXPORT void _MoLogv(const HxString& format, HxArguments arguments);
template <class... Arguments>
void _MoLog(const HxString& format, const Arguments&... arguments) {
  _MoLogv(format, HxArgumentPack(arguments...));
}

// ---- Indentation --------------------------------------------------------------------------------

// Returns the indent level of the process.
RONDEL_EXPORT HxUInteger MoGetLogIndentLevel() noexcept;
// Sets the indent level of the process.
RONDEL_EXPORT void MoSetLogIndentLevel(HxUInteger level) noexcept;

namespace internal {
RONDEL_EXPORT bool isLogged(const HxString& aspect, HxUInteger level);
RONDEL_EXPORT void logIndent(const HxString& format, HxArguments arguments);
RONDEL_EXPORT void logOutdent(const HxString& format, HxArguments arguments);
}  // namespace internal

// Writes, and adds 1 to the indent level. A nil format writes nothing but adds 1.
template <class... Arguments>
void _MoLogIndent(const HxString& format, const Arguments&... arguments) {
  internal::logIndent(format, HxArgumentPack(arguments...));
}
// Subtracts 1 from the indent level unless that is 0, and writes. So the message is as deep as the
// one of the indent. A nil format writes nothing but subtracts 1.
template <class... Arguments>
void _MoLogOutdent(const HxString& format, const Arguments&... arguments) {
  internal::logOutdent(format, HxArgumentPack(arguments...));
}

// Do the same if the aspect's level is at least `level`. Otherwise they do nothing, so that an
// aspect that is off never indents the lines of the others.
template <class... Arguments>
void MoLogIndent(const HxString& aspect, HxUInteger level, const HxString& format,
                 const Arguments&... arguments) {
  if (internal::isLogged(aspect, level)) _MoLogIndent(format, arguments...);
}
template <class... Arguments>
void MoLogOutdent(const HxString& aspect, HxUInteger level, const HxString& format,
                  const Arguments&... arguments) {
  if (internal::isLogged(aspect, level)) _MoLogOutdent(format, arguments...);
}

// ---- Call sites ---------------------------------------------------------------------------------

namespace internal {

// What a call site remembers of its aspect's level. It has static storage. The log makes it forget
// when a level changes, as long as its registration lives.
class LogSite {
 public:
  constexpr LogSite() noexcept = default;
  LogSite(const LogSite&) = delete;
  LogSite& operator=(const LogSite&) = delete;

  // Returns whether a message of this level is known not to be written.
  bool isOff(HxUInteger level) const noexcept {
    const std::uint8_t known = __atomic_load_n(&_level, __ATOMIC_RELAXED);
    return known < level && level <= kUnknown;
  }
  // Returns whether a message of this level is written, and remembers the aspect's level.
  RONDEL_EXPORT bool ask(const HxString& aspect, HxUInteger level);

  // Ends when the site's code does: at exit, or when its shared library is unloaded.
  class Registration {
   public:
    RONDEL_EXPORT explicit Registration(LogSite& site);
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    RONDEL_EXPORT ~Registration();

   private:
    LogSite& _site;
  };

  // Makes every registered site ask again.
  static void forgetAll();

 private:
  // Also means every level that does not fit a byte.
  static constexpr std::uint8_t kUnknown = 255;

  void remember(std::uint8_t level) noexcept { __atomic_store_n(&_level, level, __ATOMIC_SEQ_CST); }

  std::uint8_t _level = kUnknown;
  LogSite* _next = nullptr;
  LogSite* _previous = nullptr;
};

}  // namespace internal

// Returns whether a message would be written: _MoLogSomeLoggingIsEnabled is set and the aspect's
// level is at least `level`. At one place in the code the aspect must be the same each time; the
// level may vary.
#define MO_LOG_IS_ENABLED(aspect, level)                                              \
  ([&]() -> bool {                                                                    \
    static constinit ::rondel::internal::LogSite moLogSite;                           \
    if (moLogSite.isOff(level)) [[likely]]                                            \
      return false;                                                                   \
    static const ::rondel::internal::LogSite::Registration moRegistration(moLogSite); \
    return moLogSite.ask(aspect, level);                                              \
  }())

// MoLog that evaluates its arguments only if the message is written.
#define MO_LOG(aspect, level, format, ...)                 \
  do {                                                     \
    if (MO_LOG_IS_ENABLED(aspect, level)) [[unlikely]] {   \
      ::rondel::_MoLog(format __VA_OPT__(, ) __VA_ARGS__); \
    }                                                      \
  } while (false)

// ---- Localised strings --------------------------------------------------------------------------

// Switches the marking of localised strings on or off for the whole process. A tool that runs with
// it on shows which of its strings came from a table. Only the low byte of the flag counts.
RONDEL_EXPORT void ZevMoSetCheckingOfLocalizedStrings(int flag) noexcept;

// Returns the bundle's localizedStringForKey. While marking is on, every string begins with an
// exclamation mark. One that the table lacks is in capitals: `value`, or `key` if the value is nil
// or empty. Returns nil if the bundle is nil, or if all else is.
RONDEL_EXPORT HxString ZevMoCheckLocalizedStringInBundle(const HxBundle& bundle,
                                                         const HxString& key, const HxString& value,
                                                         const HxString& table);

}  // namespace rondel
