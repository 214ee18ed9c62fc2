// ZRThreadsTest.cpp: detached threads, mutexes and conditions: results, argument checks, and the
// ERROR lines of failing POSIX calls, provoked with error-checking mutexes where POSIX reports
// misuse, and by failing the calls that never fail on their own in this process.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "TestSupport.h"

namespace {

// The error number each stand-in below returns while non-zero; 0 lets the real call through.
std::atomic<int> gFailMutexInit{0};
std::atomic<int> gFailCondInit{0};
std::atomic<int> gFailCondDestroy{0};
std::atomic<int> gFailCondSignal{0};
std::atomic<int> gFailCreate{0};
std::atomic<int> gFailDetach{0};
// pthread_create and pthread_detach report through errno as well, so that a test can tell the
// errno text from the returned number's.
std::atomic<int> gErrnoOnFailure{0};

template <class Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The program's own definitions come before the C library's for every caller, the library's
// included: each passes through unless a test arms its failure.
extern "C" {

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
  if (int error = gFailMutexInit.load()) return error;
  static auto next = Next<int (*)(pthread_mutex_t*, const pthread_mutexattr_t*)>("pthread_mutex_init");
  return next(mutex, attributes);
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
  if (int error = gFailCondInit.load()) return error;
  static auto next = Next<int (*)(pthread_cond_t*, const pthread_condattr_t*)>("pthread_cond_init");
  return next(condition, attributes);
}

int pthread_cond_destroy(pthread_cond_t* condition) {
  if (int error = gFailCondDestroy.load()) return error;
  static auto next = Next<int (*)(pthread_cond_t*)>("pthread_cond_destroy");
  return next(condition);
}

int pthread_cond_signal(pthread_cond_t* condition) {
  if (int error = gFailCondSignal.load()) return error;
  static auto next = Next<int (*)(pthread_cond_t*)>("pthread_cond_signal");
  return next(condition);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument) {
  if (int error = gFailCreate.load()) {
    errno = gErrnoOnFailure.load();
    return error;
  }
  static auto next = Next<int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
  return next(thread, attributes, start, argument);
}

int pthread_detach(pthread_t thread) {
  static auto next = Next<int (*)(pthread_t)>("pthread_detach");
  if (int error = gFailDetach.load()) {
    // The thread must not be left joinable for ever: detach it for real, then report failure.
    next(thread);
    errno = gErrnoOnFailure.load();
    return error;
  }
  return next(thread);
}

}  // extern "C"

namespace {

using zrtest::FormattedErrorLine;
using zrtest::WithoutLine;

class ThreadsTest : public zrtest::LeakCheckedTest {
 protected:
  void TearDown() override {
    gFailMutexInit = gFailCondInit = gFailCondDestroy = gFailCondSignal = gFailCreate = gFailDetach = 0;
    gErrnoOnFailure = 0;
    pool_.drain();
    LeakCheckedTest::TearDown();
  }

  // The one ERROR line the log holds, without its line number; "" when it holds none or more.
  std::string OnlyLine() {
    std::string line = log_.lines().size() == 1 ? WithoutLine(log_.lines()[0]) : "";
    log_.clear();
    return line;
  }

  static std::string Line(const char* function, CFStringRef format, const void* pointer) {
    return FormattedErrorLine(function, format, pointer);
  }

  static std::string ErrnoLine(const char* function, const char* call, int error) {
    std::string message = std::string(call) + " returns %@";
    CFStringRef format = CFStringCreateWithCString(nullptr, message.c_str(), kCFStringEncodingUTF8);
    std::string line = FormattedErrorLine(function, format, ZRErrnoErrorString(error));
    CFRelease(format);
    return line;
  }

  // Initialises an error-checking mutex, which reports misuse that a plain one lets pass.
  static void InitErrorChecking(pthread_mutex_t* mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    ASSERT_EQ(pthread_mutex_init(mutex, &attributes), 0);
    pthread_mutexattr_destroy(&attributes);
  }

