/**
 * @file
 * orval_unified_kpxukey.h - the C interface to a customer's USB cryptographic key.
 *
 * The key holds the customer's certificates and private keys for the Chinese GM algorithms SM2
 * (GB/T 32918), SM3 (GB/T 32905) and SM4 (GB/T 32907). The library carries each request to the key
 * maker's libraries, which it finds in /opt/apps/com.kpx.uosorval/files/bin/, and adds a contract
 * of its own. What holds for all functions is said here once:
 *
 * 1. Results. A function returns a signed 32-bit code and leaves the same code in #G_LastError,
 *    unless it says otherwise. 0 is success. The library's own codes are the five negative ones
 *    below; every other value is a code of the key maker's libraries, passed through unchanged.
 *    GetErrorMsg() gives the text of any code.
 * 2. Initialisation. Initialize() may be called, and need not be: every function calls it when that
 *    has not succeeded yet, without looking at its result, but for those that say so. When the key
 *    maker's library is missing, a call returns #ORVAL_BACKEND_UNAVAILABLE as soon as it would
 *    have to use it, and the next call tries again.
 * 3. Texts are NUL-terminated and belong to the caller, who may release them when the function
 *    returns. They pass to the key as they are; no character set is converted.
 * 4. Lengths. A length argument points to a signed 32-bit count of bytes: the capacity of the
 *    buffer on entry, a length on return. A null buffer asks for the length. The families of
 *    functions count differently and each function states its own rule; docs/length-rules.md sets
 *    the rules side by side. One habit serves nearly all: ask with a null buffer, allocate one byte
 *    more than the answer, clear the buffer, pass the answer as the capacity. Two answers are
 *    bounds that may be too small: GetErrorMsg()'s (fetch again with the length that the failed
 *    fetch gave) and Batch_Sign()'s (it leaves out the last item). GetPrintNumber()'s is the length
 *    for the key that is plugged at that moment: give #ORVAL_SERIAL_NUMBER_ROOM bytes instead.
 * 5. Null pointers. An argument that is checked gives #ORVAL_INVALID_ARGUMENT. One that is not
 *    checked says so; passing null there is the caller's error.
 * 6. Threads. The library starts none and takes no lock. Use it from one thread at a time;
 *    StopDetectUKey() alone is meant to be called while WaitForKeyEvent() runs on another thread.
 * 7. Exceptions. Functions are C functions, but a C++ exception of the library's string class
 *    (QRV::CQrvException, a code at offset 0: 0x8007000E out of memory, 0x80070057 invalid
 *    argument) or std::bad_alloc may leave them where memory runs out; GenerateCertRequest() and
 *    Batch_InitAndGenerateCertRequest() also raise it for one kind of malformed description. A
 *    client in C or another language cannot catch it, and its process ends: check a description
 *    that is not your own first, as examples/request_certificate.c does.
 * 8. The log. The functions that say "logged" append records to /tmp/VexaPinpad_ORVAL.log
 *    (docs/log-format.md). A log that cannot be written changes nothing.
 * 9. Unloading. The last dlclose() unmaps the library, and loading it again begins anew:
 *    uninitialised, with nothing remembered. Its strings and exceptions must be gone by then. A
 *    client that has called WaitForKeyEvent() with a buffer keeps the library mapped, with its
 *    state, until the process ends. The key maker's library stays loaded in either case.
 *
 * In what follows, "the key" stands for the key maker's back-end library and the device behind it.
 * What its selectors are is its maker's; docs/software-key.md has the software key's. */
#ifndef ORVAL_UNIFIED_KPXUKEY_H
#define ORVAL_UNIFIED_KPXUKEY_H

#include <stdint.h>

/** Marks what the library exports. */
#ifndef ORVAL_API
#define ORVAL_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** The library's own codes. */
enum {
    /** Success. */
    ORVAL_OK = 0,
    /** The key maker's library, or one of its entry points, is missing. */
    ORVAL_BACKEND_UNAVAILABLE = -101,
    /** InitUKey() before anything has initialised the library. */
    ORVAL_NOT_INITIALIZED = -109,
    /** A function, selector or mode that is not offered; an installation that cannot be read. */
    ORVAL_UNSUPPORTED = -300,
    /** A required pointer is null, or a text's length or format is not acceptable. */
    ORVAL_INVALID_ARGUMENT = -401,
    /** The caller's buffer is too small; the length argument tells the length needed, in some
     *  families without the terminator: allocate one byte more. */
    ORVAL_BUFFER_TOO_SMALL = -404
};

/** Bytes to reserve for a serial number, its terminator among them. The functions that give one
 *  test no capacity, and another key may be plugged in between a length query and the fetch: these
 *  hold the longest that there can be. */
