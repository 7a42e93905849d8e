/* What the shared library offers. */

#ifndef QVLPOLICY_EXPORT_H
#define QVLPOLICY_EXPORT_H

#if defined(__GNUC__) || defined(__clang__)
/* Marks what the shared library offers. Everything else is compiled hidden. */
#define QVLPOLICY_EXPORT __attribute__((visibility("default")))
#else
#define QVLPOLICY_EXPORT
#endif

#endif /* QVLPOLICY_EXPORT_H */
