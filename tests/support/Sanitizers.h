#pragma once

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define NIMBO_TEST_ADDRESS_SANITIZER
#elif __has_feature(thread_sanitizer)
#define NIMBO_TEST_THREAD_SANITIZER
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define NIMBO_TEST_ADDRESS_SANITIZER
#elif defined(__SANITIZE_THREAD__)
#define NIMBO_TEST_THREAD_SANITIZER
#endif

namespace testsupport {

/// A depth or length that nothing which takes stack for each level would survive. Sanitized frames are several times as
/// wide, and the thread sanitizer keeps a record of every frame that is open.
#if defined(NIMBO_TEST_ADDRESS_SANITIZER)
inline constexpr std::size_t kManyLevels = 100'000;
#elif defined(NIMBO_TEST_THREAD_SANITIZER)
inline constexpr std::size_t kManyLevels = 20'000;
#else
inline constexpr std::size_t kManyLevels = 1'000'000;
#endif

}  // namespace testsupport
