#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <bedrock/deep_call.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include "support/Sanitizers.h"

namespace bedrock::stack {
namespace {

constexpr auto kDepth = static_cast<unsigned>(testsupport::kManyLevels);

constexpr unsigned kFrameBytes = 240;  // of locals in each frame, so that a level takes what one of real work takes

/// Lets a frame's locals be what they seem: the compiler must expect that somebody reads all of them.
inline void keepWhole(const void* locals) { asm volatile("" : : "r"(locals) : "memory"); }

/// Goes `depth` levels down, calls `atBottom` there, and counts its way back. Each level checks that its frame is
/// whole.
template <class AtBottom>
[[gnu::noinline]] std::uint64_t descend(unsigned depth, const AtBottom& atBottom) {
  char frame[kFrameBytes];
  std::memset(frame, static_cast<int>(depth & 0x7FU), sizeof frame);
  keepWhole(frame);
  if (depth == 0) {
    atBottom();
    return 0;
  }
  const std::uint64_t below = callDeep([&] { return descend(depth - 1, atBottom); });
  keepWhole(frame);
  const bool isWhole = std::all_of(std::begin(frame), std::end(frame), [&](char byte) { return byte == frame[0]; }) &&
                       frame[0] == static_cast<char>(depth & 0x7FU);
  return below + (isWhole ? 1 : 0);
}

/// Recurses by plain calls until no room is left but the reserve, and calls `atBorder` there.
template <class AtBorder>
[[gnu::noinline]] void stepToTheBorder(const AtBorder& atBorder) {
  char step[1024] = {};
  keepWhole(step);
  if (detail::hasRoom()) {
    stepToTheBorder(atBorder);
  } else {
    atBorder();
  }
  keepWhole(step);  // behind the call, so that the compiler makes no loop of this
}

/// Calls `atBorder` on the thread's own stack from a frame from which every deep call goes to a segment.
template <class AtBorder>
void goToTheBorder(const AtBorder& atBorder) {
  callDeep([] {});  // from now on the stack is known
  stepToTheBorder(atBorder);
}

std::size_t residentBytes() {
  std::ifstream statm("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  statm >> total >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

std::size_t mappedBytes() {
  std::ifstream statm("/proc/self/statm");
  std::size_t total = 0;
  statm >> total;
  return total * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

/// Runs `body` to its end in a thread with a stack of the given size.
template <class Body>
void runInThread(std::size_t stackBytes, Body body) {
  pthread_attr_t attributes;
  ASSERT_EQ(::pthread_attr_init(&attributes), 0);
  ASSERT_EQ(::pthread_attr_setstacksize(&attributes, stackBytes), 0);
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    (*static_cast<Body*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(::pthread_create(&thread, &attributes, run, &body), 0);
  ::pthread_attr_destroy(&attributes);
  ASSERT_EQ(::pthread_join(thread, nullptr), 0);
}

constexpr std::size_t kSmallStack = std::size_t{512} * 1024;

TEST(CallDeep, IsAPlainCallWhileThereIsRoom) {
  std::thread([] {
    EXPECT_EQ(descend(100, [] {}), 100U);
    EXPECT_EQ(mappedSegments(), 0U);
  }).join();
}

TEST(CallDeep, CarriesARecursionOfAnyDepth) {
  std::size_t segments = 0;
  EXPECT_EQ(descend(kDepth, [&] { segments = mappedSegments(); }), kDepth);
  EXPECT_GT(segments, 1U);
  EXPECT_LT(segments, 16U + kDepth / 200);  // in proportion to the depth: at most 5 KiB a level in any build
}

TEST(CallDeep, GivesTheMemoryBack) {
  static_cast<void>(descend(kDepth / 10, [] {}));  // whatever is made once is made now
  const std::size_t before = residentBytes();
  std::size_t atBottom = 0;
  static_cast<void>(descend(kDepth, [&] { atBottom = residentBytes(); }));
  const std::size_t after = residentBytes();
  EXPECT_GT(atBottom, before + std::size_t{kDepth} * kFrameBytes / 2);
  EXPECT_LT(after, before + (atBottom - before) / 4);
  EXPECT_LE(mappedSegments(), 1U);
}

TEST(CallDeep, KeepsNoSegmentWhenTheThreadEnds) {
  const auto deepThread = [] { std::thread([] { static_cast<void>(descend(kDepth / 20, [] {})); }).join(); };
  deepThread();
  const std::size_t before = mappedBytes();
  for (int i = 0; i < 20; ++i) deepThread();
  EXPECT_LT(mappedBytes(), before + std::size_t{15} * 1024 * 1024);  // 20 segments, had each thread left one
}

TEST(CallDeep, LetsAnExceptionFromTheBottomArriveAtTheTop) {
  struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
    int payload = 42;
  };
  std::size_t segments = 0;
  try {
    static_cast<void>(descend(kDepth, [&] {
      segments = mappedSegments();
      throw Failure("at the bottom");
    }));
    FAIL() << "nothing was thrown";
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(), "at the bottom");
    EXPECT_EQ(failure.payload, 42);
  }
  EXPECT_GT(segments, 1U);
  EXPECT_LE(mappedSegments(), 1U);
  EXPECT_EQ(descend(kDepth / 10, [] {}), kDepth / 10);  // and the segments are as good as new
}

/// Counts the objects that live.
struct Counted {
  explicit Counted(int& alive) : fAlive(alive) { ++fAlive; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --fAlive; }
  int& fAlive;
};

[[gnu::noinline]] void descendCounted(unsigned depth, int& alive, int& mostAlive) {
  const Counted counted(alive);
  mostAlive = std::max(mostAlive, alive);
  if (depth == 0) throw 7;
  callDeep([&] { descendCounted(depth - 1, alive, mostAlive); });
}

TEST(CallDeep, DestroysTheLocalsOfEveryLevelWhenAnExceptionPasses) {
  int alive = 0;
  int mostAlive = 0;
  EXPECT_THROW(descendCounted(kDepth / 10, alive, mostAlive), int);
  EXPECT_EQ(mostAlive, static_cast<int>(kDepth / 10 + 1));
  EXPECT_EQ(alive, 0);
}

TEST(CallDeep, LetsEachLevelCatchAndThrowAgain) {
  struct Catcher {
    static void descend(unsigned depth, unsigned& caught) {
      try {
        if (depth == 0) throw std::logic_error("bottom");
        callDeep([&] { descend(depth - 1, caught); });
      } catch (const std::logic_error&) {
        ++caught;
        throw;
      }
    }
  };
  unsigned caught = 0;
  EXPECT_THROW(Catcher::descend(kDepth / 10, caught), std::logic_error);
  EXPECT_EQ(caught, kDepth / 10 + 1);
  EXPECT_EQ(std::uncaught_exceptions(), 0);
}

TEST(CallDeep, KnowsTheExceptionThatTheCallerHandles) {
  goToTheBorder([] {
    try {
      throw std::logic_error("outer");
    } catch (const std::logic_error&) {
      EXPECT_THROW(callDeep([] { throw; }), std::logic_error);  // NOLINT: the handler above is active
      callDeep([] {
        try {
          throw std::runtime_error("inner");
        } catch (const std::runtime_error& inner) {
          EXPECT_STREQ(inner.what(), "inner");
        }
      });
      try {
        throw;
      } catch (const std::exception& outer) {
        EXPECT_STREQ(outer.what(), "outer");
      }
    }
  });
}

TEST(CallDeep, RunsInDestructorsWhileAnExceptionPasses) {
  struct Guard {
    ~Guard() {
      EXPECT_EQ(std::uncaught_exceptions(), 1);
      EXPECT_EQ(descend(kDepth / 10, [] {}), kDepth / 10);
      EXPECT_EQ(std::uncaught_exceptions(), 1);
    }
  };
  EXPECT_THROW(
      {
        const Guard guard;
        throw 1;
      },
      int);
}

/// The result kinds; the same on both sides of the border.
void checkResults() {
  int number = 5;
  callDeep([&] { ++number; });
  EXPECT_EQ(number, 6);
  EXPECT_EQ(callDeep([&] { return number + 1; }), 7);
  int& reference = callDeep([&]() -> int& { return number; });
  EXPECT_EQ(&reference, &number);
  const int& constReference = callDeep([&]() -> const int& { return number; });
  EXPECT_EQ(&constReference, &number);
  int&& moved = callDeep([&]() -> int&& { return static_cast<int&&>(number); });
  EXPECT_EQ(&moved, &number);
  const std::unique_ptr<int> owned = callDeep([] { return std::make_unique<int>(8); });
  EXPECT_EQ(*owned, 8);
  struct NoDefault {
    explicit NoDefault(int given) : value(given) {}
    int value;
  };
  EXPECT_EQ(callDeep([] { return NoDefault(9); }).value, 9);
  EXPECT_EQ(callDeep([]() -> const std::string { return "text"; }), "text");
}

int freeFunction() { return 11; }

struct OnceOnly {
  std::unique_ptr<int> value = std::make_unique<int>(12);
  std::unique_ptr<int> operator()() && { return std::move(value); }
};

/// The kinds of things that can be called.
void checkCallees() {
  EXPECT_EQ(callDeep(freeFunction), 11);
  EXPECT_EQ(callDeep(&freeFunction), 11);
  EXPECT_EQ(*callDeep(OnceOnly()), 12);
  const auto constant = [] { return 13; };
  EXPECT_EQ(callDeep(constant), 13);
  int calls = 0;
  auto counting = [calls]() mutable { return ++calls; };
  EXPECT_EQ(callDeep(counting), 1);
  EXPECT_EQ(callDeep(counting), 2);  // the callee itself was called, not a copy
}

TEST(CallDeep, ReturnsWhatTheCalleeReturns) {
  checkResults();
  goToTheBorder(checkResults);
}

TEST(CallDeep, CallsWhateverCanBeCalled) {
  checkCallees();
  goToTheBorder(checkCallees);
}

TEST(CallDeep, CrossesTheBorderAgainAndAgainOnTheSameSegment) {
  goToTheBorder([] {
    const char* firstFrame = nullptr;
    for (int i = 0; i < 10000; ++i) {
      const char* frame = callDeep([] { return static_cast<const char*>(__builtin_frame_address(0)); });
      if (firstFrame == nullptr) firstFrame = frame;
      ASSERT_EQ(frame, firstFrame);
      ASSERT_EQ(mappedSegments(), 1U);
    }
  });
}

TEST(CallDeep, LeavesEveryCalleeItsReserve) {
  struct Filler {
    // Half the reserve in one frame, at every level.
    static void descend(unsigned depth) {
      callDeep([depth] {
        const std::size_t bytes = kReserveBytes / 2;
        auto* block = static_cast<char*>(__builtin_alloca(bytes));
        std::memset(block, static_cast<int>(depth & 0x7FU), bytes);
        if (depth > 0) descend(depth - 1);
        EXPECT_EQ(block[0], static_cast<char>(depth & 0x7FU));
        EXPECT_EQ(block[bytes - 1], static_cast<char>(depth & 0x7FU));
      });
    }
  };
  Filler::descend(200);
}

TEST(CallDeep, MakesAThreadWithASmallStackAsGoodAsAnyOther) {
  std::uint64_t counted = 0;
  runInThread(kSmallStack, [&counted] { counted = descend(kDepth / 10, [] {}); });
  EXPECT_EQ(counted, kDepth / 10);
}

TEST(CallDeep, ServesSeveralThreadsAtOnce) {
  constexpr unsigned kThreads = 4;
  std::vector<std::uint64_t> counted(kThreads);
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < kThreads; ++t) {
    threads.emplace_back([&counted, t] {
      for (int round = 0; round < 3; ++round) counted[t] += descend(kDepth / 20, [] {});
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::uint64_t count : counted) EXPECT_EQ(count, 3U * (kDepth / 20));
}

/// Goes deep when its thread has ended.
struct Late {
  std::uint64_t* counted = nullptr;
  ~Late() {
    if (counted != nullptr) *counted = descend(kDepth / 20, [] {});
  }
};
thread_local Late tLate;

TEST(CallDeep, WorksInDestructorsThatRunAfterTheThreadsPoolHasEnded) {
  std::uint64_t counted = 0;
  std::thread([&counted] {
    tLate.counted = &counted;  // made before the pool, so destroyed after it
    static_cast<void>(descend(kDepth / 20, [] {}));
  }).join();
  EXPECT_EQ(counted, kDepth / 20);
}

std::uint64_t sCountedInHandler = 0;

TEST(CallDeep, LeavesAStackThatItDoesNotKnow) {
  // A signal handler with a stack of its own stands for every stack that an application makes for itself. The recursion
  // would overflow it many times.
  constexpr std::size_t kStackBytes = std::size_t{512} * 1024;
  std::thread([] {
    void* const memory = ::mmap(nullptr, kStackBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    stack_t own{};
    own.ss_sp = memory;
    own.ss_size = kStackBytes;
    stack_t before{};
    ASSERT_EQ(::sigaltstack(&own, &before), 0);
    struct sigaction action {};
    struct sigaction previous {};
    action.sa_handler = [](int) { sCountedInHandler = descend(kDepth / 20, [] {}); };
    action.sa_flags = SA_ONSTACK;
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &previous), 0);
    // From now on the thread's own stack is known, and what a handler must not do has been done: making the pool.
    goToTheBorder([] { callDeep([] {}); });
    ASSERT_EQ(::pthread_kill(::pthread_self(), SIGUSR1), 0);
    ASSERT_EQ(::sigaction(SIGUSR1, &previous, nullptr), 0);
    ASSERT_EQ(::sigaltstack(&before, nullptr), 0);
    ::munmap(memory, kStackBytes);
  }).join();
  EXPECT_EQ(sCountedInHandler, kDepth / 20);
}

#if !defined(NIMBO_TEST_ADDRESS_SANITIZER) && !defined(NIMBO_TEST_THREAD_SANITIZER)
// A sanitizer ends the process when its own books get no memory, and reports an overflow in words of its own.

TEST(CallDeepDeathTest, ThrowsBadAllocWhenNoSegmentIsToBeHad) {
  const auto runOutOfMemory = [] {
    static_cast<void>(descend(kDepth / 20, [] {}));
    try {  // exceptions need memory of their own: let it be there
      throw std::bad_alloc();
    } catch (const std::bad_alloc&) {
    }
    const rlimit limit{mappedBytes() + std::size_t{8} * 1024 * 1024, RLIM_INFINITY};
    ::setrlimit(RLIMIT_AS, &limit);
    int alive = 0;
    int mostAlive = 0;
    try {
      descendCounted(10 * kDepth, alive, mostAlive);
    } catch (const std::bad_alloc&) {
      ::_exit(alive == 0 && mostAlive > 1000 ? 0 : 2);
    } catch (...) {
      ::_exit(3);
    }
  };
  // In a thread, whose stack is mapped from the start: a main stack that cannot grow would end the process.
  const auto runInThreadOfItsOwn = [&] {
    runInThread(kSmallStack, runOutOfMemory);
    ::_exit(4);
  };
  EXPECT_EXIT(runInThreadOfItsOwn(), testing::ExitedWithCode(0), "");
}

[[gnu::noinline]] void overflow(unsigned depth) {
  char frame[4096] = {};
  keepWhole(frame);
  if (depth > 0) overflow(depth - 1);
  keepWhole(frame);
}

TEST(CallDeepDeathTest, StopsARecursionWithoutDeepCallsAtTheGuardPage) {
  EXPECT_EXIT(goToTheBorder([] { callDeep([] { overflow(10'000); }); }), testing::KilledBySignal(SIGSEGV), "");
}
#endif

}  // namespace
}  // namespace bedrock::stack
