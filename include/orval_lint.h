/**
 * @file
 * orval_lint.h - looks at a text before it is handed to the library of a customer's USB key.
 *
 * The functions of liborval_lint.so.1 say what is odd about a request description or a certificate
 * package, where, and what liborval_unified_kpxukey.so would do with it: refuse it, raise an
 * exception that a client in C cannot catch, or silently take what was hardly meant. They are built
 * of that library's own parsing, so that the two agree, and need neither that library nor a key.
 *
 *     OrvalLintFinding found[8];
 *     size_t count = 0;
 *     if (OrvalLintRequest(description, ORVAL_LINT_GENERATE_CERT_REQUEST, found, 8, &count) !=
 *         ORVAL_LINT_SOUND) {
 *         for (size_t i = 0; i < count && i < 8; ++i) {
 *             fprintf(stderr, "column %d: %s\n", (int)found[i].nColumn, found[i].szMessage);
 *         }
 *     }
 *
 * What holds for both functions:
 *
 * 1. Texts are NUL-terminated and belong to the caller. Nothing is kept of them, nothing is
 *    written to them, and nothing is logged.
 * 2. Findings are written to the caller's array, in the order of the text: as many as there is room
 *    for. The count is always that of all there are, so that it may be larger than the room; with a
 *    room of 0 the array may be null. What is not filled is left as it is.
 * 3. Threads. Every function may be called from any thread at any time.
 * 4. Exceptions. None leaves a function.
 */
#ifndef ORVAL_LINT_H
#define ORVAL_LINT_H

#include <stddef.h>
#include <stdint.h>

/** Marks what the library exports. */
#ifndef ORVAL_LINT_API
#define ORVAL_LINT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** What the functions return. */
enum {
    /** Nothing is odd. What the text means is up to the key. */
    ORVAL_LINT_SOUND = 0,
    /** The library takes the text, or one of the functions that are meant does, and something in it
     *  was hardly meant. */
    ORVAL_LINT_SUSPICIOUS = 1,
    /** The library refuses the text, or raises an exception: do not hand it over. */
    ORVAL_LINT_REFUSED = 2,
    /** A text is null, or the array is null and the room is not 0, or no function is meant. */
    ORVAL_LINT_INVALID_ARGUMENT = -1,
    /** There was not enough memory to look at the text. */
    ORVAL_LINT_OUT_OF_MEMORY = -2
};

/** The exported functions that take such texts, as bits. */
enum {
    /** GenerateCertRequest(). */
    ORVAL_LINT_GENERATE_CERT_REQUEST = 1,
    /** Batch_InitAndGenerateCertRequest(), which takes three records at most and folds them. */
    ORVAL_LINT_BATCH_INIT_AND_GENERATE = 2,
    /** Batch_ImportX509Cert(). */
    ORVAL_LINT_BATCH_IMPORT = 4
};

/** What the library does about what was found. */
enum {
    /** It refuses the call with -401. */
    ORVAL_LINT_REFUSES = 1,
    /** It raises CQrvException 0x80070057, which ends a client that does not catch it. */
    ORVAL_LINT_RAISES = 2,
    /** It silently takes OrvalLintFinding::nValue for a field. */
    ORVAL_LINT_TAKES = 3,
    /** It silently passes over what stands there, as OrvalLintFinding::szDoes says. */
    ORVAL_LINT_PASSES_OVER = 4,
    /** It leaves what stands there to the key. */
    ORVAL_LINT_HANDS_OVER = 5
};

/** One finding. Texts are NUL-terminated UTF-8, as far as the text itself is; long ones are cut. */
typedef struct OrvalLintFinding {
    /** ORVAL_LINT_SUSPICIOUS or ORVAL_LINT_REFUSED. */
    int32_t nSeverity;
    /** The exported functions that it concerns, as bits. */
    uint32_t nCalls;
    /** What the library does about it, ORVAL_LINT_REFUSES to ORVAL_LINT_HANDS_OVER. */
    int32_t nEffect;
    /** With ORVAL_LINT_TAKES, the value that is taken. */
    int32_t nValue;
    /** The record of a description, the item of a package, from 1; 0: no certain one. */
    uint64_t nRecord;
    /** Where it stands, in bytes from the start of the text. */
    uint64_t nOffset;
    /** How many bytes it concerns; may be 0, where something is missing. */
    uint64_t nLength;
    /** The line, from 1. */
    uint64_t nLine;
    /** The column in the line, from 1, in characters of UTF-8; in bytes, where the text is none. */
    uint64_t nColumn;
    /** The column in the line, from 1, in bytes. */
    uint64_t nByteColumn;
    /** Its kind, for programs: a name that stays. */
    char szRule[32];
    /** What stands there. Empty where that may be a secret, as in a package. */
    char szFound[64];
    /** What was expected. */
    char szExpected[80];
    /** What is odd, in a sentence. */
    char szMessage[128];
    /** What the library does, in words: "silently takes 72". */
    char szDoes[128];
    /** What was meant, probably; empty: nobody knows. */
    char szSuggestion[32];
} OrvalLintFinding;

/**
 * OrvalLintRequest: looks at a request description.
 *
 * @param[in]  szDescription  "CertType(1)KeyType(2)HashType(3)|HashType(4)" and the like
 * @param[in]  nCalls         the functions that it is meant for: #ORVAL_LINT_GENERATE_CERT_REQUEST,
 *                            #ORVAL_LINT_BATCH_INIT_AND_GENERATE, or both; other bits do not count
 * @param[out] pFindings      gets the findings that concern these functions; may be null
 * @param[in]  nRoom          how many there is room for
 * @param[out] pnCount        gets how many there are; may be null. Untouched by a negative result.
 * @return #ORVAL_LINT_SOUND, #ORVAL_LINT_SUSPICIOUS, #ORVAL_LINT_REFUSED (by each of the functions
 *         that are meant), #ORVAL_LINT_INVALID_ARGUMENT or #ORVAL_LINT_OUT_OF_MEMORY
 */
ORVAL_LINT_API int32_t OrvalLintRequest(const char* szDescription, uint32_t nCalls,
                                        OrvalLintFinding* pFindings, size_t nRoom, size_t* pnCount);

/**
 * OrvalLintPackage: looks at what a certificate authority has issued, as Batch_ImportX509Cert()
 * takes it.
 *
 * @param[in]  szPackage  "SignCert(..)|EncPriKey(..)|EncCert(..)", or one PKCS#7 text
 * @param[out] pFindings  gets the findings; may be null. They tell nothing of the items' data.
 * @param[in]  nRoom      how many there is room for
 * @param[out] pnCount    gets how many there are; may be null. Untouched by a negative result.
 * @return #ORVAL_LINT_SOUND, #ORVAL_LINT_SUSPICIOUS, #ORVAL_LINT_REFUSED,
 *         #ORVAL_LINT_INVALID_ARGUMENT or #ORVAL_LINT_OUT_OF_MEMORY
 */
ORVAL_LINT_API int32_t OrvalLintPackage(const char* szPackage, OrvalLintFinding* pFindings,
                                        size_t nRoom, size_t* pnCount);

#ifdef __cplusplus
}
#endif

#endif
