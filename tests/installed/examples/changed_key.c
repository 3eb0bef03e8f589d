/* Stands in for the library where the examples must not trust a length query: between the query
 * and the fetch, a key with the longest serial number takes the place of another. Says on standard
 * error when it is not that number that comes back. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orval_unified_kpxukey.h"

enum { kLongest = ORVAL_SERIAL_NUMBER_ROOM - 1 };

int32_t GetPrintNumber(char* pszSN, int32_t* pnSNLen) {
    *pnSNLen = 16;
    if (pszSN != NULL) {
        memset(pszSN, '7', kLongest);
        pszSN[kLongest] = '\0';
        *pnSNLen = kLongest;
    }
    return ORVAL_OK;
}

int32_t GenerateCertRequest(const char* szSN, const char* szRequestInfo, char* pszOut,
                            int32_t* pnOutLen) {
    (void)szRequestInfo;
    if (strlen(szSN) != kLongest || strspn(szSN, "7") != kLongest) {
        fputs("changed_key: the serial number did not arrive whole\n", stderr);
        return ORVAL_INVALID_ARGUMENT;
    }
    if (pszOut != NULL) {
        strcpy(pszOut, "request");
    }
    *pnOutLen = (int32_t)sizeof("request");
    return ORVAL_OK;
}

int32_t GetErrorMsg(int32_t nErrCode, char* pszErrMsg, int32_t* pnErrMsgLen) {
    (void)nErrCode;
    (void)pszErrMsg;
    (void)pnErrMsgLen;
    return ORVAL_UNSUPPORTED;
}
