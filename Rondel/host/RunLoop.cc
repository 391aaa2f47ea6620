// SPDX-License-Identifier: MIT
#include "Rondel/host/RunLoop.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "Rondel/core/object/Exception.h"
#include "Rondel/core/propertylist/internal/ChangedDefaults.h"
#include "Rondel/host/Thread.h"
#include "Rondel/host/Timer.h"
#include "Rondel/host/internal/RunLoopImpl.h"

namespace rondel {

using internal::Closure;
using internal::kForever;
using internal::Poller;
using internal::RunLoopSource;
using internal::steadyNow;
using internal::SteadyTime;

namespace {

// The loop of this thread, or null when it has none yet.
thread_local HxRunLoop* loopOfThread = nullptr;

[[noreturn]] void raiseSystemError(const HxString& what) {
  HxException::raise(HxInternalInconsistencyException, "%@: %s"_hx, what, strerrordesc_np(errno));
}

}  // namespace

// ---- Loops and threads ------------------------------------------------------------------------

HxRunLoop::HxRunLoop() : _impl(new Impl) {}

HxRunLoop::~HxRunLoop() = default;

HxRunLoop::Impl::Impl() {
  modes = {{.isCommon = true}, {.isCommon = true}};
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

Ref<HxRunLoop> HxRunLoop::currentRunLoop() {
  if (!loopOfThread) {
    if (HxThread::isMainThread()) {
      loopOfThread = mainRunLoop().get();
    } else {
      // Closes the loop at the end of the thread, whoever holds it then.
      thread_local struct Closer {
        Ref<HxRunLoop> loop = makeRef<HxRunLoop>();
        ~Closer() {
          loop->_impl->close();
          loopOfThread = nullptr;
        }
      } closer;
      loopOfThread = closer.loop.get();
    }
  }
  return Ref<HxRunLoop>(loopOfThread);
}

void HxRunLoop::Impl::close() {
  releaseKept(0);
  std::vector<Slot> droppedSlots;
  std::map<TimerKey, TimerEntry> droppedTimers;
  std::deque<Call> droppedCalls;
  {
    const std::scoped_lock held(lock);
    closed = true;
    for (Slot& slot : slots) {
      if (!slot.source) continue;
      const Ref<RunLoopSource> source = slot.source;
      disarm(*source);
      unwatch(*source);
      erase(*source);
    }
    droppedSlots.swap(slots);
    droppedTimers.swap(timers);
    droppedCalls.swap(calls);
    poller.close();
  }
  for (auto& [key, entry] : droppedTimers) entry.timer->invalidate();
}

bool HxRunLoop::Impl::isOwnThread() const noexcept {
  return loopOfThread && loopOfThread->_impl.get() == this;
}

// The lock is held.
void HxRunLoop::Impl::wake() {
  if (wakeIsDue || isOwnThread() || !poller.isOpen()) return;
  wakeIsDue = true;
  poller.wake();
}

// ---- Modes ------------------------------------------------------------------------------------

void HxRunLoop::addCommonMode(const HxString& mode) {
  if (!mode) return;
  const std::scoped_lock held(_impl->lock);
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

// Whether what is in these modes takes part when this one runs.
bool HxRunLoop::Impl::includes(const ModeNumbers& set, unsigned mode) const {
  return std::any_of(set.begin(), set.end(), [&](unsigned one) {
    return one == mode || (one == kCommonModes && modes[mode].isCommon);
  });
}

bool HxRunLoop::Impl::hasAnythingToWaitFor(unsigned mode) const {
  const bool isCommon = modes[mode].isCommon;
  return modes[mode].armedSources > 0 || (isCommon && modes[kCommonModes].armedSources > 0) ||
         (isCommon && !calls.empty()) || nextDeadline(mode) != kForever;
}

// ---- Running ----------------------------------------------------------------------------------

// Begins with what is kept from outside any turn, and ends with letting it go.
class HxRunLoop::Impl::Turn {
 public:
  Turn(Impl& impl, unsigned mode)
      : _impl(impl),
        _mark(impl.depth == 0 ? 0 : impl.kept.size()),
        _outerMode(std::exchange(impl.runningMode, mode)) {
    ++_impl.depth;
    ++_impl.turns;
  }
  ~Turn() {
    _impl.releaseKept(_mark);
    --_impl.depth;
    const std::scoped_lock held(_impl.lock);
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
  std::unique_lock held(_impl->lock);
  const unsigned number = _impl->numberOfMode(mode);
  const bool hasAnything = number != Impl::kCommonModes && _impl->hasAnythingToWaitFor(number);
  if (hasAnything) _impl->openPoller();
  const Impl::Turn turn(*_impl, number);
  held.unlock();
  if (hasAnything) _impl->pass(number, deadline);
  internal::writeChangedDefaults();
  return hasAnything;
}

void HxRunLoop::run() { runUntil(kForever); }

void HxRunLoop::runUntilDate(const HxDate& limit) { runUntil(internal::steadyTimeOf(limit)); }

void HxRunLoop::runUntil(std::int64_t deadline) {
  struct Run {
    explicit Run(Impl& loop) : impl(loop) {
      const std::scoped_lock held(impl.lock);
      ++impl.runs;
    }
    ~Run() {
      const std::scoped_lock held(impl.lock);
      --impl.runs;
      impl.stopAsked = false;
    }
    bool isToStop() const {
      const std::scoped_lock held(impl.lock);
      return impl.stopAsked;
    }
    Impl& impl;
  } run(*_impl);
  while (runMode(HxDefaultRunLoopMode, deadline) && !run.isToStop() && steadyNow() < deadline) {
  }
}

void HxRunLoop::stop() {
  const std::scoped_lock held(_impl->lock);
  if (_impl->runs == 0) return;
  _impl->stopAsked = true;
  _impl->wake();
}

void HxRunLoop::retainUntilEndOfTurn(const HxHandle& object) { _impl->kept.push_back(object); }

bool HxRunLoop::isInPass() const noexcept { return _impl->depth > 0; }

// The last ones, until so many are left. What is let go of may keep others.
void HxRunLoop::Impl::releaseKept(std::size_t left) {
  while (kept.size() > left) {
    const HxAny last = std::move(kept.back());
    kept.pop_back();
  }
}

// The lock is held.
void HxRunLoop::Impl::openPoller() {
  if (!poller.open()) raiseSystemError("a run loop cannot wait"_hx);
}

// Goes on until a call was made, the deadline came, or nothing is left to wait for.
void HxRunLoop::Impl::pass(unsigned mode, SteadyTime deadline) {
  bool isOver = false;
  while (!isOver) {
    const std::uint64_t lastNumber = lastTimerNumber();  // what the calls set is for the next pass
    const bool called = makeCalls(mode);
    const bool fired = fireTimers(mode, lastNumber);
    const bool alreadyDone = called || fired;
    const bool dispatched = waitAndDispatch(mode, alreadyDone ? 0 : deadline);
    const std::scoped_lock held(lock);
    isOver = alreadyDone || dispatched || stopAsked || !hasAnythingToWaitFor(mode) ||
             steadyNow() >= deadline;
  }
}

std::uint64_t HxRunLoop::Impl::lastTimerNumber() {
  const std::scoped_lock held(lock);
  return timerNumber;
}

// Those that are there now; what they ask for in turn comes in the next pass.
bool HxRunLoop::Impl::makeCalls(unsigned mode) {
  std::unique_lock held(lock);
  if (!modes[mode].isCommon) return false;
  const std::size_t due = calls.size();
  for (std::size_t made = 0; made < due && !calls.empty(); ++made) {
    const Call call = std::move(calls.front());
    calls.pop_front();
    held.unlock();
    call.closure->call();
    held.lock();
  }
  return due > 0;
}

bool HxRunLoop::Impl::waitAndDispatch(unsigned mode, SteadyTime deadline) {
  std::size_t ready = 0;
  {
    const std::scoped_lock held(lock);
    watchArmedAgain(mode);
    batch.clear();
    for (const std::uint64_t token : alwaysReady) {
      const RunLoopSource* source = find(token);
      if (source->_armed && includes(source->_modes, mode)) batch.push_back(token);
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
// found by whatever comes next: no pass waits before it has made the calls that are there.
void HxRunLoop::Impl::noteWakeUp() {
  const std::scoped_lock held(lock);
  wakeIsDue = false;
}

// The lock is held. Sources that were taken out because they were ready while a mode ran that is
// not theirs.
void HxRunLoop::Impl::watchArmedAgain(unsigned mode) {
  std::erase_if(parked, [&](std::uint64_t token) {
    RunLoopSource* const source = find(token);
    if (!source || !source->_armed) return true;
    if (!includes(source->_modes, mode)) return false;
    watch(*source);
    return true;
  });
}

// The first tokens of the batch. It holds everything that is ready, so that no exit is told before
// a read that was ready too.
bool HxRunLoop::Impl::dispatch(unsigned mode, std::size_t count) {
  const std::uint64_t turn = turns;
  bool handled = false;
  for (const auto order : {RunLoopSource::Order::read, RunLoopSource::Order::exit}) {
    for (std::size_t index = 0; index < count; ++index) {
      RunLoopSource::Ready ready = nullptr;
      const Ref<HxObject> target = targetOf(batch[index], order, mode, ready);
      if (!target) continue;
      handled |= ready(*target);
      // A nested pass may have taken what the rest of this batch tells of. It will be told again.
      if (turns != turn) return true;
    }
  }
  return handled;
}

// Whom to call for a token that the system reported, if anyone.
Ref<HxObject> HxRunLoop::Impl::targetOf(std::uint64_t token, RunLoopSource::Order order,
                                        unsigned mode, RunLoopSource::Ready& ready) {
  if (token == Poller::kWakeUp) return nullptr;
  const std::scoped_lock held(lock);
  RunLoopSource* const source = find(token);
  if (!source || source->_order != order) return nullptr;
  if (!source->_armed || !includes(source->_modes, mode)) {
    // Nobody wants it now; left where it is, it would be reported again at once, for ever.
    if (source->_armed) parked.push_back(token);
    unwatch(*source);
    return nullptr;
  }
  ready = source->_ready;
  // When the target is just being destroyed on another thread, its destructor waits for the lock.
  return source->_target->retainIfAlive() ? Ref<HxObject>::adopt(source->_target) : nullptr;
}

// ---- Calls from other threads -----------------------------------------------------------------

void HxRunLoop::Impl::Waiter::wait() {
  std::unique_lock held(lock);
  change.wait(held, [this] { return done; });
}

void HxRunLoop::Impl::Waiter::finish() {
  const std::scoped_lock held(lock);
  done = true;
  change.notify_all();
}

void HxRunLoop::enqueue(Ref<Closure> closure, const HxObject* target, bool waitUntilDone) {
  if (waitUntilDone && currentRunLoop().get() == this) return closure->call();
  Impl::Call call(std::move(closure), target);
  if (waitUntilDone) call.waiter = std::make_shared<Impl::Waiter>();
  const std::shared_ptr<Impl::Waiter> waiter = call.waiter;
  {
    Impl::Call dropped = std::move(call);  // outlives the lock, if it is not taken
    const std::scoped_lock held(_impl->lock);
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

void HxRunLoop::cancelPerformSelectorsWithTarget(const HxObject* target) {
  if (!target) return;
  std::vector<Impl::Call> droppedCalls;  // outlive the lock
  std::vector<Ref<HxTimer>> droppedTimers;
  {
    const std::scoped_lock held(_impl->lock);
    for (auto& call : _impl->calls) {
      if (call.target == target) droppedCalls.push_back(std::move(call));
    }
    std::erase_if(_impl->calls, [](const Impl::Call& call) { return !call.closure; });
    for (auto& [key, entry] : _impl->timers) {
      if (entry.cancelTarget == target) droppedTimers.push_back(entry.timer);
    }
  }
  for (const auto& timer : droppedTimers) timer->invalidate();
}

}  // namespace rondel
