// Which sanitizer the tests are built with: each 1 or 0. gcc tells it by macros, clang by features.

#ifndef QVL_TESTS_SUPPORT_SANITIZERS_H
#define QVL_TESTS_SUPPORT_SANITIZERS_H

#if defined(__has_feature)
#define QVL_TEST_HAS(feature) __has_feature(feature)
#else
#define QVL_TEST_HAS(feature) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || QVL_TEST_HAS(address_sanitizer)
#define QVL_TEST_ADDRESS_SANITIZER 1
#else
#define QVL_TEST_ADDRESS_SANITIZER 0
#endif

#if defined(__SANITIZE_THREAD__) || QVL_TEST_HAS(thread_sanitizer)
#define QVL_TEST_THREAD_SANITIZER 1
#else
#define QVL_TEST_THREAD_SANITIZER 0
#endif

#endif  // QVL_TESTS_SUPPORT_SANITIZERS_H
