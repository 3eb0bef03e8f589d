#ifndef ORVAL_QRV_EXPORT_H
#define ORVAL_QRV_EXPORT_H

// Marks what the shared library offers under C++ names: classes, and those of their functions that
// are inline. What leaves the library is decided by the export map; the mark keeps the compiler
// from hiding it before the linker sees it.
#define ORVAL_QRV_EXPORT __attribute__((visibility("default")))

#endif
