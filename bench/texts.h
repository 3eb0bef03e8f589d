#ifndef ORVAL_BENCH_TEXTS_H
#define ORVAL_BENCH_TEXTS_H

#include <string>

// Inputs, made to a size.
namespace bench {

// Base64 in lines of 64 characters, with a comma now and then: everything that is to be removed.
inline std::string LinedText(size_t size) {
    std::string text;
    text.reserve(size + 2);
    for (size_t i = 0; text.size() < size; ++i) {
        text += i % 100 == 99 ? ',' : 'M';
        if (i % 64 == 63) {
            text += "\r\n";
        }
    }
    text.resize(size);
    return text;
}

inline std::string OneLargeItem(size_t size) {
    return "SignCert(" + LinedText(size) + ")";
}

inline std::string TwoLargeItems(size_t size) {
    return "SignCert(" + LinedText(size / 2) + ")|EncCert(" + LinedText(size / 2) + ")";
}

// As many items as fit.
inline std::string ManySmallItems(size_t size) {
    std::string text;
    while (text.size() < size) {
        text += text.empty() ? "SignCert(MIIB,0)" : "|EncCert(MIIB,0)";
    }
    return text;
}

inline std::string UnclosedItems(size_t size) {
    std::string text;
    while (text.size() < size) {
        text += "SignCert(";
    }
    return text;
}

}  // namespace bench

#endif