enum {
    /** For GetPrintNumber(). */
    ORVAL_SERIAL_NUMBER_ROOM = 1025,
    /** For WaitForKeyEvent(). */
    ORVAL_EVENT_SERIAL_NUMBER_ROOM = 17
};

/** What WaitForKeyEvent() reports. */
enum {
    /** A key was inserted. */
    ORVAL_KEY_INSERTED = 1,
    /** A key was removed. */
    ORVAL_KEY_REMOVED = 2,
    /** StopDetectUKey() ended the wait. */
    ORVAL_WAIT_STOPPED = 3
};

/**
 * G_LastError: the code of the most recent call, of any thread. Plain and unsynchronised; read it
 * with GetLastErrCode() unless a debugger is the reader.
 */
ORVAL_API extern int32_t G_LastError;

/**
 * g_initFlag: 1 once Initialize() has succeeded, 0 before and after Finalize(). An atomic byte,
 * written with release and read with acquire semantics. Clients only read it.
 */
ORVAL_API extern uint8_t g_initFlag;

/* ---------------------------------------------------------------- lifecycle */

/**
 * Initialize: loads the key maker's library and binds its entry points, all or none.
 *
 * Binds anew on every call, also when already initialised. Not logged.
 *
 * @return 0, or #ORVAL_BACKEND_UNAVAILABLE when the library or an entry point is missing; the
 *         library is then unloaded again and the initialised state stays as it was.
 */
ORVAL_API int32_t Initialize(void);

/**
 * Finalize: marks the library uninitialised and sets #G_LastError to 0.
 *
 * The key maker's library stays loaded, and the next call that needs it binds again. A pending
 * certificate request (GenerateCertRequest()) is kept. Not logged.
 */
ORVAL_API void Finalize(void);

/* ------------------------------------------------------------------- errors */

/**
 * GetLastErrCode: the code of the most recent call.
 *
 * Initialises nothing and resets nothing, so it may follow any failed call. With several threads
 * the code may be another thread's.
 *
 * @param[out] pnErrCode Receives #G_LastError. Null sets #G_LastError to #ORVAL_INVALID_ARGUMENT.
 */
ORVAL_API void GetLastErrCode(int32_t* pnErrCode);

/**
 * GetErrorMsg: the text of a code, as the key maker's library words it.
 *
 * The library has no texts of its own, also not for its five codes. A success leaves #G_LastError
 * as it was, so that asking for the text does not erase the code that is being explained; only
 * where this is the call that initialises, Initialize()'s own result stays there.
 *
 * Length rule: a null buffer gives 200, a bound and not the size, without asking the key. Else the
 * terminator counts: *pnErrMsgLen must be larger than the text's length, and receives that
 * length + 1 whether or not the text fitted.
 *
 * @param[in] nErrCode The code to explain.
 * @param[out] pszErrMsg Buffer for the text, or null to ask for the bound. Not written on failure.
 * @param[in,out] pnErrMsgLen Bytes, see the length rule.
 * @return 0; #ORVAL_INVALID_ARGUMENT when pnErrMsgLen is null; #ORVAL_BUFFER_TOO_SMALL;
 *         #ORVAL_BACKEND_UNAVAILABLE when the key maker's library is not bound.
 */
ORVAL_API int32_t GetErrorMsg(int32_t nErrCode, char* pszErrMsg, int32_t* pnErrMsgLen);

/* ----------------------------------------------------------------- identity */

/**
 * GetDriverVersion: the version of library and driver, "9.2025.0731.3". Logged (no Begin record).
 *
 * Length rule: *pnVersionLen receives 13 in every case. The capacity is not tested.
 *
 * WARNING: no terminator is written: the length query does not count one, so the caller's buffer
 * may have no room for it. The log shows the buffer as a text, up to its first zero byte and never
 * beyond the capacity stated or the 13 bytes written, whichever is more: state the buffer's true
 * size, and clear it so that nothing else of it reaches the log.
 *
 * @param[out] pszVersion Buffer of at least 13 bytes, or null to ask for the length.
 * @param[in,out] pnVersionLen Read for the log, then receives 13. Not checked for null.
 * @return 0.
 */
ORVAL_API int32_t GetDriverVersion(char* pszVersion, int32_t* pnVersionLen);

/**
 * GetDllVersion: the same version as GetDriverVersion(), by the same rules. Logged.
 *
 * WARNING: no terminator is written, see GetDriverVersion().
 *
 * @param[out] pszVersion Buffer of at least 13 bytes, or null to ask for the length.
 * @param[in,out] pnVersionLen Read for the log, then receives 13. Not checked for null.
 * @return 0.
 */
ORVAL_API int32_t GetDllVersion(char* pszVersion, int32_t* pnVersionLen);

