/* Marks what the shared library offers. Everything else is compiled hidden. */

#ifndef QVLPOLICY_EXPORT_H
#define QVLPOLICY_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
#define QVLPOLICY_EXPORT __attribute__((visibility("default")))
#else
#define QVLPOLICY_EXPORT
#endif

#endif /* QVLPOLICY_EXPORT_H */
