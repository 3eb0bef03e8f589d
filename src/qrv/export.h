#ifndef ORVAL_QRV_EXPORT_H
#define ORVAL_QRV_EXPORT_H

// Marks what the shared library offers under C++ names: classes, and those of their functions that
// are inline. What leaves the library is decided by the export map; the mark keeps the compiler
// from hiding it before the linker sees it.
#define ORVAL_QRV_EXPORT __attribute__((visibility("default")))

// Marks what exists once for each copy of the library that a process loads, constructed when it is
// loaded. A copy loaded later must not construct the first one's objects again, under strings that
// live. Weak for who has them from a library: a program would ask for a copy of its own otherwise.
#ifdef orval_unified_kpxukey_EXPORTS
#define ORVAL_QRV_OBJECT __attribute__((visibility("protected")))
#else
#define ORVAL_QRV_OBJECT __attribute__((visibility("default"), weak))
#endif

#endif