/**
 * GetVidAndPid: the USB vendor and product ids, "1780&0301" in hexadecimal digits. Logged.
 *
 * Length rule: *pnVidPidLen receives 9 in every case. The capacity is not tested.
 *
 * WARNING: no terminator is written, see GetDriverVersion().
 *
 * @param[out] pszVidPid Buffer of at least 9 bytes, or null to ask for the length.
 * @param[in,out] pnVidPidLen Read for the log, then receives 9. Not checked for null.
 * @return 0.
 */
ORVAL_API int32_t GetVidAndPid(char* pszVidPid, int32_t* pnVidPidLen);

/**
 * GetPrintNumber: the serial number that is printed on the key, read from the key. Logged.
 *
 * Length rule: *pnSNLen receives the text's length without the terminator, in the length query as
 * well. The capacity is not tested, and the terminator is written behind the text.
 *
 * WARNING: another key may be plugged in between the length query and the fetch. Give
 * #ORVAL_SERIAL_NUMBER_ROOM bytes, whatever the query tells.
 *
 * @param[out] pszSN Buffer of #ORVAL_SERIAL_NUMBER_ROOM bytes for the text and its terminator, or
 *             null to ask for the length. Should hold a text on entry: when the key fails, the log
 *             shows what is in it.
 * @param[in,out] pnSNLen Read for the log, then receives the length on success. Not checked for
 *             null.
 * @return 0, or the key's code.
 */
ORVAL_API int32_t GetPrintNumber(char* pszSN, int32_t* pnSNLen);

/**
 * GetVendorInfo: the vendor's name in UTF-8. Not logged.
 *
 * Length rule: a null buffer gives the length without the terminator, 33 or 20. With a buffer,
 * *pnVendorInfoLen is neither read nor written, the capacity is not tested, and text and terminator
 * are written: allocate one byte more than the length query tells.
 *
 * @param[in] nType 0 or 1: the Chinese name; 2: the English name.
 * @param[out] pszVendorInfo Buffer of at least 34 or 21 bytes, or null to ask for the length.
 * @param[out] pnVendorInfoLen Receives the length when pszVendorInfo is null. May be null
 *             otherwise; not checked.
 * @return 0, or #ORVAL_UNSUPPORTED for another nType.
 */
ORVAL_API int32_t GetVendorInfo(int32_t nType, char* pszVendorInfo, int32_t* pnVendorInfoLen);

/* ------------------------------------------------------------------ devices */

/**
 * WaitForKeyEvent: waits on the calling thread until a key is inserted or removed, or until another
 * thread calls StopDetectUKey(). Logged, under the tag "SKF_WaitForDevEvent".
 *
 * The keys present are listed when the wait begins, ten at most: a removal reports the serial
 * number that was found then, and an empty one for a key that was not. An insertion reports the
 * serial number read from the new key, with the token library's code when that fails: what the
 * library had read until then is reported, as a rule an empty number. A stop that comes before this
 * call has begun to wait is forgotten; a caller who may be that early repeats it until this call
 * has returned.
 *
 * Length rule: a null szSN gives 17 and waits for nothing. Otherwise *pulSNLen receives the length
 * of the serial number without its terminator, 16 at most. It is never read: there is no test of
 * the capacity.
 *
 * Exceptions of the token library's wait are caught and logged, and the wait goes on. Two
 * concurrent waits in one process are not supported. The library may be closed while a wait runs:
 * from a wait's first step on it stays mapped.
 *
 * @param[out] pulEvent Receives #ORVAL_KEY_INSERTED, #ORVAL_KEY_REMOVED or #ORVAL_WAIT_STOPPED;
 *             unchanged for an event of another kind, and where the wait could not begin. Not
 *             checked for null.
 * @param[out] szSN Buffer of at least 17 bytes (#ORVAL_EVENT_SERIAL_NUMBER_ROOM) for the serial
 *             number, or null to ask for that size.
 *             Unchanged when the wait was stopped.
 * @param[out] pulSNLen Receives a length in bytes; unchanged when the wait was stopped. Not checked
 *             for null.
 * @return 0, also when stopped; else the token library's code.
 */
ORVAL_API int32_t WaitForKeyEvent(uint32_t* pulEvent, char* szSN, uint32_t* pulSNLen);

/**
 * StopDetectUKey: ends a wait that runs on another thread; does nothing when none runs.
 *
 * Takes effect within one call of the token library's wait and 20 ms. Not logged.
 *
 * @return 0.
 */
ORVAL_API int32_t StopDetectUKey(void);

/* ------------------------------------------------------------- installation */

/**
 * CheckDriverIntegrity: whether the installation directory can be read. Not logged.
 *
 * A directory that can be read passes, whatever it holds: clients run with partial installations.
 *
 * @param[in] mode 1 asks for the check.
 * @return 0; #ORVAL_UNSUPPORTED for another mode and for a directory that cannot be read.
 */
