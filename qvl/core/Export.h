// QVL_EXPORT marks what the shared library offers to a host. Everything else is compiled hidden,
// except what belongs to a marked class; QVL_HIDDEN makes an exception of that.

#ifndef QVL_CORE_EXPORT_H
#define QVL_CORE_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
// Part of what the library offers.
#define QVL_EXPORT __attribute__((visibility("default")))

// Private to the library.
#define QVL_HIDDEN __attribute__((visibility("hidden")))
#else
#define QVL_EXPORT
#define QVL_HIDDEN
#endif

#endif  // QVL_CORE_EXPORT_H
