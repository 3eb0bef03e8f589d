/* orval_unified_kpxukey.h - the C interface to a customer's USB cryptographic key. */
#ifndef ORVAL_UNIFIED_KPXUKEY_H
#define ORVAL_UNIFIED_KPXUKEY_H

#include <stdint.h>

#ifndef ORVAL_API
#define ORVAL_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

enum {
    ORVAL_OK = 0,
    ORVAL_BACKEND_UNAVAILABLE = -101,
    ORVAL_NOT_INITIALIZED = -109,
    ORVAL_UNSUPPORTED = -300,
    ORVAL_INVALID_ARGUMENT = -401,
    ORVAL_BUFFER_TOO_SMALL = -404
};

enum { ORVAL_KEY_INSERTED = 1, ORVAL_KEY_REMOVED = 2, ORVAL_WAIT_STOPPED = 3 };

ORVAL_API extern int32_t G_LastError;
ORVAL_API extern uint8_t g_initFlag;

ORVAL_API int32_t Initialize(void);
ORVAL_API void Finalize(void);

ORVAL_API void GetLastErrCode(int32_t* pnErrCode);
ORVAL_API int32_t GetErrorMsg(int32_t nErrCode, char* pszErrMsg, int32_t* pnErrMsgLen);

ORVAL_API int32_t GetDriverVersion(char* pszVersion, int32_t* pnVersionLen);
ORVAL_API int32_t GetDllVersion(char* pszVersion, int32_t* pnVersionLen);
ORVAL_API int32_t GetVidAndPid(char* pszVidPid, int32_t* pnVidPidLen);
ORVAL_API int32_t GetPrintNumber(char* pszSN, int32_t* pnSNLen);
ORVAL_API int32_t GetVendorInfo(int32_t nType, char* pszVendorInfo, int32_t* pnVendorInfoLen);

ORVAL_API int32_t WaitForKeyEvent(uint32_t* pulEvent, char* szSN, uint32_t* pulSNLen);
ORVAL_API int32_t StopDetectUKey(void);

ORVAL_API int32_t CheckDriverIntegrity(int32_t mode);

ORVAL_API int32_t ChangePin(const char* szSN);
ORVAL_API int32_t VerifyPIN(const char* szSN);
ORVAL_API int32_t TestVerifyAndCachePin(const char* szSN, intptr_t nParam);
ORVAL_API int32_t GetPinInfo(const char* szSN, void* pInfo, int32_t* pnInfoLen);
ORVAL_API int32_t RemovePinCache(void);
ORVAL_API int32_t SetCachePinFlag(const char* szSN, intptr_t nFlag);

ORVAL_API int32_t InitUKey(const char* szSN);
ORVAL_API int32_t TestInitUKey(const char* szSN, void* pParam);
ORVAL_API int32_t GetLabel(const char* szSN, char* pszLabel, int32_t* pnLabelLen);
ORVAL_API int32_t SetLabel(const char* szSN, const char* szLabel);
ORVAL_API int32_t GetData(const char* szSN, int32_t nIndex, char* pszData, int32_t* pnDataLen);
ORVAL_API int32_t SetData(const char* szSN, int32_t nIndex, const char* szData);
ORVAL_API int32_t SetCharset(const char* szFirst, const char* szSecond);
ORVAL_API int32_t SetLanguage(const char* szFirst, const char* szSecond);

ORVAL_API int32_t Sign(const char* szSN, int32_t nParam1, int32_t nParam2, const char* szData,
                       const char* szWarning, char* pszSignature, int32_t* pnSignatureLen);
ORVAL_API int32_t SignHash(const char* szSN, int32_t nParam1, int32_t nParam2, const char* szData,
                           int32_t nParam3, char* pszSignature, int32_t* pnSignatureLen);
ORVAL_API int32_t Batch_Sign(int32_t nFlags, const char* szSN, int32_t nParam3, int32_t nParam4,
                             const char* szText, const void* pParam6, int64_t nParam7,
                             int32_t nParam8, int32_t nParam9, const char* szBatch,
                             int32_t nParam11, char* pszOutput, int32_t* pnOutputLen);

ORVAL_API int32_t AsymDec(const char* szSN, int32_t nParam1, uint32_t nParam2, const char* szCipher,
                          char* pszPlain, int32_t* pnPlainLen);

ORVAL_API int32_t GetCert(const char* szSN, int32_t nParam1, int32_t nParam2, char* pszCert,
                          int32_t* pnCertLen);
ORVAL_API int32_t GetCertDN(const char* szSN, int32_t nParam1, int32_t nParam2, char* pszCertDN,
                            int32_t* pnCertDNLen);
ORVAL_API int32_t GetCertInfo(const char* szSN, intptr_t nSelector, void* pInfo,
                              int32_t* pnInfoLen);
ORVAL_API int32_t DelCertAndTempKey(const char* szSN, int32_t nParam1, int32_t nParam2);
ORVAL_API int32_t RegisterCert(void);
ORVAL_API int32_t UnregisterCert(void);
ORVAL_API int32_t RepairDriver(void);

ORVAL_API int32_t ImportX509Cert(const char* szSN, const char* szPkcs7);
ORVAL_API int32_t ImportEncX509Cert(const char* szSN, const char* szEncCertPkcs7,
                                    const char* szEncPriKey);
ORVAL_API int32_t Batch_ImportX509Cert(const char* szSN, const char* szPackage);

ORVAL_API int32_t GenerateCertRequest(const char* szSN, const char* szRequestInfo, char* pszOut,
                                      int32_t* pnOutLen);
ORVAL_API int32_t Batch_InitAndGenerateCertRequest(const char* szSN, uint32_t nInitMode,
                                                   const char* szRequestInfo, char* pszOut,
                                                   int32_t* pnOutLen);

#ifdef __cplusplus
}
#endif

#endif