ORVAL_API int32_t CheckDriverIntegrity(int32_t mode);

/* ---------------------------------------------------------------------- PIN */

/* The PIN itself never passes through this library: the key asks for it, in its own dialog. */

/**
 * ChangePin: has the key change its PIN. Logged, with the serial number in hexadecimal.
 *
 * @param[in] szSN The key's serial number. Must not be null; not checked.
 * @return 0, or the key's code.
 */
ORVAL_API int32_t ChangePin(const char* szSN);

/**
 * VerifyPIN: has the key ask for its PIN and verify it. Not logged.
 *
 * @param[in] szSN The key's serial number. Not checked: null goes to the key.
 * @return 0, or the key's code.
 */
ORVAL_API int32_t VerifyPIN(const char* szSN);

/**
 * TestVerifyAndCachePin: has the key verify its PIN and remember it. Not logged.
 *
 * @param[in] szSN The key's serial number. Not checked: null goes to the key.
 * @param[in] nParam A pointer-sized value for the key, passed on unchanged.
 * @return 0, or the key's code.
 */
ORVAL_API int32_t TestVerifyAndCachePin(const char* szSN, intptr_t nParam);

/**
 * GetPinInfo: the state of the PIN, as the key gives it. Not logged.
 *
 * Length rule: a null buffer gives 8, a fixed bound, without asking the key. With a buffer the
 * length argument goes to the key, which decides.
 *
 * @param[in] szSN The key's serial number. Not checked: null goes to the key.
 * @param[out] pInfo Buffer for the information, or null to ask for the bound.
 * @param[in,out] pnInfoLen Bytes, see the length rule.
 * @return 0; #ORVAL_INVALID_ARGUMENT when pnInfoLen is null; else the key's code.
 */
ORVAL_API int32_t GetPinInfo(const char* szSN, void* pInfo, int32_t* pnInfoLen);

/**
 * RemovePinCache: has the key forget the PIN that it remembers. Not logged.
 *
 * @return 0, or the key's code.
 */
ORVAL_API int32_t RemovePinCache(void);

/**
 * SetCachePinFlag: tells the key whether it may remember the PIN. Not logged.
 *
 * WARNING: this function does not initialise the library. Before any other call it returns
 * #ORVAL_BACKEND_UNAVAILABLE.
 *
 * @param[in] szSN A pointer-sized value for the key, passed on unchanged: its serial number.
 * @param[in] nFlag A pointer-sized value for the key, passed on unchanged.
 * @return 0, or the key's code.
 */
ORVAL_API int32_t SetCachePinFlag(const char* szSN, intptr_t nFlag);

/* -------------------------------------------------------------- key storage */

/**
 * InitUKey: has the key erase and format itself. Logged, with the serial number in hexadecimal.
 *
 * WARNING: this function does not initialise the library. When that has not happened, it returns
 * #ORVAL_NOT_INITIALIZED, leaves #G_LastError as it was and writes no End record.
 *
 * @param[in] szSN The key's serial number. Must not be null; not checked.
 * @return 0; #ORVAL_NOT_INITIALIZED; else the key's code.
 */
ORVAL_API int32_t InitUKey(const char* szSN);

/**
 * TestInitUKey: has the key erase and format itself, with a parameter. Logged.
 *
 * @param[in] szSN The key's serial number. Not checked: null goes to the key.
 * @param[in] pParam Passed on to the key unchanged.
 * @return 0, or the key's code.
 */
ORVAL_API int32_t TestInitUKey(const char* szSN, void* pParam);

/**
 * GetLabel: reads the key's label. Not logged.
 *
 * Length rule: a null buffer gives the text's length + 1. A capacity of the text's length is
 * enough; *pnLabelLen then receives that length. A smaller one also receives the length, without
 * the terminator.
 *
 * WARNING: a capacity equal to the length succeeds, and the terminator is written one byte behind
 * it.
 *
 * @param[in] szSN The key's serial number, not empty.
 * @param[out] pszLabel Buffer for the text and its terminator, or null to ask for the length.
 * @param[in,out] pnLabelLen Bytes, see the length rule; unchanged on other failures.
 * @return 0; #ORVAL_INVALID_ARGUMENT when szSN or pnLabelLen is null or szSN is empty;
 *         #ORVAL_BUFFER_TOO_SMALL; else the key's code.
 */
ORVAL_API int32_t GetLabel(const char* szSN, char* pszLabel, int32_t* pnLabelLen);

/**
 * SetLabel: writes the key's label. Not logged.
 *
 * @param[in] szSN The first text for the key: its serial number.
 * @param[in] szLabel The second text for the key: the label.
 * @return 0; #ORVAL_INVALID_ARGUMENT when a text is null; else the key's code.
 */
ORVAL_API int32_t SetLabel(const char* szSN, const char* szLabel);

