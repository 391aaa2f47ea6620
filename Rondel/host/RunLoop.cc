// SPDX-License-Identifier: MIT
//
// A run loop repeats one pass. It makes the calls that other threads asked for and fires the timers
// that are due. Then it waits in the poller and dispatches what that reports. It waits only if
// nothing was called before, and at most until the next timer. The poller reports tokens, never
// fds. So a descriptor that was closed and opened again meanwhile is not mistaken for the old one.
//
//   runMode(default, distantFuture)     a read is armed, a timer is due in 5 ms
//   makeCalls, fireTimers               nothing yet
//   poller.wait(5)                      another thread calls performBlock, which raises the wake-up
//   dispatch                            the wake-up is no source, so nothing was handled: again
//   makeCalls                           makes the call
//   poller.wait(0)                      the read is ready: dispatched too
//   end                                 returns true; what the calls asked for is for the next pass
#include "Rondel/host/RunLoop.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/object/internal/KeptAlive.h"
#include "Rondel/core/propertylist/internal/ChangedDefaults.h"
#include "Rondel/host/Thread.h"
#include "Rondel/host/Timer.h"
#include "Rondel/host/internal/RunLoopImpl.h"

namespace rondel {

using internal::Closure;
using internal::kForever;
using internal::MutexLock;
using internal::Poller;
using internal::RunLoopSource;
using internal::steadyNow;
using internal::SteadyTime;

namespace {

// The loop of this thread, or null: not made yet, or ended.
thread_local HxRunLoop* loopOfThread = nullptr;
thread_local bool loopOfThreadHasEnded = false;

[[noreturn]] void raiseSystemError(const HxString& what) {
  HxException::raise(HxInternalInconsistencyException, "%@: %s"_hx, what, strerrordesc_np(errno));
}

}  // namespace

// ---- Loops and threads ------------------------------------------------------------------------

HxRunLoop::HxRunLoop() : _impl(new Impl) {}

HxRunLoop::~HxRunLoop() = default;

HxRunLoop::Impl::Impl() {
  modes.resize(2);
  modes[kCommonModes].isCommon = true;
  modes[kDefaultMode].isCommon = true;
  modeNumbers = {{HxRunLoopCommonModes, kCommonModes}, {HxDefaultRunLoopMode, kDefaultMode}};
}

HxClass HxRunLoop::classObject() noexcept {
  static const HxClassInfo info{"HxRunLoop", HxObject::classObject().info()};
  return HxClass(&info);
}

Ref<HxRunLoop> HxRunLoop::mainRunLoop() {
  static const auto& loop = *new Ref<HxRunLoop>(makeRef<HxRunLoop>());  // lives to the very end
  return loop;
}

// Returns the loop that has ended, for threads that ask after their own one has.
Ref<HxRunLoop> HxRunLoop::endedRunLoop() {
  static const auto& loop = *[] {
    auto* const ended = new Ref<HxRunLoop>(makeRef<HxRunLoop>());
    (*ended)->_impl->close();
    return ended;
  }();
  return loop;
}

Ref<HxRunLoop> HxRunLoop::currentRunLoop() {
  if (loopOfThread) return Ref<HxRunLoop>(loopOfThread);
  if (loopOfThreadHasEnded) return endedRunLoop();
  if (HxThread::isMainThread()) {
    loopOfThread = mainRunLoop().get();
  } else {
    // Closes the loop at the end of the thread, whoever holds it then.
    thread_local const struct Closer {
      Ref<HxRunLoop> loop = makeRef<HxRunLoop>();
      ~Closer() {
        loop->_impl->close();
        loopOfThread = nullptr;
        loopOfThreadHasEnded = true;
      }
    } closer;
    loopOfThread = closer.loop.get();
  }
  return Ref<HxRunLoop>(loopOfThread);
}

void HxRunLoop::Impl::close() {
  releaseKept(0);
  std::vector<Slot> droppedSlots;  // these outlive the lock
  std::unordered_map<std::uint64_t, TimerEntry> droppedTimers;
  std::deque<Call> droppedCalls;
  {
    const MutexLock held(lock);
    closed = true;
    for (Slot& slot : slots) {
      if (!slot.source) continue;
      const Ref<RunLoopSource> source = slot.source;
      disarm(*source);
      unwatch(*source);
      erase(*source);
    }
    for (Mode& mode : modes) mode.timers.clear();
    delayedCalls.clear();
    droppedSlots.swap(slots);
    droppedTimers.swap(timers);
    droppedCalls.swap(calls);
    poller.close();
  }
  for (auto& [number, entry] : droppedTimers) entry.timer->invalidate();
}

bool HxRunLoop::Impl::isOwnThread() const noexcept {
  return loopOfThread && loopOfThread->_impl.get() == this;
}

void HxRunLoop::Impl::wake() {
  if (wakeIsDue || isOwnThread() || !poller.isOpen()) return;
  wakeIsDue = true;
  poller.wake();
}

// ---- Modes ------------------------------------------------------------------------------------

void HxRunLoop::addCommonMode(const HxString& mode) {
  if (!mode) return;
  const MutexLock held(_impl->lock);
  _impl->modes[_impl->numberOfMode(mode)].isCommon = true;
}

unsigned HxRunLoop::Impl::numberOfMode(const HxString& name) {
  const auto known = modeNumbers.find(name);
  if (known != modeNumbers.end()) return known->second;
  const auto number = static_cast<unsigned>(modes.size());
  modes.emplace_back();
  modeNumbers.emplace(name.copy(), number);
  return number;
}

// Returns whether what is in these modes takes part when this one runs.
bool HxRunLoop::Impl::includes(const ModeNumbers& set, unsigned mode) const {
  for (const unsigned one : set) {
    if (one == mode || (one == kCommonModes && modes[mode].isCommon)) return true;
  }
  return false;
}

bool HxRunLoop::Impl::hasAnythingToWaitFor(unsigned mode) const {
  const auto isInUse = [](const Mode& one) { return one.armedSources > 0 || !one.timers.empty(); };
  if (isInUse(modes[mode])) return true;
  return modes[mode].isCommon && (isInUse(modes[kCommonModes]) || !calls.empty());
}

// Returns whether a pass of the mode has something to do that the poller does not tell.
bool HxRunLoop::Impl::hasWorkNow(unsigned mode) const {
  if (modes[mode].isCommon && !calls.empty()) return true;
  for (const auto* tokens : {&alwaysReady, &parked}) {
    for (const std::uint64_t token : *tokens) {
      if (wants(token, mode)) return true;
    }
  }
  return false;
}

// ---- Running ----------------------------------------------------------------------------------

// Begins with what is kept from outside any turn, and ends with letting it go.
class HxRunLoop::Impl::Turn {
 public:
  Turn(Impl& impl, unsigned mode) RONDEL_REQUIRES(impl.lock)
      : _impl(impl),
        _mark(impl.depth == 0 ? 0 : impl.kept.size()),
        _outerMode(std::exchange(impl.runningMode, mode)) {
    ++_impl.depth;
    ++_impl.turns;
  }
  ~Turn() {
    _impl.releaseKept(_mark);
    --_impl.depth;
    const MutexLock held(_impl.lock);
    _impl.runningMode = _outerMode;
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  Impl& _impl;
  const std::size_t _mark;
  const unsigned _outerMode;
};

bool HxRunLoop::runMode(const HxString& mode, const HxDate& limit) {
  return runMode(mode, internal::steadyTimeOf(limit));
}

bool HxRunLoop::runMode(const HxString& mode, std::int64_t deadline) {
  if (!_impl->isOwnThread() && currentRunLoop().get() != this) {
    HxException::raise(HxInternalInconsistencyException,
                       "a run loop can be run on its own thread only"_hx);
  }
  if (!mode) return false;
  MutexLock held(_impl->lock);
  if (_impl->closed) return false;
  const unsigned number = _impl->numberOfMode(mode);
  const bool hasAnything = number != Impl::kCommonModes && _impl->hasAnythingToWaitFor(number);
  // Another loop polls the descriptor: a source that is no longer awaited must be taken off it.
  const bool looksOnly = !hasAnything && _impl->isEmbedded && number != Impl::kCommonModes;
  if (hasAnything) _impl->openPoller();
  const struct ChangesWritten {
    ~ChangesWritten() { internal::writeChangedDefaults(); }
  } afterTurn;
  const Impl::Turn turn(*_impl, number);
  held.unlock();
  if (hasAnything) _impl->pass(number, deadline);
  if (looksOnly) _impl->pass(number, 0);
  return hasAnything;
}

void HxRunLoop::run() { runUntil(kForever); }

void HxRunLoop::runUntilDate(const HxDate& limit) { runUntil(internal::steadyTimeOf(limit)); }

void HxRunLoop::runUntil(std::int64_t deadline) {
  struct Run {
    explicit Run(Impl& loop) : impl(loop) {
      const MutexLock held(impl.lock);
      ++impl.runs;
    }
    ~Run() {
      const MutexLock held(impl.lock);
      --impl.runs;
      impl.stopAsked = false;
    }
    bool isToStop() const {
      const MutexLock held(impl.lock);
      return impl.stopAsked;
    }
    Impl& impl;
  } run(*_impl);
  while (runMode(HxDefaultRunLoopMode, deadline) && !run.isToStop() && steadyNow() < deadline) {
  }
}

void HxRunLoop::stop() {
  const MutexLock held(_impl->lock);
  if (_impl->runs == 0) return;
  _impl->stopAsked = true;
  _impl->wake();
}

void HxRunLoop::retainUntilEndOfTurn(const HxHandle& object) {
  {
    const MutexLock held(_impl->lock);
    if (_impl->closed) return;
  }
  _impl->kept.push_back(object);
}

bool HxRunLoop::isInPass() const noexcept { return _impl->depth > 0; }

// Lets go of the last ones until so many are left. An object that goes may keep others.
void HxRunLoop::Impl::releaseKept(std::size_t left) {
  while (kept.size() > left) {
    const HxAny last = std::move(kept.back());
    kept.pop_back();
  }
}

// After a fork the new process waits for all sources with a poller of its own. If the system
// refuses one of them, the next call tries again.
void HxRunLoop::Impl::openPoller() {
  if (poller.isOpen() && !poller.isInherited()) return;
  Poller own;
  bool isWhole = own.open();
  for (const Slot& slot : slots) {
    if (!slot.source || !slot.source->_watched) continue;
    isWhole = isWhole && own.watch(slot.source->_descriptor->fd(), slot.source->_token) ==
                             Poller::Watching::started;
  }
  if (!isWhole) raiseSystemError("a run loop cannot wait"_hx);
  poller = std::move(own);
}

// Goes on until a call was made, the deadline came, or nothing is left to wait for.
void HxRunLoop::Impl::pass(unsigned mode, SteadyTime deadline) {
  bool isOver = false;
  while (!isOver) {
    const std::uint64_t lastNumber = lastTimerNumber();  // what the calls add is for the next pass
    const bool called = makeCalls(mode);
    const bool fired = fireTimers(mode, lastNumber);
    const bool alreadyDone = called || fired;
    const bool dispatched = waitAndDispatch(mode, alreadyDone ? 0 : deadline);
    const MutexLock held(lock);
    isOver = alreadyDone || dispatched || stopAsked || !hasAnythingToWaitFor(mode) ||
             steadyNow() >= deadline;
  }
}

std::uint64_t HxRunLoop::Impl::lastTimerNumber() {
  const MutexLock held(lock);
  return timerNumber;
}

// Makes the calls that are there now. What they ask for in turn comes in the next pass.
bool HxRunLoop::Impl::makeCalls(unsigned mode) {
  MutexLock held(lock);
  if (!modes[mode].isCommon) return false;
  const std::size_t due = calls.size();
  for (std::size_t made = 0; made < due && !calls.empty(); ++made) {
    Call call = std::move(calls.front());
    calls.pop_front();
    held.unlock();
    {
      const Call dropped = std::move(call);  // outside the lock
      dropped.closure->call();
    }
    held.lock();
  }
  return due > 0;
}

bool HxRunLoop::Impl::waitAndDispatch(unsigned mode, SteadyTime deadline) {
  std::size_t ready = 0;
  {
    const MutexLock held(lock);
    watchArmedAgain(mode);
    batch.clear();
    for (const std::uint64_t token : alwaysReady) {
      if (wants(token, mode)) batch.push_back(token);
    }
    ready = batch.size();
    batch.resize(ready + slots.size() + 1);  // all sources, and the wake-up
    deadline = ready == 0 ? std::min(deadline, nextDeadline(mode)) : 0;
  }
  const int count = poller.wait(internal::millisecondsUntil(deadline), batch.data() + ready,
                                batch.size() - ready);
  if (count < 0 && errno != EINTR) raiseSystemError("a run loop cannot wait"_hx);
  noteWakeUp();
  return dispatch(mode, ready + static_cast<std::size_t>(std::max(count, 0)));
}

// From here on another thread that wants attention has to write again. What was asked for before is
// found by whatever comes next. No pass waits before it has made the calls that are there.
void HxRunLoop::Impl::noteWakeUp() {
  const MutexLock held(lock);
  wakeIsDue = false;
}

// Watches the sources again that were ready, and taken out, while a mode ran that is not theirs.
void HxRunLoop::Impl::watchArmedAgain(unsigned mode) {
  for (std::size_t at = 0; at < parked.size();) {
    RunLoopSource* const source = find(parked[at]);
    const bool isArmed = source && source->_armed;
    if (isArmed && !includes(source->_modes, mode)) {
      ++at;
      continue;
    }
    if (isArmed) watch(*source);  // may raise, and is then tried again
    parked[at] = parked.back();
    parked.pop_back();
  }
}

// Dispatches the first tokens of the batch. It holds everything that is ready, so that no exit is
// reported before a read that was ready too.
bool HxRunLoop::Impl::dispatch(unsigned mode, std::size_t count) {
  const std::uint64_t turn = turns;
  bool handled = false;
  for (const auto order : {RunLoopSource::Order::read, RunLoopSource::Order::exit}) {
    for (std::size_t index = 0; index < count; ++index) {
      RunLoopSource::Ready ready = nullptr;
      const HxAny target = targetOf(batch[index], order, mode, ready);
      if (!target) continue;
      handled |= ready(*target.object());
      // A nested pass may have taken what the rest of this batch reports. It is reported again.
      if (turns != turn) return true;
    }
  }
  return handled;
}

// Returns the object to call for a token that the system reported, or nil.
HxAny HxRunLoop::Impl::targetOf(std::uint64_t token, RunLoopSource::Order order, unsigned mode,
                                RunLoopSource::Ready& ready) {
  if (token == Poller::kWakeUp) return nullptr;
  const MutexLock held(lock);
  RunLoopSource* const source = find(token);
  if (!source || source->_order != order) return nullptr;
  if (!wants(token, mode)) {
    // It is not wanted now. Left registered, it would be reported again at once, for ever.
    if (source->_armed) parked.push_back(token);
    unwatch(*source);
    return nullptr;
  }
  ready = source->_ready;
  // While another thread destroys the target, its destructor waits for the lock.
  return internal::keptAlive(source->_target);
}

// ---- Inside another loop ------------------------------------------------------------------------

int HxRunLoop::fileDescriptor() {
  const MutexLock held(_impl->lock);
  if (_impl->closed) return -1;
  _impl->openPoller();
  _impl->isEmbedded = true;
  return _impl->poller.fd();
}

int HxRunLoop::pollTimeout(const HxString& mode) const {
  constexpr int kForEver = -1;
  const MutexLock held(_impl->lock);
  const auto known = _impl->modeNumbers.find(mode);
  if (known == _impl->modeNumbers.end() || known->second == Impl::kCommonModes) return kForEver;
  if (_impl->hasWorkNow(known->second)) return 0;
  return internal::millisecondsUntil(_impl->nextDeadline(known->second));
}

// ---- Calls from other threads -----------------------------------------------------------------

void HxRunLoop::Impl::Waiter::wait() {
  const MutexLock held(_lock);
  while (!_isDone) _change.wait(_lock);
}

void HxRunLoop::Impl::Waiter::finish() {
  const MutexLock held(_lock);
  _isDone = true;
  _change.notifyAll();
}

void HxRunLoop::enqueue(Ref<Closure> closure, const HxObject* target, bool waitUntilDone) {
  if (waitUntilDone && currentRunLoop().get() == this && _impl->isOwnThread()) {
    return closure->call();
  }
  Impl::Call call(std::move(closure), target);
  if (waitUntilDone) call.waiter = std::make_shared<Impl::Waiter>();
  const std::shared_ptr<Impl::Waiter> waiter = call.waiter;
  {
    Impl::Call dropped = std::move(call);  // outlives the lock, if it is not taken
    const MutexLock held(_impl->lock);
    if (!_impl->closed) {
      _impl->calls.push_back(std::move(dropped));
      _impl->wake();
    }
  }
  if (waiter) waiter->wait();
}

void HxRunLoop::performSelector(HxSelector selector, const HxHandle& target,
                                const HxHandle& argument, bool waitUntilDone) {
  if (!target) return;
  enqueue(internal::makeClosure([selector, target = HxAny(target), argument = HxAny(argument)] {
            target.performSelector(selector, argument);
          }),
          target.object(), waitUntilDone);
}

void HxRunLoop::performSelectorAfterDelay(HxSelector selector, const HxHandle& target,
                                          const HxHandle& argument, HxTimeInterval seconds) {
  if (!target) return;
  enqueueAfterDelay(
      internal::makeClosure([selector, target = HxAny(target), argument = HxAny(argument)] {
        target.performSelector(selector, argument);
      }),
      target.object(), seconds);
}

std::vector<Ref<HxTimer>> HxRunLoop::Impl::timersOfDelayedCalls(const HxObject* target) const {
  std::vector<Ref<HxTimer>> found;
  const std::uintptr_t identity = identityOf(target);
  for (auto place = delayedCalls.lower_bound({identity, 0});
       place != delayedCalls.end() && place->first == identity; ++place) {
    found.push_back(timers.find(place->second)->second.timer);
  }
  return found;
}

void HxRunLoop::cancelPerformSelectorsWithTarget(const HxObject* target) {
  if (!target) return;
  std::vector<Impl::Call> droppedCalls;  // outlive the lock
  std::vector<Ref<HxTimer>> droppedTimers;
  {
    const MutexLock held(_impl->lock);
    droppedTimers = _impl->timersOfDelayedCalls(target);
    droppedCalls.reserve(_impl->calls.size());  // nothing fails after this
    for (auto& call : _impl->calls) {
      if (call.target == target) droppedCalls.push_back(std::move(call));
    }
    std::erase_if(_impl->calls, [](const Impl::Call& call) { return !call.closure; });
  }
  for (const auto& timer : droppedTimers) timer->invalidate();
}

}  // namespace rondel
