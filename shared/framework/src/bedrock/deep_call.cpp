#include <algorithm>
#include <exception>
#include <new>

#include <boost/context/detail/fcontext.hpp>

#include <bedrock/deep_call.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BEDROCK_ADDRESS_SANITIZER 1
#elif __has_feature(thread_sanitizer)
#define BEDROCK_THREAD_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define BEDROCK_ADDRESS_SANITIZER 1
#elif defined(__SANITIZE_THREAD__)
#define BEDROCK_THREAD_SANITIZER 1
#endif

#if defined(BEDROCK_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#elif defined(BEDROCK_THREAD_SANITIZER)
#include <sanitizer/tsan_interface.h>
#endif

namespace bedrock::stack {

#if defined(BEDROCK_ADDRESS_SANITIZER) || defined(BEDROCK_THREAD_SANITIZER)
const std::size_t kReserveBytes = std::size_t{256} * 1024;
#else
const std::size_t kReserveBytes = std::size_t{128} * 1024;
#endif

namespace detail {

constinit thread_local Room tRoom{0, 0};

namespace {

namespace context = boost::context::detail;

constexpr std::size_t kSegmentBytes = std::size_t{1024} * 1024;  // guard page included
// What a thread keeps while it is on some segment: enough that a walk which goes up and down over several borders does
// not ask the system each time.
constexpr std::size_t kKeptInside = 4;
// What it keeps afterwards: enough for a loop that starts one deep call after the other close to its own stack's end.
constexpr std::size_t kKeptOutside = 1;
// More than this is not taken from a thread's own stack, however large the limit: a main stack "without limit" ends
// where the kernel's gap to the next mapping begins, and no lookup tells where that is.
#if defined(BEDROCK_THREAD_SANITIZER)
// The thread sanitizer books at most 65,536 nested calls per stack, and ends the process beyond.
constexpr std::size_t kOwnStackBytes = std::size_t{1} * 1024 * 1024;
#else
constexpr std::size_t kOwnStackBytes = std::size_t{64} * 1024 * 1024;
#endif

/// One job on its way to a segment and back. Lies on the stack of the caller.
struct Transfer {
  void (*job)(void*);
  void* argument;
  std::exception_ptr failure;
  const void* callerBottom;  ///< the caller's stack as the address sanitizer knows it
  std::size_t callerBytes;
  void* callerFiber;  ///< the caller's stack as the thread sanitizer knows it
};

/// A piece of stack with a context that waits in it for jobs. The record lies at the upper end of its own memory.
struct Segment {
  Segment* next;  ///< in the list of kept ones
  char* bottom;   ///< of the mapping: the guard page
  Room room;
  context::fcontext_t waiting;
  void* fiber;  ///< for the thread sanitizer
};

/// The calling thread's segments.
struct Pool {
  Segment* kept = nullptr;
  std::size_t keptCount = 0;
  std::size_t usedCount = 0;
  bool knowsOwnStack = false;
  bool keepsNothing = false;  // the thread ends, or its end would go unnoticed
};

constinit thread_local Pool tPool{};

// ---- The sanitizers are told of every change of stack; without that they take frames of one for overflows of the
// other.

/// Announces that the running stack is left for [bottom, bottom + bytes). With `keep` null nothing of the running stack
/// will be needed again, but for the loop of runJobs, which is not instrumented.
[[maybe_unused]] inline void beginSwitch([[maybe_unused]] void** keep, [[maybe_unused]] const void* bottom,
                                         [[maybe_unused]] std::size_t bytes) {
#if defined(BEDROCK_ADDRESS_SANITIZER)
  __sanitizer_start_switch_fiber(keep, bottom, bytes);
#endif
}

[[maybe_unused]] inline void endSwitch([[maybe_unused]] void* kept, [[maybe_unused]] const void** oldBottom,
                                       [[maybe_unused]] std::size_t* oldBytes) {
#if defined(BEDROCK_ADDRESS_SANITIZER)
  __sanitizer_finish_switch_fiber(kept, oldBottom, oldBytes);
#endif
}

// A macro, since a function's own exit would be booked on the wrong stack after the switch.
#if defined(BEDROCK_THREAD_SANITIZER)
#define BEDROCK_SWITCH_FIBER(fiber) __tsan_switch_to_fiber(fiber, 0)
#else
#define BEDROCK_SWITCH_FIBER(fiber) static_cast<void>(fiber)
#endif

inline void* runningFiber() {
#if defined(BEDROCK_THREAD_SANITIZER)
  return __tsan_get_current_fiber();
#else
  return nullptr;
#endif
}

// ---- What happens on a segment.

/// No exception may pass the seam between two stacks: the unwinder cannot cross it.
[[gnu::noinline]] void runJob(Transfer& transfer) noexcept {
  try {
    transfer.job(transfer.argument);
  } catch (...) {
    transfer.failure = std::current_exception();
  }
}

/// The lowest frame of a segment: waits for a job, runs it, goes back, for ever. It owns nothing, so that a segment can
/// be unmapped while it waits; that is why the bare contexts are used and not the fiber class above them, which ends a
/// fiber by unwinding it from outside.
#if defined(BEDROCK_ADDRESS_SANITIZER)
__attribute__((no_sanitize("address")))
#endif
void runJobs(context::transfer_t entered) noexcept {
  for (;;) {
    Transfer& transfer = *static_cast<Transfer*>(entered.data);
    endSwitch(nullptr, &transfer.callerBottom, &transfer.callerBytes);
    runJob(transfer);
    beginSwitch(nullptr, transfer.callerBottom, transfer.callerBytes);
    BEDROCK_SWITCH_FIBER(transfer.callerFiber);
    entered = context::jump_fcontext(entered.fctx, nullptr);
  }
}

// ---- Segments.

Segment* mapSegment() {
  void* const mapped =
      ::mmap(nullptr, kSegmentBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  if (mapped == MAP_FAILED) throw std::bad_alloc();
  const auto guardBytes = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  if (::mprotect(mapped, guardBytes, PROT_NONE) != 0) {
    ::munmap(mapped, kSegmentBytes);
    throw std::bad_alloc();
  }
  char* const bottom = static_cast<char*>(mapped);
  char* const top = bottom + kSegmentBytes - (sizeof(Segment) + 63) / 64 * 64;
  const auto lowest = reinterpret_cast<std::uintptr_t>(bottom + guardBytes + kReserveBytes);
  auto* segment = new (top) Segment{};
  segment->bottom = bottom;
  segment->room = {lowest, reinterpret_cast<std::uintptr_t>(top) - lowest};
  segment->waiting = context::make_fcontext(top, static_cast<std::size_t>(top - bottom) - guardBytes, &runJobs);
#if defined(BEDROCK_THREAD_SANITIZER)
  segment->fiber = __tsan_create_fiber(0);
#endif
  return segment;
}

void unmapSegment(Segment* segment) noexcept {
#if defined(BEDROCK_THREAD_SANITIZER)
  __tsan_destroy_fiber(segment->fiber);
#elif defined(BEDROCK_ADDRESS_SANITIZER)
  __asan_unpoison_memory_region(segment->bottom, kSegmentBytes);
#endif
  ::munmap(segment->bottom, kSegmentBytes);
}

void keepAtMost(std::size_t count) noexcept {
  while (tPool.keptCount > count) {
    Segment* const segment = tPool.kept;
    tPool.kept = segment->next;
    --tPool.keptCount;
    unmapSegment(segment);
  }
}

/// Empties a thread's pool when the thread ends. Destructors that run still later may make deep calls all the same.
void endPool(void*) noexcept {
  tPool.keepsNothing = true;
  keepAtMost(0);
}

/// What has the system call endPool. Not a thread_local object with a destructor: when there is no memory to note that
/// one down, the C library ends the process.
class PoolEnd {
 public:
  PoolEnd() noexcept : fIsMade(::pthread_key_create(&fKey, &endPool) == 0) {}
  PoolEnd(const PoolEnd&) = delete;
  PoolEnd& operator=(const PoolEnd&) = delete;
  ~PoolEnd() {
    if (fIsMade) ::pthread_key_delete(fKey);
  }
  /// False: the calling thread's end will go unnoticed.
  [[nodiscard]] bool await() const noexcept { return fIsMade && ::pthread_setspecific(fKey, &tPool) == 0; }

 private:
  pthread_key_t fKey = 0;
  bool fIsMade;
};

Segment* takeSegment() {
  if (tPool.kept == nullptr) {
    static const PoolEnd sPoolEnd;
    Segment* const segment = mapSegment();
    tPool.keepsNothing = !sPoolEnd.await();
    ++tPool.usedCount;
    return segment;
  }
  Segment* const segment = tPool.kept;
  tPool.kept = segment->next;
  --tPool.keptCount;
  ++tPool.usedCount;
  return segment;
}

void giveSegmentBack(Segment* segment) noexcept {
  segment->next = tPool.kept;
  tPool.kept = segment;
  ++tPool.keptCount;
  --tPool.usedCount;
  const bool isOutside = tPool.usedCount == 0;
  keepAtMost(tPool.keepsNothing ? 0 : isOutside ? kKeptOutside : kKeptInside);
}

/// Goes to the segment, and is back when the job has ended.
[[gnu::noinline]] void enter(Segment& segment, Transfer& transfer) {
  [[maybe_unused]] void* fakeStack = nullptr;
  const Room callerRoom = tRoom;
  tRoom = segment.room;
  transfer.callerFiber = runningFiber();
  beginSwitch(&fakeStack, segment.bottom, kSegmentBytes);
  BEDROCK_SWITCH_FIBER(segment.fiber);
  segment.waiting = context::jump_fcontext(segment.waiting, &transfer).fctx;
  endSwitch(fakeStack, nullptr, nullptr);
  tRoom = callerRoom;
}

/// Where the system does not tell, the room stays empty, and every deep call from this stack goes to a segment.
void lookUpOwnStack() noexcept {
  tPool.knowsOwnStack = true;
  pthread_attr_t attributes;
  if (::pthread_getattr_np(::pthread_self(), &attributes) != 0) return;
  void* bottom = nullptr;
  std::size_t bytes = 0;
  std::size_t guardBytes = 0;
  const bool isKnown = ::pthread_attr_getstack(&attributes, &bottom, &bytes) == 0 &&
                       ::pthread_attr_getguardsize(&attributes, &guardBytes) == 0;
  ::pthread_attr_destroy(&attributes);
  const std::size_t notUsable = guardBytes + kReserveBytes;
  if (!isKnown || bytes <= notUsable) return;
  const std::uintptr_t top = reinterpret_cast<std::uintptr_t>(bottom) + bytes;
  const std::size_t usable = std::min(bytes - notUsable, kOwnStackBytes);
  tRoom = {top - usable, usable};
}

}  // namespace

void runWithRoom(void (*job)(void*), void* argument) {
  if (!tPool.knowsOwnStack) {
    lookUpOwnStack();
    if (hasRoom()) return job(argument);
  }
  Segment* const segment = takeSegment();
  Transfer transfer{job, argument, nullptr, nullptr, 0, nullptr};
  enter(*segment, transfer);
  giveSegmentBack(segment);
  if (transfer.failure) std::rethrow_exception(std::move(transfer.failure));
}

}  // namespace detail

std::size_t mappedSegments() noexcept { return detail::tPool.keptCount + detail::tPool.usedCount; }

}  // namespace bedrock::stack