/**
 * GetData: reads a data item from the key, 259 bytes at most. Not logged.
 *
 * Length rule: a null buffer gives the text's length + 1. A capacity of the text's length is
 * enough; *pnDataLen then receives that length. A smaller one receives the length + 1: unlike
 * GetLabel(), the terminator counts here.
 *
 * WARNING: a capacity equal to the length succeeds, and the terminator is written one byte behind
 * it.
 *
 * @param[in] szSN The key's serial number, 10 to 16 bytes.
 * @param[in] nIndex Which item; the key interprets it.
 * @param[out] pszData Buffer for the text and its terminator, or null to ask for the length.
 * @param[in,out] pnDataLen Bytes, see the length rule; unchanged on other failures.
 * @return 0; #ORVAL_INVALID_ARGUMENT when szSN or pnDataLen is null or szSN is shorter or longer;
 *         #ORVAL_BUFFER_TOO_SMALL; else the key's code.
 */
ORVAL_API int32_t GetData(const char* szSN, int32_t nIndex, char* pszData, int32_t* pnDataLen);

/**
 * SetData: writes a data item to the key. Not logged.
 *
 * @param[in] szSN The key's serial number, 10 to 16 bytes.
 * @param[in] nIndex Which item; the key interprets it.
 * @param[in] szData The text, 300 bytes at most.
 * @return 0; #ORVAL_INVALID_ARGUMENT when a text is null or its length is outside its bounds; else
 *         the key's code.
 */
ORVAL_API int32_t SetData(const char* szSN, int32_t nIndex, const char* szData);

/**
 * SetCharset: sets the character set of the key's texts and dialogs. Not logged.
 *
 * The key's own function takes the two texts in the opposite order: szSecond, then szFirst.
 *
 * @param[in] szFirst The second text for the key.
 * @param[in] szSecond The first text for the key.
 * @return 0; #ORVAL_INVALID_ARGUMENT when a text is null; else the key's code.
 */
ORVAL_API int32_t SetCharset(const char* szFirst, const char* szSecond);

/**
 * SetLanguage: sets the language of the key's texts and dialogs. Not logged.
 *
 * The key's own function takes the two texts in the opposite order: szSecond, then szFirst.
 *
 * @param[in] szFirst The second text for the key.
 * @param[in] szSecond The first text for the key.
 * @return 0; #ORVAL_INVALID_ARGUMENT when a text is null; else the key's code.
 */
ORVAL_API int32_t SetLanguage(const char* szFirst, const char* szSecond);

/* ------------------------------------------------------------------ signing */

/**
 * Sign: a signature that the key's holder confirms, with a warning text shown by the key. Not
 * logged.
 *
 * Length rule: a null buffer gives (length of szData + 4096) * 2 in 32 bits, a generous bound and
 * not the size, without asking the key. With a buffer the key gets buffer and length argument and
 * decides.
 *
 * @param[in] szSN The key's serial number. Not checked: null goes to the key.
 * @param[in] nParam1 A selector that the key interprets.
 * @param[in] nParam2 A selector that the key interprets.
 * @param[in] szData The text to sign.
 * @param[in] szWarning The text that the key shows before it signs.
 * @param[out] pszSignature Buffer for the signature, or null to ask for the bound.
 * @param[in,out] pnSignatureLen Bytes, see the length rule.
 * @return 0; #ORVAL_INVALID_ARGUMENT when szData, szWarning or pnSignatureLen is null; else the
 *         key's code: nothing is signed when the key refuses the warning text.
 */
ORVAL_API int32_t Sign(const char* szSN, int32_t nParam1, int32_t nParam2, const char* szData,
                       const char* szWarning, char* pszSignature, int32_t* pnSignatureLen);

/**
 * SignHash: an ordinary signature of the caller's data. Not logged.
 *
 * Length rule: a null buffer gives the bound of Sign(). With a buffer, *pnSignatureLen is the
 * key's: it gets the pointer and writes the length.
 *
 * WARNING: the capacity is not tested. The signature is made in a buffer of the bound's size and
 * then copied as a text with its terminator: pass a buffer of the bound that the length query
 * tells.
 *
 * @param[in] szSN The key's serial number. Null counts as an empty text.
 * @param[in] nParam1 A selector that the key interprets.
 * @param[in] nParam2 A selector that the key interprets.
 * @param[in] szData The text to sign.
 * @param[in] nParam3 A selector that the key interprets.
 * @param[out] pszSignature Buffer for the signature, or null to ask for the bound. Not written on
 *             failure.
 * @param[in,out] pnSignatureLen Bytes, see the length rule.
 * @return 0; #ORVAL_INVALID_ARGUMENT when szData or pnSignatureLen is null; else the key's code.
 */
