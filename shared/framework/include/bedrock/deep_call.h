#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include <tarn/export.h>

/// Recursion over data of any depth. A function that recurses over a model wraps its inner call:
///
///   void visit(const Node& node) {
///     for (const Node& child : node.children) bedrock::stack::callDeep([&] { visit(child); });
///   }
///
/// While the current stack has room this is a plain call with one comparison in front. When little is left, the call
/// goes on a fresh stack segment of at most 1 MiB (guard page below), so depth is bounded by memory alone, and a thread
/// with a small stack is as good as the main one. Segments are given back as the recursion returns; a thread keeps a
/// few for the next time, one after its outermost call has ended, none after its end. A recursion that never ends takes
/// memory until there is none: what recurses over a graph must mark where it has been.
///
/// Threads: each thread has its own segments. Inside a deep call a thread must neither be cancelled nor hand its stack
/// over to another thread.
namespace bedrock::stack {

namespace detail {

/// The part of the running stack on which a call may still begin: [lowest, lowest + size). Size 0: not looked up yet.
/// One unsigned comparison answers both "too little left" and "this is a stack that we know nothing of".
struct Room {
  std::uintptr_t lowest;
  std::uintptr_t size;
};

// The initial-exec model makes the access two moves, without a call; 16 bytes fit the loader's static reserve even when
// the library is loaded late. constinit spares the wrapper call of a possible dynamic initialisation.
TARN_EXPORT extern constinit thread_local Room tRoom __attribute__((tls_model("initial-exec")));

/// Runs job(argument) on a segment, or directly when the lookup of the thread's stack shows that there is room.
/// What the job throws arrives here. @throws std::bad_alloc when no memory for a segment is to be had.
TARN_EXPORT void runWithRoom(void (*job)(void*), void* argument);

// The frame's address, not that of a local: the address sanitizer may keep locals off the stack. Always inline, so that
// it is the caller's frame.
[[nodiscard, gnu::always_inline]] inline bool hasRoom() noexcept {
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) - tRoom.lowest < tRoom.size;
}

/// What goes over the border: the callee, and on the way back its result (a reference travels as a pointer).
template <class F, class Result = std::invoke_result_t<F>>
struct Job {
  using Stored = std::conditional_t<std::is_reference_v<Result>, std::add_pointer_t<Result>, std::remove_cv_t<Result>>;

  F&& callee;
  std::optional<Stored> result;

  static void run(void* self) {
    Job& job = *static_cast<Job*>(self);
    if constexpr (std::is_reference_v<Result>) {
      Result result = std::invoke(std::forward<F>(job.callee));
      job.result = std::addressof(result);
    } else {
      job.result.emplace(std::invoke(std::forward<F>(job.callee)));
    }
  }
};

template <class F>
struct Job<F, void> {
  F&& callee;

  static void run(void* self) { std::invoke(std::forward<F>(static_cast<Job*>(self)->callee)); }
};

/// The way over the border, kept out of callDeep so that it adds nothing to the frames of a recursion.
template <class F>
[[gnu::noinline]] std::invoke_result_t<F> callWithRoom(F&& f) {
  using Result = std::invoke_result_t<F>;
  if constexpr (std::is_void_v<Result>) {
    Job<F> job{std::forward<F>(f)};
    runWithRoom(&Job<F>::run, &job);
  } else {
    Job<F> job{std::forward<F>(f), {}};
    runWithRoom(&Job<F>::run, &job);
    if constexpr (std::is_reference_v<Result>) {
      return static_cast<Result>(**job.result);
    } else {
      return std::move(*job.result);
    }
  }
}

}  // namespace detail

/// Stack that a callee finds at least, its own frame included. What runs between two deep calls must do with that.
/// Sanitized builds have wider frames and get a wider reserve.
TARN_EXPORT extern const std::size_t kReserveBytes;

/// Calls f, on a fresh segment when little is left of the current stack, and returns what f returns (a value must be
/// movable). What f throws arrives unchanged. @throws std::bad_alloc when no memory for a segment is to be had; f has
/// not been called then.
template <class F>
std::invoke_result_t<F> callDeep(F&& f) {
  if (detail::hasRoom()) [[likely]]
    return std::invoke(std::forward<F>(f));
  return detail::callWithRoom(std::forward<F>(f));
}

/// How many segments the calling thread holds at the moment, those in use and those kept. For tests and diagnostics.
[[nodiscard]] TARN_EXPORT std::size_t mappedSegments() noexcept;

}  // namespace bedrock::stack
