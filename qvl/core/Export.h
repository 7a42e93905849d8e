// Marks what the shared library offers to a host. Everything else is compiled hidden.

#ifndef QVL_CORE_EXPORT_H
#define QVL_CORE_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define QVL_EXPORT __attribute__((visibility("default")))
#else
#define QVL_EXPORT
#endif

#endif  // QVL_CORE_EXPORT_H