ORVAL_API int32_t SignHash(const char* szSN, int32_t nParam1, int32_t nParam2, const char* szData,
                           int32_t nParam3, char* pszSignature, int32_t* pnSignatureLen);

/**
 * Batch_Sign: signatures for a batch of items in one call. Not logged.
 *
 * Length rule: a null buffer gives twice the sum of (length of szText + 2048), when szText is not
 * null, and (length of szBatch + 2048) times the number of separators "||" in szBatch, when szBatch
 * is not null; in 32 bits, without asking the key. It goes by separators and not by items: a batch
 * of one item adds nothing. Give (length of szBatch + 2048) * 2 for each item instead. With a
 * buffer the key gets buffer and length argument and decides.
 *
 * All arguments go to the key unchanged and in this order.
 *
 * @param[in] nFlags When bit 0 is set, szSN, szText and pParam6 are required (not for a length
 *            query).
 * @param[in] szSN The key's serial number.
 * @param[in] nParam3 A selector that the key interprets.
 * @param[in] nParam4 A selector that the key interprets.
 * @param[in] szText A text for the key, or null.
 * @param[in] pParam6 A pointer for the key, or null.
 * @param[in] nParam7 A value for the key.
 * @param[in] nParam8 A selector that the key interprets.
 * @param[in] nParam9 A selector that the key interprets.
 * @param[in] szBatch The items, separated by "||", or null.
 * @param[in] nParam11 A selector that the key interprets.
 * @param[out] pszOutput Buffer for the signatures, or null to ask for the bound.
 * @param[in,out] pnOutputLen Bytes, see the length rule.
 * @return 0; #ORVAL_INVALID_ARGUMENT when pnOutputLen or a required argument is null; else the
 *         key's code.
 */
ORVAL_API int32_t Batch_Sign(int32_t nFlags, const char* szSN, int32_t nParam3, int32_t nParam4,
                             const char* szText, const void* pParam6, int64_t nParam7,
                             int32_t nParam8, int32_t nParam9, const char* szBatch,
                             int32_t nParam11, char* pszOutput, int32_t* pnOutputLen);

/* --------------------------------------------------------------- decryption */

/**
 * AsymDec: has the key decrypt a ciphertext with its private key. Not logged.
 *
 * Carriage returns and line feeds in the ciphertext are removed before it goes to the key, so it
 * may be given in lines.
 *
 * Length rule: a null buffer gives (length of szCipher + 4096) * 2 in 32 bits, a generous bound and
 * not the size, without asking the key. Otherwise *pnPlainLen receives the plaintext's length, with
 * a buffer that is too small as well.
 *
 * WARNING: a capacity equal to the length succeeds, and the terminator is written one byte behind
 * it. The copy ends at the first NUL byte of the plaintext.
 *
 * @param[in] szSN The key's serial number. Null counts as an empty text.
 * @param[in] nParam1 A selector that the key interprets.
 * @param[in] nParam2 A selector that the key interprets.
 * @param[in] szCipher The ciphertext as text, in the key's encoding.
 * @param[out] pszPlain Buffer for the plaintext and its terminator, or null to ask for the bound.
 * @param[in,out] pnPlainLen Bytes, see the length rule; unchanged when the key fails.
 * @return 0; #ORVAL_INVALID_ARGUMENT when szCipher or pnPlainLen is null; #ORVAL_BUFFER_TOO_SMALL;
 *         else the key's code.
 */
ORVAL_API int32_t AsymDec(const char* szSN, int32_t nParam1, uint32_t nParam2, const char* szCipher,
                          char* pszPlain, int32_t* pnPlainLen);

/* ------------------------------------------------------------- certificates */

/**
 * GetCert: reads a certificate (X.509, GB/T 20518) from the key as text, 4096 bytes at most. Not
 * logged.
 *
 * Length rule: a null buffer gives the text's length + 1. A capacity of the text's length is
 * enough; *pnCertLen then receives that length. A smaller one also receives the length, without the
 * terminator.
 *
 * WARNING: a capacity equal to the length succeeds, and the terminator is written one byte behind
 * it.
 *
 * @param[in] szSN The key's serial number.
 * @param[in] nParam1 A selector that the key interprets.
 * @param[in] nParam2 A selector that the key interprets.
 * @param[out] pszCert Buffer for the text and its terminator, or null to ask for the length.
 * @param[in,out] pnCertLen Bytes, see the length rule; unchanged when the key fails.
 * @return 0; #ORVAL_INVALID_ARGUMENT when szSN or pnCertLen is null; #ORVAL_BUFFER_TOO_SMALL; else
 *         the key's code.
 */
ORVAL_API int32_t GetCert(const char* szSN, int32_t nParam1, int32_t nParam2, char* pszCert,
                          int32_t* pnCertLen);

