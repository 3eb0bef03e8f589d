#ifndef ORVAL_TESTS_PRODUCT_PROCESS_NAMES_VARIANT_H
#define ORVAL_TESTS_PRODUCT_PROCESS_NAMES_VARIANT_H

// How a program of the names test was built.
struct NamesVariant {
    bool backend_is_symbolic;
    bool client_links;
    bool client_exports_names;
};

extern const NamesVariant kNamesVariant;

#endif
