#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <system_error>

#include <pthread.h>

namespace testsupport {

/// Runs `body` in a thread whose stack holds some hundred calls of real work, and no deep recursion. What it throws
/// arrives here.
inline void onSmallStack(const std::function<void()>& body) {
  constexpr std::size_t kStackBytes = std::size_t{192} * 1024;
  struct Job {
    const std::function<void()>& body;
    std::exception_ptr failure;
  } job{body, nullptr};
  const auto run = [](void* argument) -> void* {
    Job& given = *static_cast<Job*>(argument);
    try {
      given.body();
    } catch (...) {
      given.failure = std::current_exception();
    }
    return nullptr;
  };
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setstacksize(&attributes, kStackBytes);
  pthread_t thread;
  const int error = ::pthread_create(&thread, &attributes, run, &job);
  ::pthread_attr_destroy(&attributes);
  if (error != 0) throw std::system_error(error, std::generic_category(), "no thread for the test");
  ::pthread_join(thread, nullptr);
  if (job.failure) std::rethrow_exception(job.failure);
}

}  // namespace testsupport