/**
 * GetCertDN: reads the distinguished name of a certificate on the key, 1024 bytes at most. Not
 * logged.
 *
 * Length rule and WARNING: as for GetCert().
 *
 * @param[in] szSN The key's serial number.
 * @param[in] nParam1 A selector that the key interprets.
 * @param[in] nParam2 A selector that the key interprets.
 * @param[out] pszCertDN Buffer for the text and its terminator, or null to ask for the length.
 * @param[in,out] pnCertDNLen Bytes, see GetCert(); unchanged when the key fails.
 * @return 0; #ORVAL_INVALID_ARGUMENT when szSN or pnCertDNLen is null; #ORVAL_BUFFER_TOO_SMALL;
 * else the key's code.
 */
ORVAL_API int32_t GetCertDN(const char* szSN, int32_t nParam1, int32_t nParam2, char* pszCertDN,
                            int32_t* pnCertDNLen);

/**
 * GetCertInfo: details of a certificate on the key, as the key gives them. Not logged.
 *
 * Length rule: a null buffer gives 1280, a fixed bound and not the size, without asking the key.
 * With a buffer the length argument goes to the key, which decides.
 *
 * @param[in] szSN The key's serial number. Not checked: null goes to the key.
 * @param[in] nSelector A pointer-sized selector that the key interprets.
 * @param[out] pInfo Buffer for the information, or null to ask for the bound.
 * @param[in,out] pnInfoLen Bytes, see the length rule.
 * @return 0; #ORVAL_INVALID_ARGUMENT when pnInfoLen is null; else the key's code.
 */
ORVAL_API int32_t GetCertInfo(const char* szSN, intptr_t nSelector, void* pInfo,
                              int32_t* pnInfoLen);

/**
 * DelCertAndTempKey: has the key delete a certificate and its temporary key. Not logged.
 *
 * @param[in] szSN The key's serial number. Not checked: null goes to the key.
 * @param[in] nParam1 A selector that the key interprets.
 * @param[in] nParam2 A selector that the key interprets.
 * @return 0, or the key's code.
 */
ORVAL_API int32_t DelCertAndTempKey(const char* szSN, int32_t nParam1, int32_t nParam2);

/**
 * RegisterCert: kept for clients that look it up; refuses every call. Initialises nothing and
 * leaves #G_LastError as it was. Not logged.
 *
 * @return #ORVAL_UNSUPPORTED.
 */
ORVAL_API int32_t RegisterCert(void);

/**
 * UnregisterCert: kept for clients that look it up; refuses every call. Leaves everything as it
 * was, like RegisterCert(). Not logged.
 *
 * @return #ORVAL_UNSUPPORTED.
 */
ORVAL_API int32_t UnregisterCert(void);

/**
 * RepairDriver: kept for clients that look it up; refuses every call. Leaves everything as it was,
 * like RegisterCert(). Not logged.
 *
 * @return #ORVAL_UNSUPPORTED.
 */
ORVAL_API int32_t RepairDriver(void);

/**
 * ImportX509Cert: writes an issued certificate into the key. Not logged.
 *
 * Commas, carriage returns and line feeds are removed from the text before it goes to the key. A
 * pending certificate request (GenerateCertRequest()) is forgotten.
 *
 * @param[in] szSN The key's serial number.
 * @param[in] szPkcs7 The certificate as PKCS#7 text (RFC 2315; GB/T 35275 for SM2).
 * @return 0; #ORVAL_INVALID_ARGUMENT when a text is null; else the key's code.
 */
ORVAL_API int32_t ImportX509Cert(const char* szSN, const char* szPkcs7);

/**
 * ImportEncX509Cert: imports the enveloped encryption private key, then writes the encryption
 * certificate. Logged: one record with the cleaned key text.
 *
 * Commas are removed from both texts. Line breaks in the certificate stay, unlike in
 * ImportX509Cert(). When the key text contains the fixed 80-digit prefix that some authorities put
 * in front (docs/certificate-package.md), its first 80 characters are dropped. A pending
 * certificate request is forgotten.
 *
 * @param[in] szSN The key's serial number.
 * @param[in] szEncCertPkcs7 The encryption certificate as PKCS#7 text.
 * @param[in] szEncPriKey The enveloped private key as text (GB/T 35276), at most 1023 characters
 *            when commas and prefix are gone.
 * @return 0; #ORVAL_INVALID_ARGUMENT when a text is null or the key text is longer (nothing has
 *         been imported then); else the key's code: the certificate is not written when the key
 *         was refused.
 */
ORVAL_API int32_t ImportEncX509Cert(const char* szSN, const char* szEncCertPkcs7,
                                    const char* szEncPriKey);