  zrtest::LogCapture log_;
  NSAutoreleasePool pool_;
};

// ----- mutexes -----

TEST_F(ThreadsTest, MutexLifecycleExcludesOtherThreads) {
  pthread_mutex_t mutex;
  ASSERT_EQ(ZRCreateMutex(&mutex, true), noErr);
  ASSERT_EQ(ZRLockMutex(&mutex, true), noErr);
  // Another thread cannot take the mutex while this one holds it.
  bool otherGotIt = true;
  std::thread([&] { otherGotIt = pthread_mutex_trylock(&mutex) == 0; }).join();
  EXPECT_FALSE(otherGotIt);
  EXPECT_EQ(ZRUnlockMutex(&mutex, true), noErr);
  std::thread([&] {
    otherGotIt = pthread_mutex_trylock(&mutex) == 0;
    if (otherGotIt) pthread_mutex_unlock(&mutex);
  }).join();
  EXPECT_TRUE(otherGotIt);
  EXPECT_EQ(ZRDestroyMutex(&mutex, true), noErr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ThreadsTest, MutexIsPlainNotRecursive) {
  pthread_mutex_t mutex;
  ASSERT_EQ(ZRCreateMutex(&mutex, true), noErr);
  ASSERT_EQ(ZRLockMutex(&mutex, true), noErr);
  // A recursive mutex would let its holder take it again.
  EXPECT_EQ(pthread_mutex_trylock(&mutex), EBUSY);
  EXPECT_EQ(ZRUnlockMutex(&mutex, true), noErr);
  EXPECT_EQ(ZRDestroyMutex(&mutex, true), noErr);
}

TEST_F(ThreadsTest, MutexWrappersRefuseNull) {
  struct Case {
    OSStatus (*call)(pthread_mutex_t*, Boolean);
    const char* name;
    CFStringRef message;
  };
  const Case cases[] = {{ZRCreateMutex, "ZRCreateMutex", CFSTR("outMutex: %p")},
                        {ZRDestroyMutex, "ZRDestroyMutex", CFSTR("inMutex: %p")},
                        {ZRLockMutex, "ZRLockMutex", CFSTR("inMutex: %p")},
                        {ZRUnlockMutex, "ZRUnlockMutex", CFSTR("inMutex: %p")}};
  for (const Case& c : cases) {
    EXPECT_EQ(c.call(nullptr, true), paramErr) << c.name;
    EXPECT_EQ(OnlyLine(), Line(c.name, c.message, nullptr)) << c.name;
    EXPECT_EQ(c.call(nullptr, false), paramErr) << c.name;
    EXPECT_TRUE(log_.lines().empty()) << c.name;
  }
  // The NULL pointer prints as the platform prints it.
  EXPECT_EQ(ZRLockMutex(nullptr, true), -50);
  EXPECT_EQ(OnlyLine(), "ERROR inMutex: 0x0 (ZRLockMutex)");
}

TEST_F(ThreadsTest, LockingAnErrorCheckingMutexTwiceReportsDeadlock) {
  pthread_mutex_t mutex;
  InitErrorChecking(&mutex);
  ASSERT_EQ(ZRLockMutex(&mutex, true), noErr);
  EXPECT_EQ(ZRLockMutex(&mutex, true), unknownErr);
  EXPECT_EQ(OnlyLine(), ErrnoLine("ZRLockMutex", "pthread_mutex_lock", EDEADLK));
  EXPECT_EQ(ZRLockMutex(&mutex, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRUnlockMutex(&mutex, true), noErr);
  EXPECT_EQ(ZRDestroyMutex(&mutex, true), noErr);
}

TEST_F(ThreadsTest, UnlockingAMutexNotHeldReportsItsError) {
  pthread_mutex_t mutex;
  InitErrorChecking(&mutex);
  EXPECT_EQ(ZRUnlockMutex(&mutex, true), -2223);
  EXPECT_EQ(OnlyLine(), ErrnoLine("ZRUnlockMutex", "pthread_mutex_unlock", EPERM));
  EXPECT_NE(ErrnoLine("ZRUnlockMutex", "pthread_mutex_unlock", EPERM).find("EPERM"), std::string::npos);
  // Held by another thread is not held by this one.
  std::thread([&] { pthread_mutex_lock(&mutex); }).join();
  EXPECT_EQ(ZRUnlockMutex(&mutex, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ThreadsTest, DestroyingALockedMutexReportsBusy) {
  pthread_mutex_t mutex;
  ASSERT_EQ(ZRCreateMutex(&mutex, true), noErr);
  ASSERT_EQ(ZRLockMutex(&mutex, true), noErr);
  EXPECT_EQ(ZRDestroyMutex(&mutex, true), unknownErr);
  EXPECT_EQ(OnlyLine(), ErrnoLine("ZRDestroyMutex", "pthread_mutex_destroy", EBUSY));
  EXPECT_EQ(ZRDestroyMutex(&mutex, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRUnlockMutex(&mutex, true), noErr);
  EXPECT_EQ(ZRDestroyMutex(&mutex, true), noErr);
}

TEST_F(ThreadsTest, CreatingOverAnInitialisedMutexIsLeftToPOSIX) {
  pthread_mutex_t mutex;
  ASSERT_EQ(ZRCreateMutex(&mutex, true), noErr);
  // The wrapper does not look at the storage; the C library initialises it again.
  EXPECT_EQ(ZRCreateMutex(&mutex, true), noErr);
  EXPECT_EQ(ZRDestroyMutex(&mutex, true), noErr);
}

TEST_F(ThreadsTest, FailingMutexInitReportsTheReturnedNumber) {
  pthread_mutex_t mutex;
  gFailMutexInit = ENOMEM;
  errno = EINTR;  // the text is that of the returned number, never errno's
  EXPECT_EQ(ZRCreateMutex(&mutex, true), unknownErr);
  EXPECT_EQ(OnlyLine(), ErrnoLine("ZRCreateMutex", "pthread_mutex_init", ENOMEM));
  EXPECT_EQ(ZRCreateMutex(&mutex, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
}

// ----- conditions -----

TEST_F(ThreadsTest, ConditionWakesAWaiter) {
  pthread_mutex_t mutex;
  pthread_cond_t condition;
  ASSERT_EQ(ZRCreateMutex(&mutex, true), noErr);
  ASSERT_EQ(ZRCreateMutexCondition(&condition, true), noErr);
  bool ready = false;
  std::thread signaller([&] {
    NSAutoreleasePool pool;
    EXPECT_EQ(ZRLockMutex(&mutex, true), noErr);
    ready = true;
    EXPECT_EQ(ZRSignalMutexCondition(&condition, true), noErr);
    EXPECT_EQ(ZRUnlockMutex(&mutex, true), noErr);
  });
  ASSERT_EQ(ZRLockMutex(&mutex, true), noErr);
  while (!ready) ASSERT_EQ(ZRWaitForMutexCondition(&condition, &mutex, true), noErr);
  // Back from the wait with the mutex held again.
  EXPECT_EQ(pthread_mutex_trylock(&mutex), EBUSY);
  EXPECT_EQ(ZRUnlockMutex(&mutex, true), noErr);
  signaller.join();
  EXPECT_EQ(ZRDestroyMutexCondition(&condition, true), noErr);
  EXPECT_EQ(ZRDestroyMutex(&mutex, true), noErr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ThreadsTest, SignalWakesAtMostOneWaiter) {
  pthread_mutex_t mutex;
  pthread_cond_t condition;
  ASSERT_EQ(ZRCreateMutex(&mutex, true), noErr);
  ASSERT_EQ(ZRCreateMutexCondition(&condition, true), noErr);
  int waiting = 0;
  int tokens = 0;
  int woken = 0;
  auto waiter = [&] {
    NSAutoreleasePool pool;
    ZRLockMutex(&mutex, true);
    ++waiting;
    while (tokens == 0) ZRWaitForMutexCondition(&condition, &mutex, true);
    --tokens;
    ++woken;
    ZRUnlockMutex(&mutex, true);
  };
  std::thread first(waiter);
  std::thread second(waiter);
  for (;;) {
    ZRLockMutex(&mutex, true);
    bool both = waiting == 2;
    ZRUnlockMutex(&mutex, true);
    if (both) break;
    std::this_thread::yield();
  }
  // One token and one signal: one waiter goes on, the other keeps waiting.
  ZRLockMutex(&mutex, true);
  tokens = 1;
  ZRSignalMutexCondition(&condition, true);
  ZRUnlockMutex(&mutex, true);
  for (;;) {
    ZRLockMutex(&mutex, true);
    int done = woken;
    ZRUnlockMutex(&mutex, true);
    if (done == 1) break;
    std::this_thread::yield();
  }
  ZRLockMutex(&mutex, true);
  EXPECT_EQ(woken, 1);
  tokens = 1;
  ZRSignalMutexCondition(&condition, true);
  ZRUnlockMutex(&mutex, true);
  first.join();
  second.join();
  EXPECT_EQ(woken, 2);
  EXPECT_EQ(ZRDestroyMutexCondition(&condition, true), noErr);
  EXPECT_EQ(ZRDestroyMutex(&mutex, true), noErr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ThreadsTest, ConditionWrappersRefuseNull) {
  struct Case {
    OSStatus (*call)(pthread_cond_t*, Boolean);
    const char* name;
    CFStringRef message;
  };
  const Case cases[] = {{ZRCreateMutexCondition, "ZRCreateMutexCondition", CFSTR("outMutexCondition: %p")},
                        {ZRDestroyMutexCondition, "ZRDestroyMutexCondition", CFSTR("inMutexCondition: %p")},
                        {ZRSignalMutexCondition, "ZRSignalMutexCondition", CFSTR("inMutexCondition: %p")}};
  for (const Case& c : cases) {
    EXPECT_EQ(c.call(nullptr, true), paramErr) << c.name;
    EXPECT_EQ(OnlyLine(), Line(c.name, c.message, nullptr)) << c.name;
    EXPECT_EQ(c.call(nullptr, false), paramErr) << c.name;
    EXPECT_TRUE(log_.lines().empty()) << c.name;
  }
}

TEST_F(ThreadsTest, WaitRefusesEitherNullAndPrintsBoth) {
  pthread_mutex_t mutex;
  pthread_cond_t condition;
  EXPECT_EQ(ZRWaitForMutexCondition(nullptr, &mutex, true), paramErr);
  EXPECT_EQ(OnlyLine(), FormattedErrorLine("ZRWaitForMutexCondition", CFSTR("inMutexCondition: %p, inMutex: %p"),
                                           static_cast<void*>(nullptr), static_cast<void*>(&mutex)));
  EXPECT_EQ(ZRWaitForMutexCondition(&condition, nullptr, true), paramErr);
  EXPECT_EQ(OnlyLine(), FormattedErrorLine("ZRWaitForMutexCondition", CFSTR("inMutexCondition: %p, inMutex: %p"),
                                           static_cast<void*>(&condition), static_cast<void*>(nullptr)));
  EXPECT_EQ(ZRWaitForMutexCondition(nullptr, nullptr, false), paramErr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ThreadsTest, WaitingWithoutHoldingAnErrorCheckingMutexReportsItsError) {
  pthread_mutex_t mutex;
  InitErrorChecking(&mutex);
  pthread_cond_t condition;
  ASSERT_EQ(ZRCreateMutexCondition(&condition, true), noErr);
  EXPECT_EQ(ZRWaitForMutexCondition(&condition, &mutex, true), unknownErr);
  EXPECT_EQ(OnlyLine(), ErrnoLine("ZRWaitForMutexCondition", "pthread_cond_wait", EPERM));
  EXPECT_EQ(ZRWaitForMutexCondition(&condition, &mutex, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_EQ(ZRDestroyMutexCondition(&condition, true), noErr);
  EXPECT_EQ(ZRDestroyMutex(&mutex, true), noErr);
}

TEST_F(ThreadsTest, FailingConditionCallsReportTheReturnedNumber) {
  pthread_cond_t condition;
  gFailCondInit = EAGAIN;
  EXPECT_EQ(ZRCreateMutexCondition(&condition, true), unknownErr);
  EXPECT_EQ(OnlyLine(), ErrnoLine("ZRCreateMutexCondition", "pthread_cond_init", EAGAIN));
  EXPECT_EQ(ZRCreateMutexCondition(&condition, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  gFailCondInit = 0;

  ASSERT_EQ(ZRCreateMutexCondition(&condition, true), noErr);
  gFailCondSignal = EINVAL;
  EXPECT_EQ(ZRSignalMutexCondition(&condition, true), unknownErr);
  // The signal's message names the wrapper, not the POSIX call.
  EXPECT_EQ(OnlyLine(), ErrnoLine("ZRSignalMutexCondition", "ZRSignalMutexCondition", EINVAL));
  EXPECT_EQ(ZRSignalMutexCondition(&condition, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  gFailCondSignal = 0;

  gFailCondDestroy = EBUSY;
  EXPECT_EQ(ZRDestroyMutexCondition(&condition, true), unknownErr);
  EXPECT_EQ(OnlyLine(), ErrnoLine("ZRDestroyMutexCondition", "pthread_cond_destroy", EBUSY));
  EXPECT_EQ(ZRDestroyMutexCondition(&condition, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  gFailCondDestroy = 0;
  EXPECT_EQ(ZRDestroyMutexCondition(&condition, true), noErr);
}

// ----- detached threads -----

struct Started {
  std::atomic<bool> ran{false};
  std::atomic<pthread_t> self{};
};

void* RecordSelf(void* argument) {
  auto* started = static_cast<Started*>(argument);
  started->self = pthread_self();
  started->ran = true;
  return nullptr;
}

void WaitUntil(const std::atomic<bool>& flag) {
  for (int i = 0; i < 5000 && !flag; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

TEST_F(ThreadsTest, DetachThreadRunsTheCallbackOnADetachedThread) {
  Started started;
  pthread_t thread{};
  ASSERT_EQ(ZRDetachThread(RecordSelf, &started, &thread, true), noErr);
  WaitUntil(started.ran);
  ASSERT_TRUE(started.ran);
  EXPECT_TRUE(pthread_equal(thread, started.self.load()));
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ThreadsTest, DetachedThreadIsNotJoinable) {
  // Looked at from inside, while the thread still runs: its attributes say detached.
  struct State {
    std::atomic<bool> done{false};
    std::atomic<int> detachState{-1};
  } state;
  auto callback = [](void* argument) -> void* {
    auto* s = static_cast<State*>(argument);
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
      int detach = -1;
      pthread_attr_getdetachstate(&attributes, &detach);
      s->detachState = detach;
      pthread_attr_destroy(&attributes);
    }
    s->done = true;
    return nullptr;
  };
  // The wrapper detaches after starting: wait until the thread's own view has caught up.
  for (int attempt = 0; attempt < 50; ++attempt) {
    state.done = false;
    state.detachState = -1;
    ASSERT_EQ(ZRDetachThread(callback, &state, nullptr, true), noErr);
    WaitUntil(state.done);
    if (state.detachState == PTHREAD_CREATE_DETACHED) break;
  }
  EXPECT_EQ(state.detachState, PTHREAD_CREATE_DETACHED);
}

TEST_F(ThreadsTest, DetachThreadWithoutOutThreadStillStartsIt) {
  Started started;
  EXPECT_EQ(ZRDetachThread(RecordSelf, &started, nullptr, true), noErr);
  WaitUntil(started.ran);
  EXPECT_TRUE(started.ran);
}

TEST_F(ThreadsTest, DetachThreadRefusesANullCallback) {
  pthread_t thread{};
  EXPECT_EQ(ZRDetachThread(nullptr, nullptr, &thread, true), paramErr);
  EXPECT_EQ(OnlyLine(), "ERROR inThreadCallback: 0x0 (ZRDetachThread)");
  EXPECT_EQ(ZRDetachThread(nullptr, &thread, nullptr, false), paramErr);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(ThreadsTest, FailingCreateReportsErrnoNotTheReturnedNumber) {
  Started started;
  pthread_t thread{};
  pthread_t untouched = thread;
  gFailCreate = EAGAIN;
  gErrnoOnFailure = ENOMEM;
  EXPECT_EQ(ZRDetachThread(RecordSelf, &started, &thread, true), unknownErr);
  EXPECT_EQ(OnlyLine(), ErrnoLine("ZRDetachThread", "pthread_create", ENOMEM));
  EXPECT_EQ(ZRDetachThread(RecordSelf, &started, &thread, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  EXPECT_TRUE(pthread_equal(thread, untouched));
  EXPECT_FALSE(started.ran);
}

TEST_F(ThreadsTest, FailingDetachLeavesTheThreadRunningAndOutThreadUnwritten) {
  Started started;
  pthread_t thread{};
  pthread_t untouched = thread;
  gFailDetach = ESRCH;
  gErrnoOnFailure = EINVAL;
  EXPECT_EQ(ZRDetachThread(RecordSelf, &started, &thread, true), unknownErr);
  EXPECT_EQ(OnlyLine(), ErrnoLine("ZRDetachThread", "pthread_detach", EINVAL));
  EXPECT_TRUE(pthread_equal(thread, untouched));
  WaitUntil(started.ran);
  EXPECT_TRUE(started.ran);

  Started second;
  EXPECT_EQ(ZRDetachThread(RecordSelf, &second, &thread, false), unknownErr);
  EXPECT_TRUE(log_.lines().empty());
  WaitUntil(second.ran);
  EXPECT_TRUE(second.ran);
}

}  // namespace