/**
 * Batch_ImportX509Cert: installs what an authority returned for a request of two certificates: a
 * package such as SignCert(...)|EncPriKey(...)|EncCert(...), or one PKCS#7 text. Logged.
 *
 * Commas, carriage returns and line feeds are removed from the text. A package's items are imported
 * in a fixed order whatever their order in the text: signing certificates, enveloped private keys,
 * encryption certificates. The first failure ends the import; what was written before it stays on
 * the key. The format is in docs/certificate-package.md. A pending certificate request is kept.
 *
 * @param[in] szSN The key's serial number.
 * @param[in] szPackage The package or PKCS#7 text.
 * @return 0; #ORVAL_INVALID_ARGUMENT when a text is null, a package is malformed or has no item
 *         that is spelled exactly as above, or an enveloped key is longer than
 *         ImportEncX509Cert() takes; else the key's code.
 */
ORVAL_API int32_t Batch_ImportX509Cert(const char* szSN, const char* szPackage);

/* ----------------------------------------------------- certificate requests */

/**
 * GenerateCertRequest: has the key make certificate requests (PKCS#10, RFC 2986), one for each
 * record of the description. Not logged.
 *
 * The description is a list of records separated by "|", each a sequence of the fields CertType,
 * KeyType and HashType with a one-digit value, as in CertType(1)KeyType(2)HashType(3); a field that
 * a record leaves out keeps its last value. docs/request-description.md has the whole format. The
 * PIN is verified before each request. Requests are joined with "||".
 *
 * A successful length query remembers its text, so that the fetch with the same szSN and
 * szRequestInfo does not ask the key again. One text is remembered for the process, until it is
 * fetched, a length query replaces it, a fetch asks for another, or ImportX509Cert() or
 * ImportEncX509Cert() is called.
 *
 * Length rule, for a text of L bytes: a null buffer gives L + 1. A capacity of L is enough;
 * *pnOutLen then receives L. A smaller one receives L + 1 when the remembered text was too long for
 * it (it stays remembered), and L when the requests have just been made (they are lost).
 *
 * WARNING: a capacity equal to L succeeds, and the terminator is written one byte behind it.
 *
 * WARNING: a description with a known field name at the very end of a record, without a "(", raises
 * QRV::CQrvException with code 0x80070057. That ends the process of a client that is not written in
 * C++. Check a description that comes from elsewhere first: examples/request_certificate.c has
 * a function for it, and orval_lint.h another.
 *
 * @param[in] szSN The key's serial number.
 * @param[in] szRequestInfo The description.
 * @param[out] pszOut Buffer for the requests and their terminator, or null to ask for the length.
 * @param[in,out] pnOutLen Bytes, see the length rule; unchanged on other failures.
 * @return 0; #ORVAL_INVALID_ARGUMENT when szSN, szRequestInfo or pnOutLen is null or a field's name
 *         is unknown; #ORVAL_BUFFER_TOO_SMALL; else the key's code.
 */
ORVAL_API int32_t GenerateCertRequest(const char* szSN, const char* szRequestInfo, char* pszOut,
                                      int32_t* pnOutLen);

/**
 * Batch_InitAndGenerateCertRequest: optionally has the key format itself, then makes up to three
 * certificate requests with one verification of the PIN. Logged: one Begin record.
 *
 * The description is that of GenerateCertRequest(), with at most three records. A record with
 * CertType 3 needs KeyType 2, and two records with KeyType 2 of which exactly one has CertType 3
 * are merged into one entry, which makes one request for both certificates. An entry whose CertType
 * or KeyType is not above 0 makes no request; when that is so for the first one, the PIN is not
 * verified at all, and requests of later entries stand behind a "||". The remembered text is shared
 * with GenerateCertRequest(), and so are its length rule and both WARNINGs. A fetch that is served
 * from it returns what #G_LastError held, 0 after the length query.
 *
 * @param[in] szSN The key's serial number. Not checked: null goes to the key, as an empty text
 *            where a copy is passed.
 * @param[in] nInitMode 0: verify the PIN; 1: format the key first and do not verify the PIN.
 * @param[in] szRequestInfo The description.
 * @param[out] pszOut Buffer for the requests and their terminator, or null to ask for the length.
 * @param[in,out] pnOutLen Bytes, see GenerateCertRequest(); unchanged on other failures.
 * @return 0; #ORVAL_INVALID_ARGUMENT when szRequestInfo or pnOutLen is null, for a malformed
 *         description, more than three records, types that do not go together or another
 *         nInitMode; #ORVAL_BUFFER_TOO_SMALL; else the key's code. A key that was formatted stays
 *         formatted when a later step fails.
 */
ORVAL_API int32_t Batch_InitAndGenerateCertRequest(const char* szSN, uint32_t nInitMode,
                                                   const char* szRequestInfo, char* pszOut,
                                                   int32_t* pnOutLen);

#ifdef __cplusplus
}
#endif

#endif
